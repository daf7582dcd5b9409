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

export function go(/** @type {string[]} */ ...parts) {
    location.hash = link(...parts);
}
