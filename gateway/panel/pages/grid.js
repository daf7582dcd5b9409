// @ts-check
// The crosspoint grid.
import { Empty } from "../app/controls.js";
import { html } from "../app/html.js";
import { t } from "../app/texts.js";

export function GridPage() {
    return html`<${Empty} title=${t("page.grid")}></${Empty}>`;
}
