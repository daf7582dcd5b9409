// @ts-check
// Starts the panel.
import "../vendor/signals.js"; // draws components anew when signals change
import { render } from "../vendor/preact.js";
import { html } from "./html.js";
import { findSession } from "./session.js";
import { Shell } from "./shell.js";
import "./theme.js";

render(html`<${Shell} />`, /** @type {HTMLElement} */ (document.getElementById("panel")));
findSession();
