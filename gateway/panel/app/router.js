// @ts-check
// Which page is shown: "#/devices/RX-0001" is the page "devices" with the part "RX-0001".
import { signal } from "../vendor/signals-core.js";

function read() {
    const [way, query = ""] = location.hash.replace(/^#\/?/, "").split("?");
    const parts = way.split("/").map((part) => {
        try {
            return decodeURIComponent(part);
        } catch {
            return part;
        }
    });
    return { name: parts[0] || "grid", parts: parts.slice(1), query: new URLSearchParams(query) };
}

/** Where the panel is: the page's name, what stands behind it, and the parameters. */
export const place = signal(read());
addEventListener("hashchange", () => { place.value = read(); });

/** The address of a page: link("devices", "RX-0001"). */
export function link(/** @type {string[]} */ ...parts) {
    return "#/" + parts.map(encodeURIComponent).join("/");
}

/** Takes a parameter out of the address, and out of the browser's history. */
export function forgetParameter(/** @type {string} */ name) {
    const { query } = place.value;
    query.delete(name);
    const [way] = location.hash.split("?");
    history.replaceState(null, "", way + (query.size > 0 ? `?${query}` : ""));
    place.value = read();
}

export function go(/** @type {string[]} */ ...parts) {
    location.hash = link(...parts);
}
