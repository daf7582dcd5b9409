// @ts-check
// Markup in JavaScript: html`<p class=${name}>${text}</p>` makes what preact renders.
import htm from "../vendor/htm.js";
import { h } from "../vendor/preact.js";

export const html = htm.bind(h);
