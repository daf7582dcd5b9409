// @ts-check
// One device: what it is, what it is set to, and what can be done to it.
import { Age, Empty } from "../app/controls.js";
import { html } from "../app/html.js";
import { link } from "../app/router.js";
import { deviceName, devices, KINDS, locks, routes } from "../app/store.js";
import { t } from "../app/texts.js";
import { Actions } from "./device/actions.js";
import { Edid } from "./device/edid.js";
import { Network } from "./device/network.js";
import { Serial } from "./device/serial.js";
import { Settings } from "./device/settings.js";
import { StateBadge, useFreshDevices } from "./devices.js";

/** @import { Device } from "../app/types.js" */

/** What a decoder shows, on each layer. */
function Shows(/** @type {{device: Device}} */ { device }) {
    const known = KINDS.map((kind) => [kind, routes.value[kind].get(device.id)]);
    const lock = locks.value.get(device.id);
    return html`${known.map(([kind, said]) => {
        const route = /** @type {any} */ (said);
        return html`<div key=${kind}><dt>${t(`kind.${/** @type {"ir"} */ (kind)}`)}</dt>
            <dd>${route?.encoder
                ? html`<a href=${link("devices", route.encoder)}>${deviceName(route.encoder)}</a>`
                : t(route?.seen_at ? "device.nosource" : "device.notheard")}</dd></div>`;
    })}
    ${lock && html`<div><dt>${t("device.lock")}</dt>
        <dd>${t("grid.locked", { owner: lock.owner })}${lock.note && `: ${lock.note}`}</dd>
    </div>`}`;
}

/** Which decoders show an encoder. */
function ShownOn(/** @type {{device: Device}} */ { device }) {
    const found = [...routes.value.video].filter(([, said]) => said.encoder === device.id)
        .map(([decoder]) => decoder).sort();
    return html`<div><dt>${t("device.shownon")}</dt><dd>${found.length === 0 ? t("device.nowhere")
        : found.map((id, at) => html`${at > 0 ? ", " : ""}
            <a key=${id} href=${link("devices", id)}>${deviceName(id)}</a>`)}</dd></div>`;
}

function Facts(/** @type {{device: Device}} */ { device }) {
    const facts = /** @type {const} */ ([
        ["devices.address", device.address], ["device.netmask", device.netmask],
        ["device.gateway", device.gateway], ["device.mac", device.mac],
        ["devices.version", device.version], ["device.status", device.status],
    ]);
    return html`<section class="card says" aria-label=${t("device.facts")}><dl>
        ${facts.map(([name, value]) => html`<div key=${name}>
            <dt>${t(name)}</dt><dd>${value || "–"}</dd></div>`)}
        <div><dt>${t("devices.seen")}</dt><dd><${Age} time=${device.last_seen} /></dd></div>
        ${device.type === "decoder" && html`<${Shows} device=${device} />`}
        ${device.type === "encoder" && html`<${ShownOn} device=${device} />`}
    </dl></section>`;
}

export function DevicePage(/** @type {{id: string}} */ { id }) {
    useFreshDevices();
    const device = devices.value.get(id);
    if (!device) {
        return html`<${Empty} title=${t("device.unknown", { id })}>
            <a href=${link("devices")}>${t("device.all")}</a></${Empty}>`;
    }
    return html`<div class="device-head">
            <div>
                <a href=${link("devices")}>← ${t("device.all")}</a>
                <h1>${device.alias || id}</h1>
                <p><span class="muted">${t(`type.${device.type}`)} ${device.alias && id}</span>
                    ${" "}<${StateBadge} device=${device} /></p>
            </div>
            <${Actions} device=${device} />
        </div>
        ${!device.online && html`<p class="note">${t("device.offline")}</p>`}
        <div class="device-parts">
            <${Facts} device=${device} />
            ${device.type !== "unknown" && html`
                <${Settings} device=${device} what="parameters" title=${t("device.parameters")} />`}
            <${Network} device=${device} />
            <${Serial} device=${device} />
            ${device.type !== "unknown" && html`<${Edid} device=${device} />`}
        </div>`;
}
