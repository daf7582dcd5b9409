// @ts-check
// The grid itself. Each decoder has one source on each layer, so of all crosspoints only those are
// elements that have something to show; lines and colours of the others are a background.
import { useEffect, useLayoutEffect, useRef } from "../../vendor/hooks.js";
import { html } from "../../app/html.js";
import { memo } from "../../app/memo.js";
import { keyOf, wishes } from "../../app/routing.js";
import { link } from "../../app/router.js";
import { deviceName, locks, routes } from "../../app/store.js";
import { t } from "../../app/texts.js";
import { armed, choose, columns, columnStarts, cursor, describe, layers, rowGroups, shownEncoders,
    shownDecoders } from "./view.js";
import { onKey } from "./keys.js";

/** @import { Device, Kind, Lock, RouteState } from "../../app/types.js" */

/**
 * @typedef {object} RowProps
 * @property {Device} device
 * @property {number} index of the row, from 1, the names of the encoders being the first
 * @property {Map<string, number>} places of the encoders
 * @property {Kind[]} kinds
 * @property {(RouteState | undefined)[]} said one of each kind
 * @property {string | undefined} armedFor
 * @property {Lock | undefined} lock
 * @property {string} focused the encoder that the cursor is at; empty when it is in another row
 */

/** What stands at each place of a row: the layers that are so, asked for or about to be cleared. */
function marksOf(/** @type {any} */ { kinds, places, armedFor, focused, ...props }) {
    /** @type {Map<string, {kind: Kind, state: string}[]>} */
    const marks = new Map();
    const add = (/** @type {string} */ encoder, /** @type {any} */ mark) => {
        if (places.has(encoder)) {
            marks.set(encoder, [...marks.get(encoder) ?? [], ...mark ? [mark] : []]);
        }
    };
    kinds.forEach((/** @type {Kind} */ kind) => {
        const said = props["said_" + kind];
        const wish = props["wish_" + kind];
        if (said?.encoder) {
            const leaves = wish && wish.encoder !== said.encoder;
            add(said.encoder, { kind, state: leaves ? "leaving" : "so" });
        }
        if (wish?.encoder && wish.encoder !== said?.encoder) {
            add(wish.encoder, { kind, state: "asked" });
        }
    });
    if (armedFor) {
        add(armedFor, null);
    }
    if (focused) {
        add(focused, null);
    }
    return marks;
}

const Row = memo((props) => {
    const { device, index, places, kinds, armedFor, lock, focused } = props;
    const shown = props["said_" + kinds[0]]?.encoder;
    const cells = [...marksOf(props)].sort(([a], [b]) => places.get(a) - places.get(b));
    return html`<div role="row" aria-rowindex=${index} data-decoder=${device.id}
        class="row ${device.online ? "" : "offline"}">
        <div role="rowheader" aria-colindex="1" class="name">
            <a href=${link("devices", device.id)} tabindex="-1" title=${device.id}>
                ${device.alias || device.id}</a>
            ${lock && html`<span class="lock" title=${t("grid.locked", { owner: lock.owner })}>
                <span class="hidden">${t("grid.locked", { owner: lock.owner })}</span></span>`}
            ${!device.online && html`<span class="hidden">${t("offline")}</span>`}
            <span class="source" title=${shown ?? undefined}>
                ${shown ? deviceName(shown) : "–"}</span>
        </div>
        ${cells.map(([encoder, marks]) => html`<div role="gridcell" key=${encoder}
            aria-colindex=${places.get(encoder) + 2} style=${{ "--column": places.get(encoder) }}
            class="cell ${armedFor === encoder ? "armed" : ""}"
            tabindex=${focused === encoder ? 0 : undefined}
            aria-label=${`${deviceName(device.id)}, ${deviceName(encoder)}: ${
                describe(device.id, encoder, wishes.value)}`}>
            ${marks.map(({ kind, state }) => html`<span key=${kind} class="mark ${state}">
                ${kinds.length > 1 ? t(`kind.${kind}`)[0] : ""}</span>`)}
        </div>`)}
    </div>`;
});

const Head = memo(({ devices, starts }) => html`
    <div role="row" aria-rowindex="1" class="head">
        <div role="columnheader" aria-colindex="1" class="corner">
            <span>${t("grid.corner.decoders")}</span><span>${t("grid.corner.encoders")}</span>
        </div>
        ${devices.map((/** @type {Device} */ device, /** @type {number} */ at) => html`
            <div role="columnheader" key=${device.id} aria-colindex=${at + 2}
                class="column ${device.online ? "" : "offline"} ${
                    starts.has(device.id) ? "start" : ""}">
                <a href=${link("devices", device.id)} tabindex="-1"
                    title=${[device.alias && device.id, starts.get(device.id)].filter(Boolean)
                        .join(", ") || undefined}>${device.alias || device.id}</a>
            </div>`)}
    </div>`);

function rowProps(/** @type {Device} */ device) {
    /** @type {Record<string, any>} */
    const props = {};
    for (const kind of layers.value) {
        props["said_" + kind] = routes.value[kind].get(device.id);
        props["wish_" + kind] = wishes.value.get(keyOf(kind, device.id));
    }
    const { decoder, encoder } = cursor.value;
    return {
        ...props, device, places: columns.value, kinds: layers.value,
        armedFor: armed.value.get(device.id), lock: locks.value.get(device.id),
        focused: decoder === device.id ? encoder : "",
    };
}

/** The crosspoint under the pointer; null for none. */
function crosspointAt(/** @type {PointerEvent | MouseEvent} */ event) {
    const target = /** @type {HTMLElement} */ (event.target);
    const row = /** @type {HTMLElement | null} */ (target.closest(".row"));
    const canvas = /** @type {HTMLElement} */ (event.currentTarget);
    const corner = /** @type {HTMLElement} */ (canvas.querySelector(".corner"));
    if (!row || target.closest(".name")) {
        return null;
    }
    const cell_px = /** @type {HTMLElement} */ (corner.nextElementSibling)?.offsetWidth;
    const x_px = event.clientX - canvas.getBoundingClientRect().left - corner.offsetWidth;
    const column = Math.floor(x_px / cell_px);
    const encoder = shownEncoders.value[column]?.id;
    return encoder ? { decoder: row.dataset.decoder ?? "", encoder, column } : null;
}

/** Lights up the column under the pointer; the row does so by itself. */
function onPointer(/** @type {PointerEvent} */ event) {
    const canvas = /** @type {HTMLElement} */ (event.currentTarget);
    const column = event.type === "pointerleave" ? null : crosspointAt(event)?.column ?? null;
    canvas.classList.toggle("pointed", column !== null);
    canvas.style.setProperty("--pointed", String(column ?? 0));
    canvas.querySelector(".column.hot")?.classList.remove("hot");
    if (column !== null) {
        canvas.querySelectorAll(".column")[column]?.classList.add("hot");
    }
}

/** Puts the cursor where there is something. */
function placeCursor() {
    const { decoder, encoder } = cursor.value;
    const isShown = shownDecoders.value.some(({ id }) => id === decoder);
    if (!isShown || !columns.value.has(encoder)) {
        cursor.value = { decoder: shownDecoders.value[0].id, encoder: shownEncoders.value[0].id };
    }
}

export function Table() {
    const scroller = useRef(/** @type {HTMLElement | null} */ (null));
    // A focused cell that has nothing to show any more is gone before the next one is there.
    const wantsFocus = useRef(false);
    useEffect(placeCursor);
    useLayoutEffect(() => {
        const cell = /** @type {HTMLElement | null} */ (
            scroller.current?.querySelector('[role="gridcell"][tabindex]'));
        if (cell && wantsFocus.current && document.activeElement !== cell) {
            cell.focus({ preventScroll: true });
            cell.scrollIntoView({ block: "nearest", inline: "nearest" });
        }
        wantsFocus.current = false;
    });
    const onClick = (/** @type {MouseEvent} */ event) => {
        const point = crosspointAt(event);
        if (point) {
            wantsFocus.current = true;
            choose(point.decoder, point.encoder);
        }
    };
    const onKeyDown = (/** @type {KeyboardEvent} */ event) => {
        wantsFocus.current = onKey(event);
    };
    const groups = rowGroups.value;
    const encoders = shownEncoders.value;
    let index = 1;
    return html`<div class="grid" ref=${scroller} role="grid" aria-label=${t("page.grid")}
        aria-rowcount=${shownDecoders.value.length + 1} aria-colcount=${encoders.length + 1}
        onKeyDown=${onKeyDown}>
        <div class="canvas" role="presentation" style=${{ "--columns": encoders.length }}
            onPointerMove=${onPointer} onPointerLeave=${onPointer} onClick=${onClick}>
            <${Head} devices=${encoders} starts=${columnStarts.value} />
            <div class="band" aria-hidden="true"></div>
            ${groups.map(({ name, devices }) => html`
                ${groups.length > 1 && html`<div class="group" key=${"group " + name} role="row">
                    <div role="rowheader"><span>${name || t("grid.noroom")}</span></div></div>`}
                ${devices.map((device) => html`
                    <${Row} key=${device.id} index=${++index} ...${rowProps(device)} />`)}`)}
        </div>
    </div>`;
}
