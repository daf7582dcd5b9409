// @ts-check
// Choosing several of many.
import { useState } from "../vendor/hooks.js";
import { html } from "./html.js";
import { t } from "./texts.js";

/** @typedef {{id: string, name: string, note?: any, disabled?: boolean}} Option */

/**
 * Boxes to tick, with a search where there are many. `chosen` is told with every change.
 */
export function PickMany(/** @type {{label: string, options: Option[], chosen: Set<string>,
                                     onChange: (chosen: Set<string>) => void}} */
    { label, options, chosen, onChange }) {
    const [search, setSearch] = useState("");
    const wanted = search.trim().toLowerCase();
    const shown = options.filter(({ id, name }) => `${id} ${name}`.toLowerCase().includes(wanted));
    const change = (/** @type {string[]} */ ids, /** @type {boolean} */ isChosen) => {
        const next = new Set(chosen);
        ids.forEach((id) => (isChosen ? next.add(id) : next.delete(id)));
        onChange(next);
    };
    const free = shown.filter(({ disabled }) => !disabled).map(({ id }) => id);
    const all = free.length > 0 && free.every((id) => chosen.has(id));
    return html`<fieldset class="pick">
        <legend>${label} <span class="muted">${t("pick.count", { count: chosen.size })}</span>
        </legend>
        <div class="toolbar">
            ${options.length > 8 && html`<input type="search" aria-label=${t("pick.search")}
                placeholder=${t("pick.search")} value=${search}
                onInput=${(/** @type {any} */ event) => setSearch(event.target.value)} />`}
            ${options.length > 1 && html`<button type="button" onClick=${() => change(free, !all)}>
                ${t(all ? "pick.none" : "pick.all")}</button>`}
        </div>
        <div class="options" tabindex="0" role="group" aria-label=${label}>
            ${shown.map(({ id, name, note, disabled }) => html`
                <label key=${id} class=${disabled ? "off" : ""}>
                    <input type="checkbox" checked=${chosen.has(id)} disabled=${disabled}
                        onChange=${(/** @type {any} */ event) =>
                            change([id], event.target.checked)} />
                    <span>${name}</span>
                    ${note && html`<span class="muted">${note}</span>`}
                </label>`)}
            ${shown.length === 0 && html`<p class="muted">${t("devices.nomatch.title")}</p>`}
        </div>
    </fieldset>`;
}

/** Devices as options, with what people call them. */
export function deviceOptions(/** @type {import("./types.js").Device[]} */ devices) {
    return devices.map(({ id, alias }) =>
        ({ id, name: alias || id, note: alias && alias !== id ? id : "" }));
}
