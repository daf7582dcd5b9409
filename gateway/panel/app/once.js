// @ts-check
// What is shown once: a token, or an address that carries one, as a text to copy and as a code to
// scan.
import { generate } from "../vendor/qr.js";
import { html } from "./html.js";
import { say } from "./notices.js";
import { t } from "./texts.js";

// Readers want so much light around a code.
const QUIET = 4;

/** A text as a code that phones read. */
export function Code(/** @type {{text: string, label: string}} */ { text, label }) {
    const code = generate(text);
    let dots = "";
    for (let y = 0; y < code.size; ++y) {
        for (let x = 0; x < code.size; ++x) {
            dots += code.get(x, y) ? `M${x} ${y}h1v1h-1z` : "";
        }
    }
    const size = code.size + 2 * QUIET;
    return html`<svg class="code" role="img" aria-label=${label} shape-rendering="crispEdges"
            viewBox="${-QUIET} ${-QUIET} ${size} ${size}">
        <rect x=${-QUIET} y=${-QUIET} width=${size} height=${size} fill="#fff" />
        <path d=${dots} fill="#000" />
    </svg>`;
}

/** A text to be copied. */
export function Copy(/** @type {{text: string, label: string}} */ { text, label }) {
    const copy = async (/** @type {any} */ event) => {
        const field = event.target.closest(".copy").querySelector("input");
        field.select();
        try {
            await navigator.clipboard.writeText(text);
            say(t("once.copied"));
        } catch {
            // Without HTTPS a browser lets nobody copy but the user, to whom it is selected now.
            say(t("once.selected"), "warn");
        }
    };
    return html`<div class="copy">
        <input class="mono" readonly value=${text} aria-label=${label}
            onFocus=${(/** @type {any} */ event) => event.target.select()} />
        <button type="button" onClick=${copy}>${t("once.copy")}</button>
    </div>`;
}
