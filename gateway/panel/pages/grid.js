// @ts-check
// The crosspoint grid: encoders across, decoders down, a mark where a decoder shows an encoder.
import { useEffect, useState } from "../vendor/hooks.js";
import { Choice, Dialog, Empty } from "../app/controls.js";
import { html } from "../app/html.js";
import { mayUndo, undo } from "../app/routing.js";
import { mayOperate } from "../app/session.js";
import { decoders, encoders, KINDS, rooms } from "../app/store.js";
import { t, tAny } from "../app/texts.js";
import { Detail } from "./grid/detail.js";
import { onPageKey } from "./grid/keys.js";
import { Presets } from "./grid/presets.js";
import { Table } from "./grid/table.js";
import { armed, disarm, foundNothing, layers, mode, room, search, shownDecoders, shownEncoders,
    takeArmed, toggleLayer } from "./grid/view.js";

const KEYS = ["arrows", "home", "enter", "space", "take", "delete", "undo", "lock", "search",
    "escape"];

function Help(/** @type {{onClose: () => void}} */ { onClose }) {
    return html`<${Dialog} title=${t("keys.title")} onClose=${onClose}>
        <dl class="keys">
            ${KEYS.map((name) => html`<div key=${name}>
                <dt>${tAny(`keys.${name}.key`)}</dt><dd>${tAny(`keys.${name}.does`)}</dd></div>`)}
        </dl>
        <div class="legend">
            <span><i class="mark so"></i> ${t("legend.so")}</span>
            <span><i class="mark asked"></i> ${t("legend.asked")}</span>
            <span><i class="mark leaving"></i> ${t("legend.leaving")}</span>
            <span><i class="mark so offline"></i> ${t("legend.offline")}</span>
            <span><i class="mark armed"></i> ${t("legend.armed")}</span>
        </div>
        <div class="buttons"><button onClick=${onClose}>${t("close")}</button></div>
    </${Dialog}>`;
}

function Tools() {
    const [isHelp, setHelp] = useState(false);
    const count = armed.value.size;
    return html`<div class="toolbar">
        <input type="search" placeholder=${t("grid.search")} aria-label=${t("grid.search")}
            value=${search.value}
            onInput=${(/** @type {any} */ event) => { search.value = event.target.value; }} />
        ${rooms.value.size > 0 && html`<select aria-label=${t("grid.room")} value=${room.value}
            onChange=${(/** @type {any} */ event) => { room.value = event.target.value; }}>
            <option value="">${t("grid.allrooms")}</option>
            ${[...rooms.value.keys()].map((name) => html`
                <option key=${name} value=${name}>${name}</option>`)}
        </select>`}
        <div class="choice" role="group" aria-label=${t("grid.layers")}>
            ${KINDS.map((kind) => html`<button key=${kind} onClick=${() => toggleLayer(kind)}
                aria-pressed=${String(layers.value.includes(kind))}>${t(`kind.${kind}`)}</button>`)}
        </div>
        ${mayOperate.value && html`
            <${Choice} label=${t("grid.mode")} value=${mode.value}
                onChange=${(/** @type {any} */ name) => { mode.value = name; }}
                options=${[["direct", t("grid.direct")], ["take", t("grid.arm")]]} />
            ${(mode.value === "take" || count > 0) && html`
                <button class="primary" disabled=${count === 0} onClick=${takeArmed}>
                    ${t("grid.take", { count })}</button>
                <button disabled=${count === 0} onClick=${disarm}>${t("grid.disarm")}</button>`}
            <button disabled=${!mayUndo.value} onClick=${undo}>${t("grid.undo")}</button>`}
        <button class="help" onClick=${() => setHelp(true)}>${t("keys.title")}</button>
        ${isHelp && html`<${Help} onClose=${() => setHelp(false)} />`}
    </div>`;
}

export function GridPage() {
    useEffect(() => {
        addEventListener("keydown", onPageKey);
        return () => removeEventListener("keydown", onPageKey);
    }, []);
    if (encoders.value.length === 0 || decoders.value.length === 0) {
        const which = encoders.value.length + decoders.value.length === 0 ? "devices"
            : encoders.value.length === 0 ? "encoders" : "decoders";
        return html`<${Empty} title=${tAny(`grid.empty.${which}`)}>
            ${t("devices.empty.text")}</${Empty}>`;
    }
    const isEmpty = foundNothing.value || shownEncoders.value.length === 0
        || shownDecoders.value.length === 0;
    return html`<h1 class="hidden">${t("page.grid")}</h1>
        <${Tools} />
        <${Presets} />
        ${isEmpty
            ? html`<${Empty} title=${t("devices.nomatch.title")}>${t("grid.nomatch")}</${Empty}>`
            : html`<${Table} /><${Detail} />`}`;
}
