// @ts-check
// What of the grid is shown, and what is chosen in it. It stays as it is while one is elsewhere.
import { computed, signal } from "../../vendor/signals-core.js";
import { keyOf, makeRoutes, routeOf } from "../../app/routing.js";
import { say } from "../../app/notices.js";
import { mayOperate } from "../../app/session.js";
import { decoders, encoders, KINDS, locks, rooms } from "../../app/store.js";
import { t } from "../../app/texts.js";

/** @import { Device, Kind } from "../../app/types.js" */

/** The layers that are shown and that a click changes; never none. */
export const layers = signal(/** @type {Kind[]} */ (["video"]));
/** Whether a click routes at once, or arms what is then taken together. */
export const mode = signal(/** @type {"direct" | "take"} */ ("direct"));
export const search = signal("");
/** The room that is shown; empty for all. */
export const room = signal("");
/** What is armed: the encoder for each decoder. */
export const armed = signal(/** @type {Map<string, string>} */ (new Map()));
/** The crosspoint that the keys move. */
export const cursor = signal({ decoder: "", encoder: "" });

export function toggleLayer(/** @type {Kind} */ kind) {
    const chosen = KINDS.filter((each) => layers.value.includes(each) !== (each === kind));
    layers.value = chosen.length > 0 ? chosen : layers.value;
}

const hasText = (/** @type {Device} */ device, /** @type {string} */ text) =>
    `${device.alias} ${device.id}`.toLowerCase().includes(text);

/** The devices with the text in their names; all, when it is not about this side of the grid. */
function matching(/** @type {Device[]} */ all, /** @type {string} */ text) {
    const found = all.filter((device) => hasText(device, text));
    return found.length > 0 ? found : all;
}

/**
 * The devices of the rooms, each room together, and behind them those of no room.
 * @param {Device[]} all
 * @param {"decoders" | "encoders"} side
 */
function byRoom(all, side) {
    const left = new Map(all.map((device) => [device.id, device]));
    const groups = [];
    for (const { name, [side]: members } of rooms.value.values()) {
        const found = members.flatMap((id) => left.get(id) ?? []);
        found.forEach(({ id }) => left.delete(id));
        if (found.length > 0 && (room.value === "" || room.value === name)) {
            groups.push({ name, devices: found });
        }
    }
    if (room.value === "" && left.size > 0) {
        groups.push({ name: "", devices: [...left.values()] });
    }
    return groups;
}

/** What is searched for, or empty when nothing has it. */
const found = computed(() => {
    const text = search.value.trim().toLowerCase();
    const all = [...encoders.value, ...decoders.value];
    return { text, nothing: text !== "" && !all.some((device) => hasText(device, text)) };
});
export const foundNothing = computed(() => found.value.nothing);

/** The decoders by room, and the encoders, as they are shown. */
export const rowGroups = computed(() =>
    byRoom(matching(decoders.value, found.value.text), "decoders"));
export const shownDecoders = computed(() => rowGroups.value.flatMap((group) => group.devices));
const columnGroups = computed(() =>
    byRoom(matching(encoders.value, found.value.text), "encoders"));
export const shownEncoders = computed(() => columnGroups.value.flatMap((group) => group.devices));
/** The place of each encoder in its row, from 0. */
export const columns = computed(() =>
    new Map(shownEncoders.value.map(({ id }, at) => [id, at])));
/** The encoders that a room begins with. */
export const columnStarts = computed(() => new Map(columnGroups.value.length > 1
    ? columnGroups.value.map(({ name, devices }) => [devices[0].id, name]) : []));

/** Whether the user may change routes; says so otherwise. */
export function checkMay() {
    if (!mayOperate.value) {
        say(t("grid.viewer"), "warn");
    }
    return mayOperate.value;
}

/** Routes an encoder, or none, to a decoder on the shown layers. */
export function routeNow(/** @type {string} */ decoder, /** @type {string | null} */ encoder) {
    if (checkMay()) {
        makeRoutes(layers.value.map((kind) => ({ kind, decoder, encoder })));
    }
}

/** Arms a crosspoint, or no longer. */
export function toggleArmed(/** @type {string} */ decoder, /** @type {string} */ encoder) {
    if (checkMay()) {
        const next = new Map(armed.value);
        next.get(decoder) === encoder ? next.delete(decoder) : next.set(decoder, encoder);
        armed.value = next;
    }
}

export function disarm() {
    armed.value = new Map();
}

/** Routes everything that is armed. */
export function takeArmed() {
    const changes = [...armed.value].flatMap(([decoder, encoder]) =>
        layers.value.map((kind) => ({ kind, decoder, encoder })));
    disarm();
    if (changes.length > 0) {
        makeRoutes(changes);
    }
}

/** What a click on a crosspoint, or Enter, does. */
export function choose(/** @type {string} */ decoder, /** @type {string} */ encoder) {
    cursor.value = { decoder, encoder };
    if (mode.value === "take") {
        toggleArmed(decoder, encoder);
    } else {
        routeNow(decoder, encoder);
    }
}

/** What a crosspoint is, in words. */
export function describe(/** @type {string} */ decoder, /** @type {string} */ encoder,
    /** @type {Map<string, import("../../app/routing.js").Wish>} */ wished) {
    const words = layers.value.flatMap((kind) => {
        const wish = wished.get(keyOf(kind, decoder));
        const said = routeOf(kind, decoder);
        const state = wish?.encoder === encoder ? "grid.asked"
            : said?.encoder === encoder ? "grid.confirmed" : null;
        return state ? [`${t(`kind.${kind}`)} ${t(state)}`] : [];
    });
    if (armed.value.get(decoder) === encoder) {
        words.push(t("grid.armed"));
    }
    if (locks.value.has(decoder)) {
        words.push(t("grid.locked", { owner: locks.value.get(decoder)?.owner ?? "" }));
    }
    return words.length > 0 ? words.join(", ") : t("grid.free");
}
