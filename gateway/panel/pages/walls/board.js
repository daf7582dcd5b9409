// @ts-check
// The wall as it is drawn: tiles are dragged with the mouse or a finger, or taken up and put down
// by a click or with the keyboard.
import { useEffect, useRef, useState } from "../../vendor/hooks.js";
import { html } from "../../app/html.js";
import { deviceName } from "../../app/store.js";
import { t } from "../../app/texts.js";
import { bezelOf, decoderAt, freePlace, partAt, put, takeOut } from "./plan.js";

/** @import { Plan } from "./plan.js" */
/** @typedef {{plan: Plan, onPlan: (plan: Plan) => void}} Planned */

const DRAG_BEGINS_PX = 6;
const ARROWS = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1] };

/** Sets custom properties of an element, which style sheets turn into places. */
function useProperties(/** @type {Record<string, string | number>} */ properties) {
    const element = useRef(/** @type {any} */ (null));
    useEffect(() => {
        for (const [name, value] of Object.entries(properties)) {
            element.current?.style.setProperty(name, String(value));
        }
    });
    return element;
}

/** The picture with what the screens' edges hide of it, in pixels of the picture. */
function Cut(/** @type {{plan: Plan}} */ { plan }) {
    const { width, height, columns, rows } = plan;
    const bezel = bezelOf(plan);
    const edges = [];
    for (let column = 1; column < columns; ++column) {
        const { x } = partAt(plan, column, 0);
        edges.push(html`<rect x=${x - bezel.horizontal / 2} y="0" width=${bezel.horizontal}
            height=${height} />`);
    }
    for (let row = 1; row < rows; ++row) {
        const { y } = partAt(plan, 0, row);
        edges.push(html`<rect x="0" y=${y - bezel.vertical / 2} width=${width}
            height=${bezel.vertical} />`);
    }
    return html`<svg class="cut" viewBox="0 0 ${width} ${height}" preserveAspectRatio="none"
        aria-hidden="true">
        <rect class="ground" width=${width} height=${height} />
        <g class="lines" vector-effect="non-scaling-stroke">
            <circle cx=${width / 2} cy=${height / 2} r=${Math.min(width, height) * 0.42} />
            <path d="M0 0L${width} ${height}M0 ${height}L${width} 0" />
            <path d="M0 ${height / 2}H${width}M${width / 2} 0V${height}" />
        </g>
        <g class="edges">${edges}</g>
    </svg>`;
}

function Cell(/** @type {{plan: Plan, column: number, row: number, held: string,
                          onUse: (column: number, row: number) => void,
                          onDrag: (event: PointerEvent, decoder: string) => void,
                          onKey: (event: KeyboardEvent, column: number, row: number) => void,
                          isStop: boolean}} */
    { plan, column, row, held, onUse, onDrag, onKey, isStop }) {
    const decoder = decoderAt(plan, column, row);
    const part = partAt(plan, column, row);
    const where = t("walls.place", { column: column + 1, row: row + 1 });
    const what = decoder ? deviceName(decoder) : t("walls.free");
    return html`<button type="button" role="gridcell" tabindex=${isStop ? 0 : -1}
        class="cell ${decoder ? "taken" : ""} ${decoder && decoder === held ? "held" : ""}"
        data-column=${column} data-row=${row}
        onClick=${() => onUse(column, row)}
        onKeyDown=${(/** @type {KeyboardEvent} */ event) => onKey(event, column, row)}
        onPointerDown=${(/** @type {PointerEvent} */ event) => decoder && onDrag(event, decoder)}>
        <i class="hidden">${where}:</i>
        ${decoder ? html`<strong>${what}</strong>` : html`<i class="hidden">${what}</i>`}
        <span>${part.x}, ${part.y}<br />${part.width} × ${part.height}</span>
    </button>`;
}

/** The place under a point; undefined for none. */
function placeUnder(/** @type {number} */ x, /** @type {number} */ y) {
    const cell = /** @type {HTMLElement | null | undefined} */ (
        document.elementFromPoint(x, y)?.closest(".board .cell"));
    return cell ? { column: Number(cell.dataset.column), row: Number(cell.dataset.row) }
        : undefined;
}

/**
 * What a hand does: `held` is the decoder that was taken up and is not put down yet.
 * @param {Planned} planned
 */
export function useHand({ plan, onPlan }) {
    const [held, setHeld] = useState("");
    const wasDragged = useRef(false);
    const drop = (/** @type {string} */ decoder, /** @type {any} */ place) => {
        onPlan(place ? put(plan, decoder, place.column, place.row) : takeOut(plan, decoder));
        setHeld("");
    };
    /** Follows a pointer that may be about to drag a decoder. */
    const drag = (/** @type {PointerEvent} */ begun, /** @type {string} */ decoder) => {
        const { clientX, clientY } = begun;
        const over = new AbortController();
        const { signal } = over;
        wasDragged.current = false;
        if (begun.target instanceof Element) {
            begun.target.releasePointerCapture?.(begun.pointerId);
        }
        addEventListener("pointermove", (event) => {
            const way = Math.hypot(event.clientX - clientX, event.clientY - clientY);
            if (way > DRAG_BEGINS_PX) {
                wasDragged.current = true;
                setHeld(decoder);
            }
        }, { signal });
        addEventListener("pointerup", (event) => {
            over.abort();
            if (wasDragged.current) {
                drop(decoder, placeUnder(event.clientX, event.clientY));
            }
        }, { signal });
        addEventListener("pointercancel", () => { over.abort(); setHeld(""); }, { signal });
    };
    /** A click, but none that ended a drag. */
    const click = (/** @type {() => void} */ then) => () => {
        if (!wasDragged.current) {
            then();
        }
        wasDragged.current = false;
    };
    return { held, setHeld, drop, drag, click };
}

/** @typedef {ReturnType<typeof useHand>} Hand */

/** The places of the wall over the picture. */
export function Board(/** @type {Planned & {hand: Hand}} */ { plan, onPlan, hand }) {
    const [stop, setStop] = useState({ column: 0, row: 0 });
    const { columns, rows, width, height } = plan;
    const board = useProperties({
        "--columns": columns, "--rows": rows, "--shape": `${width} / ${height}`,
    });
    const at = { column: Math.min(stop.column, columns - 1), row: Math.min(stop.row, rows - 1) };
    const use = (/** @type {number} */ column, /** @type {number} */ row) => {
        setStop({ column, row });
        if (hand.held) {
            hand.drop(hand.held, { column, row });
        } else {
            hand.setHeld(decoderAt(plan, column, row) ?? "");
        }
    };
    const onKey = (/** @type {KeyboardEvent} */ event, /** @type {number} */ column,
        /** @type {number} */ row) => {
        const step = ARROWS[/** @type {keyof typeof ARROWS} */ (event.key)];
        const decoder = decoderAt(plan, column, row);
        if (step) {
            const next = {
                column: Math.max(0, Math.min(columns - 1, column + step[0])),
                row: Math.max(0, Math.min(rows - 1, row + step[1])),
            };
            setStop(next);
            board.current?.querySelector(
                `[data-column="${next.column}"][data-row="${next.row}"]`)?.focus();
        } else if (event.key === "Delete" && decoder) {
            onPlan(takeOut(plan, decoder));
        } else if (event.key === "Escape") {
            hand.setHeld("");
        } else {
            return;
        }
        event.preventDefault();
    };
    return html`<div class="board ${hand.held ? "holding" : ""}" ref=${board}>
        <${Cut} plan=${plan} />
        <div class="cells" role="grid" aria-label=${t("walls.board")}>
            ${Array.from({ length: rows }, (_, row) => html`<div role="row" class="line" key=${row}>
                ${Array.from({ length: columns }, (_, column) => html`
                    <${Cell} key=${column} plan=${plan} column=${column} row=${row}
                        held=${hand.held} onDrag=${hand.drag} onKey=${onKey}
                        onUse=${(/** @type {number} */ x, /** @type {number} */ y) =>
                            hand.click(() => use(x, y))()}
                        isStop=${at.column === column && at.row === row} />`)}
            </div>`)}
        </div>
    </div>`;
}

/** The decoders that stand in no place yet. A double click puts one to the first free place. */
export function Shelf(/** @type {Planned & {hand: Hand, decoders: string[]}} */
    { plan, onPlan, hand, decoders }) {
    const [search, setSearch] = useState("");
    const wanted = search.trim().toLowerCase();
    const free = decoders.filter((id) => !plan.tiles.some(({ decoder }) => decoder === id)
        && `${id} ${deviceName(id)}`.toLowerCase().includes(wanted));
    const putFirst = (/** @type {string} */ id) => {
        const place = freePlace(plan);
        if (place) {
            onPlan(put(plan, id, place.column, place.row));
            hand.setHeld("");
        }
    };
    return html`<section class="shelf" aria-label=${t("walls.shelf")}>
        <h2>${t("walls.shelf")}</h2>
        ${decoders.length > 8 && html`<input type="search" aria-label=${t("pick.search")}
            placeholder=${t("pick.search")} value=${search}
            onInput=${(/** @type {any} */ event) => setSearch(event.target.value)} />`}
        <ul>${free.map((id) => html`<li key=${id}>
            <button type="button" class="chip ${hand.held === id ? "held" : ""}"
                aria-pressed=${String(hand.held === id)}
                onPointerDown=${(/** @type {PointerEvent} */ event) => hand.drag(event, id)}
                onDblClick=${() => putFirst(id)}
                onClick=${hand.click(() => hand.setHeld(hand.held === id ? "" : id))}>
                ${deviceName(id)}</button></li>`)}</ul>
        <p class="muted" role="status">${hand.held
            ? t("walls.held", { decoder: deviceName(hand.held) }) : t("walls.shelf.text")}</p>
    </section>`;
}
