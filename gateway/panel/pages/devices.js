// @ts-check
// All devices, with their state and when they were last heard.
import { useEffect, useState } from "../vendor/hooks.js";
import { Age, Badge, Choice, Empty } from "../app/controls.js";
import { html } from "../app/html.js";
import { link } from "../app/router.js";
import { devices, refresh } from "../app/store.js";
import { t, tAny } from "../app/texts.js";

/** @import { Device } from "../app/types.js" */

// That a device was heard again is no event.
const REFRESH_MS = 10_000;

const SEARCHED = /** @type {const} */ (["id", "alias", "address", "mac", "version"]);
const ORDERS = /** @type {const} */ (["alias", "id", "type", "address", "version", "last_seen"]);

/** Whether a device is one of the chosen kind and has the searched text somewhere. */
function fits(/** @type {Device} */ device, /** @type {string} */ filter,
    /** @type {string} */ search) {
    const isShown = filter === "all"
        || (filter === "offline" ? !device.online : device.type === filter);
    return isShown && SEARCHED.some((key) => device[key].toLowerCase().includes(search));
}

function compare(/** @type {typeof ORDERS[number]} */ order) {
    const numeric = new Intl.Collator(undefined, { numeric: true });
    return (/** @type {Device} */ a, /** @type {Device} */ b) =>
        numeric.compare(a[order] || a.id, b[order] || b.id) || numeric.compare(a.id, b.id);
}

/** Keeps the moments at which devices were heard fresh while the page is seen. */
export function useFreshDevices() {
    useEffect(() => {
        const read = () => document.hidden || refresh("devices").catch(() => null);
        read();
        const timer = setInterval(read, REFRESH_MS);
        return () => clearInterval(timer);
    }, []);
}

export function StateBadge(/** @type {{device: Device}} */ { device }) {
    return device.duplicate
        ? html`<${Badge} kind="bad">${t("devices.duplicate")}</${Badge}>`
        : html`<${Badge} kind=${device.online ? "good" : "muted"}>
            ${t(device.online ? "online" : "offline")}</${Badge}>`;
}

function Row(/** @type {{device: Device}} */ { device }) {
    return html`<tr class=${device.online ? "" : "offline"}>
        <td class="name"><a href=${link("devices", device.id)}>${device.alias || device.id}</a></td>
        <td data-label=${t("devices.id")}>${device.id}</td>
        <td data-label=${t("devices.type")}>${tAny("type." + device.type)}</td>
        <td data-label=${t("devices.address")}>${device.address}</td>
        <td data-label=${t("devices.version")}>${device.version}</td>
        <td data-label=${t("devices.state")}><${StateBadge} device=${device} /></td>
        <td data-label=${t("devices.seen")}><${Age} time=${device.last_seen} /></td>
    </tr>`;
}

export function DevicesPage(/** @type {{query: URLSearchParams}} */ { query }) {
    const [filter, setFilter] = useState(query.get("show") ?? "all");
    const [search, setSearch] = useState("");
    const [order, setOrder] = useState(/** @type {typeof ORDERS[number]} */ ("id"));
    useFreshDevices();
    const all = [...devices.value.values()];
    const shown = all.filter((device) => fits(device, filter, search.trim().toLowerCase()))
        .sort(compare(order));
    const head = (/** @type {typeof ORDERS[number]} */ key, /** @type {string} */ text) => html`
        <th scope="col" aria-sort=${order === key ? "ascending" : undefined}>
            <button class="plain" onClick=${() => setOrder(key)}>${text}</button></th>`;
    if (all.length === 0) {
        return html`<${Empty} title=${t("devices.empty.title")}>
            ${t("devices.empty.text")}</${Empty}>`;
    }
    return html`<h1 class="hidden">${t("page.devices")}</h1>
        <div class="toolbar">
            <input type="search" placeholder=${t("devices.search")}
                aria-label=${t("devices.search")} value=${search}
                onInput=${(/** @type {any} */ event) => setSearch(event.target.value)} />
            <${Choice} label=${t("devices.filter")} value=${filter} onChange=${setFilter}
                options=${[["all", t("devices.all")], ["encoder", t("devices.encoders")],
                ["decoder", t("devices.decoders")], ["offline", t("devices.offline")]]} />
            <span class="muted" role="status">${t("devices.shown", { count: shown.length })}</span>
        </div>
        ${shown.length === 0
            ? html`<${Empty} title=${t("devices.nomatch.title")}>
                ${t("devices.nomatch.text")}</${Empty}>`
            : html`<div class="scroller" tabindex="0" role="region" aria-label=${t("page.devices")}>
                <table class="list devices">
                <thead><tr>
                    ${head("alias", t("devices.name"))} ${head("id", t("devices.id"))}
                    ${head("type", t("devices.type"))} ${head("address", t("devices.address"))}
                    ${head("version", t("devices.version"))}
                    <th scope="col">${t("devices.state")}</th>
                    ${head("last_seen", t("devices.seen"))}
                </tr></thead>
                <tbody>${shown.map((device) => html`
                    <${Row} key=${device.id} device=${device} />`)}</tbody>
            </table></div>`}`;
}
