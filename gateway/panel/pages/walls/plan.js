// @ts-check
// A video wall while it is planned: what stands where, and which part of the picture it shows.
// Nothing here draws, and nothing here is sent.

/** @import { Tile, Wall } from "../../app/types.js" */

/**
 * A wall in the making. Bezels in millimetres are those of a screen whose picture is `screen_mm`
 * wide.
 * @typedef {Omit<Wall, "bezel"> & {unit: "px" | "mm", screen_mm: number,
 *           horizontal: number, vertical: number}} Plan
 */

/** @type {Plan} */
export const NEW_PLAN = {
    name: "", encoder: "", columns: 2, rows: 2, width: 3840, height: 2160, tiles: [],
    unit: "px", screen_mm: 1000, horizontal: 0, vertical: 0,
};

/** @returns {Plan} */
export function planOf(/** @type {Wall} */ wall) {
    const { bezel, ...rest } = wall;
    return { ...NEW_PLAN, ...rest, ...bezel };
}

/** The bezels in pixels of the whole picture. */
export function bezelOf(/** @type {Plan} */ plan) {
    const perUnit = plan.unit === "px" ? 1 : plan.width / plan.columns / (plan.screen_mm || 1);
    return {
        horizontal: Math.round(plan.horizontal * perUnit),
        vertical: Math.round(plan.vertical * perUnit),
    };
}

/** The part of the picture that stands at a place of the wall. */
export function partAt(/** @type {Plan} */ plan, /** @type {number} */ column,
    /** @type {number} */ row) {
    const x = Math.floor((column * plan.width) / plan.columns);
    const y = Math.floor((row * plan.height) / plan.rows);
    return {
        x, y,
        width: Math.floor(((column + 1) * plan.width) / plan.columns) - x,
        height: Math.floor(((row + 1) * plan.height) / plan.rows) - y,
    };
}

const isAt = (/** @type {Tile} */ tile, /** @type {number} */ column,
    /** @type {number} */ row) => tile.column === column && tile.row === row;

/** The decoder at a place; undefined when there is none. */
export function decoderAt(/** @type {Plan} */ plan, /** @type {number} */ column,
    /** @type {number} */ row) {
    return plan.tiles.find((tile) => isAt(tile, column, row))?.decoder;
}

/** Puts a decoder to a place; whoever stands there goes to where that one was, or out. */
export function put(/** @type {Plan} */ plan, /** @type {string} */ decoder,
    /** @type {number} */ column, /** @type {number} */ row) {
    const before = plan.tiles.find((tile) => tile.decoder === decoder);
    const other = plan.tiles.find((tile) => isAt(tile, column, row));
    const tiles = plan.tiles.filter((tile) => tile !== before && tile !== other);
    tiles.push({ decoder, column, row });
    if (before && other && before !== other) {
        tiles.push({ decoder: other.decoder, column: before.column, row: before.row });
    }
    return { ...plan, tiles };
}

/** Takes a decoder out. */
export function takeOut(/** @type {Plan} */ plan, /** @type {string} */ decoder) {
    return { ...plan, tiles: plan.tiles.filter((tile) => tile.decoder !== decoder) };
}

/** Another number of columns or rows; tiles that have no place any more go out. */
export function resized(/** @type {Plan} */ plan, /** @type {Partial<Plan>} */ size) {
    const next = { ...plan, ...size };
    next.tiles = plan.tiles.filter(({ column, row }) =>
        column < next.columns && row < next.rows);
    return next;
}

/** The first place without a decoder; undefined when all are taken. */
export function freePlace(/** @type {Plan} */ plan) {
    for (let row = 0; row < plan.rows; ++row) {
        for (let column = 0; column < plan.columns; ++column) {
            if (!decoderAt(plan, column, row)) {
                return { column, row };
            }
        }
    }
    return undefined;
}

/** What is sent. */
export function bodyOf(/** @type {Plan} */ plan) {
    const { encoder, columns, rows, width, height, tiles } = plan;
    return {
        encoder, columns, rows, width, height, bezel: bezelOf(plan),
        tiles: tiles.map(({ decoder, column, row }) => ({ decoder, column, row })),
    };
}
