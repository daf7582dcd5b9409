// @ts-check
// One device.
import { Empty } from "../app/controls.js";
import { html } from "../app/html.js";
import { devices } from "../app/store.js";
import { t } from "../app/texts.js";

export function DevicePage(/** @type {{id: string}} */ { id }) {
    const device = devices.value.get(id);
    return device ? html`<h1>${device.alias || id}</h1>`
        : html`<${Empty} title=${t("devices.nomatch.title")}>${id}</${Empty}>`;
}
