// @ts-check
import { Component } from "../vendor/preact.js";

/**
 * A component that is drawn anew only when one of its properties, or a signal that it reads, is
 * another one.
 * @param {(props: any) => any} draw
 */
export function memo(draw) {
    return class extends Component {
        shouldComponentUpdate(/** @type {any} */ next) {
            const now = /** @type {any} */ (this.props);
            return Object.keys(next).some((key) => next[key] !== now[key]);
        }

        render(/** @type {any} */ props) {
            return draw(props);
        }
    };
}
