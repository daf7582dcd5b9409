// @ts-check
// Making routes. What was asked for is a wish, and shown as one, until a device says that it is so:
// the routes of the store are always what devices said.
import { computed, effect, signal } from "../vendor/signals-core.js";
import { api, ApiProblem } from "./api.js";
import { ask } from "./controls.js";
import { say, sayProblem } from "./notices.js";
import { mayAdminister } from "./session.js";
import { deviceName, refreshRoutes, routes } from "./store.js";
import { t } from "./texts.js";

/** @import { Kind, RouteResult } from "./types.js" */

/**
 * @typedef {{kind: Kind, decoder: string, encoder: string | null}} Change
 * @typedef {object} Wish
 * @property {Kind} kind
 * @property {string} decoder
 * @property {string | null} encoder
 * @property {boolean} answered whether the gateway has answered, without a confirmation
 * @property {string | null} seenAt when the decoder had last told its route as that was answered
 */

/** By "KIND/DECODER". */
export const wishes = signal(/** @type {Map<string, Wish>} */ (new Map()));

/** What was so before the last orders, the latest last. */
const past = signal(/** @type {Change[][]} */ ([]));
const PAST_MAX = 50;
export const mayUndo = computed(() => past.value.length > 0);

const LOOK_AGAIN_MS = 3000;

export const keyOf = (/** @type {Kind} */ kind, /** @type {string} */ decoder) =>
    `${kind}/${decoder}`;

/** What a decoder said last; undefined when it was never heard. */
export function routeOf(/** @type {Kind} */ kind, /** @type {string} */ decoder) {
    return routes.value[kind].get(decoder);
}

function setWishes(/** @type {Wish[]} */ added, /** @type {string[]} */ removed) {
    const next = new Map(wishes.value);
    removed.forEach((key) => next.delete(key));
    added.forEach((wish) => next.set(keyOf(wish.kind, wish.decoder), wish));
    wishes.value = next;
}

// A wish ends when the device says that it is so, or something else once the gateway has answered.
effect(() => {
    const over = [];
    for (const [key, wish] of wishes.value) {
        const said = routeOf(wish.kind, wish.decoder);
        const isNews = wish.answered && said && said.seen_at !== wish.seenAt;
        if (said && said.seen_at && said.encoder === wish.encoder) {
            over.push(key);
        } else if (isNews) {
            over.push(key);
            say(t("route.refused", { decoder: deviceName(wish.decoder) }), "warn");
        }
    }
    if (over.length > 0) {
        setWishes([], over);
    }
});

// That a device said the same again is no event.
setInterval(() => {
    if ([...wishes.value.values()].some((wish) => wish.answered)) {
        refreshRoutes().catch(() => null);
    }
}, LOOK_AGAIN_MS);

/** Says what came of it. */
function report(/** @type {RouteResult[]} */ results) {
    const failed = results.filter((result) => !result.ok);
    const open = results.filter((result) => result.ok && !result.confirmed);
    if (failed.length > 0) {
        const [{ decoder, problem }] = failed;
        const text = t("route.failed", { count: failed.length, decoder: deviceName(decoder) });
        say(`${text} ${problem ?? ""}`, "bad");
    }
    if (open.length > 0) {
        say(t("route.unconfirmed",
            { count: open.length, decoder: deviceName(open[0].decoder) }), "warn");
    }
    if (failed.length + open.length === 0 && results.length === 1) {
        const [{ decoder, encoder }] = results;
        say(encoder === null ? t("route.cleared", { decoder: deviceName(decoder) })
            : t("route.confirmed",
                { decoder: deviceName(decoder), encoder: deviceName(encoder) }));
    } else if (failed.length + open.length === 0) {
        say(t("route.all_confirmed", { count: results.length }));
    }
}

/**
 * Sends an order and shows its changes as wishes meanwhile. A lock in the way is told, and passed
 * over where an admin says so.
 * @param {Change[]} changes
 * @param {(query: string) => Promise<{results: RouteResult[]}>} send
 */
async function order(changes, send, query = "") {
    const before = changes.flatMap(({ kind, decoder }) => {
        const said = routeOf(kind, decoder);
        return said?.seen_at ? [{ kind, decoder, encoder: said.encoder }] : [];
    });
    setWishes(changes.map((change) => ({ ...change, answered: false, seenAt: null })), []);
    const keys = changes.map(({ kind, decoder }) => keyOf(kind, decoder));
    try {
        const { results } = await send(query);
        await refreshRoutes();
        const open = results.filter(({ ok, confirmed }) => ok && !confirmed).map((result) => ({
            kind: result.kind, decoder: result.decoder, encoder: result.encoder, answered: true,
            seenAt: routeOf(result.kind, result.decoder)?.seen_at ?? null,
        }));
        setWishes(open, keys);
        report(results);
        return before;
    } catch (error) {
        setWishes([], keys);
        const isLock = error instanceof ApiProblem && error.status === 409;
        if (isLock && mayAdminister.value && query === "") {
            ask({
                title: t("locks.override.title"), text: error.message, kind: "danger",
                action: t("locks.override.action"),
                onDo: () => order(changes, send, "?override=true").then(remember),
            });
        } else {
            sayProblem(error);
        }
        return [];
    }
}

function remember(/** @type {Change[]} */ before) {
    if (before.length > 0) {
        past.value = [...past.value.slice(1 - PAST_MAX), before];
    }
}

function sendRoutes(/** @type {Change[]} */ changes) {
    /** @type {Record<string, Record<string, string | null>>} */
    const body = {};
    for (const { kind, decoder, encoder } of changes) {
        (body[kind] ??= {})[decoder] = encoder;
    }
    return (/** @type {string} */ query) => api.post("routes" + query, body);
}

/** Makes routes, many at once. */
export async function makeRoutes(/** @type {Change[]} */ changes) {
    remember(await order(changes, sendRoutes(changes)));
}

/** Recalls a preset. */
export async function recallPreset(/** @type {import("./types.js").Preset} */ preset) {
    const changes = Object.entries(preset.routes).flatMap(([kind, table]) =>
        Object.entries(table).map(([decoder, encoder]) =>
            ({ kind: /** @type {Kind} */ (kind), decoder, encoder })));
    const way = `presets/${encodeURIComponent(preset.name)}/recall`;
    remember(await order(changes, (query) => api.post(way + query)));
}

/** Makes what was so before the last order. */
export async function undo() {
    const changes = past.value[past.value.length - 1];
    if (changes) {
        past.value = past.value.slice(0, -1);
        await order(changes, sendRoutes(changes));
    }
}
