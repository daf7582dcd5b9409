// @ts-check
// The stream of events, read by fetch: a browser's own EventSource cannot say where it begins.
import { call } from "./api.js";

// The gateway says something every 15 s.
const SILENCE_MAX_MS = 40_000;

/**
 * @typedef {{id: string, event: string, data: any}} StreamEvent
 * @typedef {object} Listener
 * @property {() => void} opened the stream stands
 * @property {(events: StreamEvent[]) => void} came
 */

/** One event of its lines; null for a comment. */
function parsed(/** @type {string} */ block) {
    const found = /** @type {StreamEvent} */ ({ id: "", event: "", data: null });
    for (const line of block.split("\n")) {
        const colon = line.indexOf(":");
        const name = line.slice(0, colon);
        const value = line.slice(colon + 1).trimStart();
        if (name === "data") {
            found.data = JSON.parse(value);
        } else if (name === "id" || name === "event") {
            found[name] = value;
        }
    }
    return found.event ? found : null;
}

/**
 * Follows the events behind `lastId` until the stream ends, whyever, or `signal` ends it.
 * @param {string} lastId EPOCH:REVISION
 * @param {AbortSignal} signal
 * @param {Listener} listener
 */
export async function follow(lastId, signal, listener) {
    const silence = new AbortController();
    const end = () => silence.abort();
    let timer = setTimeout(end, SILENCE_MAX_MS);
    signal.addEventListener("abort", end);
    try {
        const headers = { "Last-Event-ID": lastId };
        const answer = await call("GET", "events", { headers, signal: silence.signal });
        const reader = /** @type {ReadableStream} */ (answer.body)
            .pipeThrough(new TextDecoderStream()).getReader();
        listener.opened();
        for (let rest = ""; ;) {
            const { done, value } = await reader.read();
            if (done) {
                return;
            }
            clearTimeout(timer);
            timer = setTimeout(end, SILENCE_MAX_MS);
            const blocks = (rest + value).split("\n\n");
            rest = blocks.pop() ?? "";
            const events = blocks.map(parsed).filter((event) => event !== null);
            if (events.length > 0) {
                listener.came(events);
            }
        }
    } finally {
        clearTimeout(timer);
        signal.removeEventListener("abort", end);
        end();
    }
}
