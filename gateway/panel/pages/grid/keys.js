// @ts-check
// What the keys do in the grid.
import { undo } from "../../app/routing.js";
import { toggleLock } from "./locking.js";
import { armed, checkMay, choose, columns, cursor, disarm, routeNow, shownDecoders, shownEncoders,
    takeArmed, toggleArmed } from "./view.js";

const PAGE = 10;

/** Moves the cursor by rows and columns, as far as there are some. */
function move(/** @type {number} */ down, /** @type {number} */ right) {
    const { decoder, encoder } = cursor.value;
    const rows = shownDecoders.value;
    const sources = shownEncoders.value;
    const within = (/** @type {number} */ at, /** @type {number} */ count) =>
        Math.min(Math.max(at, 0), count - 1);
    const row = within(rows.findIndex(({ id }) => id === decoder) + down, rows.length);
    const column = within((columns.value.get(encoder) ?? 0) + right, sources.length);
    cursor.value = { decoder: rows[row].id, encoder: sources[column].id };
}

/** @type {Record<string, (isFar: boolean) => void>} */
const MOVES = {
    ArrowUp: () => move(-1, 0),
    ArrowDown: () => move(1, 0),
    ArrowLeft: () => move(0, -1),
    ArrowRight: () => move(0, 1),
    PageUp: () => move(-PAGE, 0),
    PageDown: () => move(PAGE, 0),
    Home: (isFar) => move(isFar ? -Infinity : 0, -Infinity),
    End: (isFar) => move(isFar ? Infinity : 0, Infinity),
};

/** @type {Record<string, (decoder: string, encoder: string) => void>} */
const DEEDS = {
    Enter: choose,
    " ": toggleArmed,
    Delete: (decoder) => routeNow(decoder, null),
    Backspace: (decoder) => routeNow(decoder, null),
    Escape: disarm,
    t: () => takeArmed(),
    u: () => { if (checkMay()) { undo(); } },
    l: (decoder) => { if (checkMay()) { toggleLock(decoder); } },
};

/** Carries out a key that the grid knows; leaves the others to the browser and gives false. */
export function onKey(/** @type {KeyboardEvent} */ event) {
    const target = /** @type {HTMLElement} */ (event.target);
    if (event.altKey || event.metaKey || (event.ctrlKey && !(event.key in MOVES))
        || target.getAttribute("role") !== "gridcell") {
        return false;
    }
    const { decoder, encoder } = cursor.value;
    if (event.key in MOVES) {
        MOVES[event.key](event.ctrlKey);
    } else if (event.key in DEEDS) {
        DEEDS[event.key](decoder, encoder);
    } else {
        return false;
    }
    event.preventDefault();
    return true;
}

/** The keys that work everywhere on the page, where nothing is typed. */
export function onPageKey(/** @type {KeyboardEvent} */ event) {
    const target = /** @type {HTMLElement} */ (event.target);
    if (event.key === "Escape" && target.matches("input[type=search]")) {
        /** @type {HTMLElement | null} */ (document.querySelector('[role="gridcell"]'))?.focus();
        return;
    }
    if (event.ctrlKey || event.altKey || event.metaKey || target.matches("input, select, textarea")
        || target.closest("dialog")) {
        return;
    }
    if (event.key === "/") {
        event.preventDefault();
        /** @type {HTMLElement | null} */ (document.querySelector("input[type=search]"))?.focus();
    } else if (event.key === "u" && target.getAttribute("role") !== "gridcell" && checkMay()) {
        undo();
    } else if (event.key === "Escape" && armed.value.size > 0) {
        disarm();
    }
}
