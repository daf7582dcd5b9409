// @ts-check
// What came of what was done, said at the edge of the page and by screen readers.
import { signal } from "../vendor/signals-core.js";
import { ApiProblem } from "./api.js";
import { html } from "./html.js";
import { t } from "./texts.js";

/** @typedef {{id: number, kind: "good" | "warn" | "bad", text: string}} Notice */

const notices = signal(/** @type {Notice[]} */ ([]));
const SHOWN_MS = { good: 4000, warn: 8000, bad: 12000 };
const SHOWN_MAX = 4;
let last = 0;

const dismiss = (/** @type {number} */ id) => {
    notices.value = notices.value.filter((notice) => notice.id !== id);
};

/** Says something. */
export function say(/** @type {string} */ text, /** @type {Notice["kind"]} */ kind = "good") {
    const id = ++last;
    const others = notices.value.filter((notice) => notice.text !== text);
    notices.value = [...others.slice(1 - SHOWN_MAX), { id, kind, text }];
    setTimeout(() => dismiss(id), SHOWN_MS[kind]);
}

/** Why something failed, in words. */
export function problemText(/** @type {unknown} */ error) {
    if (!(error instanceof ApiProblem)) {
        return String(error);
    }
    return error.status === 0 ? t("problem.unreachable") : error.message;
}

/** Says why something failed; that one has to log in is said by the log-in, which comes then. */
export function sayProblem(/** @type {unknown} */ error) {
    if (!(error instanceof ApiProblem) || error.status !== 401) {
        say(problemText(error), "bad");
    }
}

/**
 * Does something; says what went wrong, or `done`.
 * @template Result
 * @param {() => Promise<Result>} work
 * @param {string} [done]
 * @returns {Promise<Result | undefined>} undefined when it failed
 */
export async function attempt(work, done) {
    try {
        const result = await work();
        if (done) {
            say(done);
        }
        return result;
    } catch (error) {
        sayProblem(error);
        return undefined;
    }
}

export function Notices() {
    return html`<div class="notices" role="status" aria-live="polite">
        ${notices.value.map(({ id, kind, text }) => html`
            <div key=${id} class="notice ${kind}">
                <span>${text}</span>
                <button class="plain" aria-label=${t("close")}
                    onClick=${() => dismiss(id)}>✕</button>
            </div>`)}
    </div>`;
}
