// @ts-check
// What the gateway knows, kept fresh: read once, then by its events. Everything here is a signal; a
// component that reads one is drawn anew when it changes.
import { batch, computed, signal } from "../vendor/signals-core.js";
import { api, ApiProblem } from "./api.js";
import { follow } from "./events.js";

/** @import { Device, Job, Kind, Lock, Preset, Room, RouteState, System, Wall } from "./types.js" */

/** @type {import("../vendor/signals-core.js").Signal<System | null>} */
export const system = signal(null);
export const devices = signal(/** @type {Map<string, Device>} */ (new Map()));
export const routes = signal({
    video: /** @type {Map<string, RouteState>} */ (new Map()),
    serial: /** @type {Map<string, RouteState>} */ (new Map()),
    ir: /** @type {Map<string, RouteState>} */ (new Map()),
});
export const presets = signal(/** @type {Map<string, Preset>} */ (new Map()));
export const locks = signal(/** @type {Map<string, Lock>} */ (new Map()));
export const rooms = signal(/** @type {Map<string, Room>} */ (new Map()));
export const walls = signal(/** @type {Map<string, Wall>} */ (new Map()));
export const jobs = signal(/** @type {Map<string, Job>} */ (new Map()));

/** The newest entry of the log that came as an event; null before the first. */
export const lastLogEntry = signal(/** @type {any} */ (null));

/** How the panel stands with the gateway. */
export const connection = signal(/** @type {"loading" | "open" | "lost"} */ ("loading"));

/** @type {Kind[]} */
export const KINDS = ["video", "serial", "ir"];

const byId = (/** @type {Device} */ a, /** @type {Device} */ b) => (a.id < b.id ? -1 : 1);
const sorted = (/** @type {string} */ type) =>
    [...devices.value.values()].filter((device) => device.type === type).sort(byId);
export const encoders = computed(() => sorted("encoder"));
export const decoders = computed(() => sorted("decoder"));

/** What people call a device. */
export function deviceName(/** @type {string} */ id) {
    return devices.value.get(id)?.alias || id;
}

// Collections: the path, its signal, what each entry is known by.
const COLLECTIONS = /** @type {const} */ ([
    ["devices", devices, "id"], ["presets", presets, "name"], ["locks", locks, "decoder"],
    ["rooms", rooms, "name"], ["walls", walls, "name"], ["jobs", jobs, "id"],
]);

/** Reads one collection anew; for those of which not every change is an event. */
export async function refresh(/** @type {string} */ name) {
    const [, target, key] = COLLECTIONS.find(([known]) => known === name) ?? COLLECTIONS[0];
    const answer = await api.get(name);
    const entries = answer[name].map((/** @type {any} */ entry) => [entry[key], entry]);
    /** @type {any} */ (target).value = new Map(entries);
}

function takeRoutes(/** @type {any} */ answer) {
    const map = (/** @type {Kind} */ kind) => new Map(Object.entries(answer[kind]));
    routes.value = { video: map("video"), serial: map("serial"), ir: map("ir") };
}

/** Reads the routes anew: a moment at which a device said the same again is no event. */
export async function refreshRoutes() {
    takeRoutes(await api.get("routes"));
}

/** Collections that whoever is limited to rooms may not read. */
const BEYOND_ROOMS = ["presets", "walls", "jobs"];
let isForRooms = false;

function readOrEmpty(/** @type {string} */ name, /** @type {any} */ target) {
    if (!isForRooms || !BEYOND_ROOMS.includes(name)) {
        return refresh(name);
    }
    target.value = new Map();
    return null;
}

/** Reads everything; gives the place in the stream from which on events tell the rest. */
async function load() {
    const first = await api.get("system");
    const [found] = await Promise.all([api.get("routes"),
        ...COLLECTIONS.map(([name, target]) => readOrEmpty(name, target))]);
    batch(() => {
        system.value = first;
        takeRoutes(found);
    });
    return `${first.epoch}:${first.revision}`;
}

/** A copy of the map that a signal holds, made once for all events that came together. */
function copyOf(/** @type {Map<any, any>} */ copies, /** @type {any} */ target) {
    if (!copies.has(target)) {
        copies.set(target, new Map(target.value));
    }
    return copies.get(target);
}

const EVENTS = /** @type {Record<string, readonly [any, string]>} */ ({
    device: [devices, "id"], device_removed: [devices, "id"], preset: [presets, "name"],
    lock: [locks, "decoder"], room: [rooms, "name"], wall: [walls, "name"], job: [jobs, "id"],
});

/** Takes in events that came together. */
export function take(/** @type {import("./events.js").StreamEvent[]} */ events) {
    const copies = new Map();
    const kinds = new Map();
    batch(() => {
        for (const { event, data } of events) {
            if (event === "system") {
                system.value = data;
            } else if (event === "log") {
                lastLogEntry.value = data;
            } else if (event === "route") {
                const kind = /** @type {Kind} */ (data.kind);
                const map = kinds.get(kind) ?? new Map(routes.value[kind]);
                kinds.set(kind, map.set(data.decoder, data));
            } else if (event in EVENTS) {
                const [target, key] = EVENTS[event];
                const map = copyOf(copies, target);
                data.deleted ? map.delete(data[key]) : map.set(data[key], data);
            }
        }
        copies.forEach((map, target) => { target.value = map; });
        if (kinds.size > 0) {
            routes.value = { ...routes.value, ...Object.fromEntries(kinds) };
        }
    });
}

const TRY_AGAIN_MS = [300, 1000, 2000, 4000];
let running = new AbortController();

/** Waits for a while, or until the browser says that the network is back, or it all ends. */
async function pause(/** @type {number} */ duration_ms, /** @type {AbortSignal} */ ended) {
    const over = new AbortController();
    await new Promise((then) => {
        const { signal } = over;
        setTimeout(then, duration_ms);
        addEventListener("online", then, { signal });
        ended.addEventListener("abort", then, { signal });
    });
    over.abort();
}

/**
 * Reads what there is, or goes on behind `lastId`, and follows the events until that ends.
 * Gives the id to go on from; empty when everything has to be read anew.
 * @param {string} lastId
 * @param {AbortSignal} ended
 * @param {(lastId: string) => void} opened
 */
async function followOnce(lastId, ended, opened) {
    let last = lastId || await load();
    const stream = new AbortController();
    const end = () => stream.abort();
    ended.addEventListener("abort", end);
    try {
        await follow(last, stream.signal, {
            opened: () => opened(last),
            came(events) {
                if (events.some(({ event }) => event === "reset")) {
                    last = "";
                    end();
                    return;
                }
                take(events);
                last = events[events.length - 1].id;
                opened(last);
            },
        });
    } catch (error) {
        if (last !== "") {
            throw error;
        }
    } finally {
        ended.removeEventListener("abort", end);
    }
    return last;
}

/**
 * Keeps everything fresh until stop(), whatever happens to the connection; with `forRooms` only
 * what somebody who is limited to rooms may see.
 */
export async function start(forRooms = false) {
    isForRooms = forRooms;
    running.abort();
    running = new AbortController();
    const { signal: ended } = running;
    let failures = 0;
    let lastId = "";
    while (!ended.aborted) {
        try {
            lastId = await followOnce(lastId, ended, (id) => {
                lastId = id;
                failures = 0;
                connection.value = "open";
            });
            if (lastId === "") {
                continue;
            }
        } catch (error) {
            if (error instanceof ApiProblem && error.status === 401) {
                return;
            }
        }
        if (!ended.aborted) {
            connection.value = "lost";
            await pause(TRY_AGAIN_MS[Math.min(failures++, TRY_AGAIN_MS.length - 1)], ended);
        }
    }
}

/** Ends it: nobody is logged in. */
export function stop() {
    running.abort();
    connection.value = "loading";
}
