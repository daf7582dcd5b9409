// @ts-check
// Presets as buttons.
import { useState } from "../../vendor/hooks.js";
import { api, path } from "../../app/api.js";
import { ask, Dialog, Field, FormDialog } from "../../app/controls.js";
import { html } from "../../app/html.js";
import { say } from "../../app/notices.js";
import { recallPreset, routeOf } from "../../app/routing.js";
import { mayAdminister, mayOperate } from "../../app/session.js";
import { presets } from "../../app/store.js";
import { ago, t } from "../../app/texts.js";
import { layers, shownDecoders } from "./view.js";

/** @import { Kind, Preset } from "../../app/types.js" */

/** How many routes a preset has. */
function size(/** @type {Preset} */ preset) {
    return Object.values(preset.routes).reduce((sum, table) => sum + Object.keys(table).length, 0);
}

/** Whether all devices say that it is as the preset has it. */
function isSo(/** @type {Preset} */ preset) {
    return size(preset) > 0 && Object.entries(preset.routes).every(([kind, table]) =>
        Object.entries(table).every(([decoder, encoder]) => {
            const said = routeOf(/** @type {Kind} */ (kind), decoder);
            return said?.seen_at && said.encoder === encoder;
        }));
}

function SaveDialog(/** @type {{onClose: () => void}} */ { onClose }) {
    const save = async (/** @type {FormData} */ form) => {
        const name = String(form.get("name")).trim();
        await api.put(path`presets/${name}`, {
            note: String(form.get("note")) || null,
            capture: { decoders: shownDecoders.value.map(({ id }) => id), kinds: layers.value },
        });
        say(t("presets.saved", { name }));
    };
    const values = {
        count: shownDecoders.value.length,
        kinds: layers.value.map((kind) => t(`kind.${kind}`)).join(", "),
    };
    return html`<${FormDialog} title=${t("presets.save.title")} action=${t("save")} onDo=${save}
        onClose=${onClose}>
        <p>${t("presets.save.text", values)}</p>
        <${Field} label=${t("presets.name")}>
            <input name="name" required maxlength="64" pattern="[^\\/]+" list="preset-names" />
        </${Field}>
        <datalist id="preset-names">
            ${[...presets.value.keys()].map((name) => html`<option key=${name} value=${name} />`)}
        </datalist>
        <${Field} label=${t("presets.note")}><input name="note" maxlength="200" /></${Field}>
    </${FormDialog}>`;
}

function ManageDialog(/** @type {{onClose: () => void}} */ { onClose }) {
    const remove = (/** @type {string} */ name) => ask({
        title: t("presets.delete.title", { name }), text: t("presets.delete.text"),
        action: t("delete"), kind: "danger",
        onDo: () => api.remove(path`presets/${name}`),
    });
    return html`<${Dialog} title=${t("presets.manage")} onClose=${onClose}>
        <ul class="rows">
            ${[...presets.value.values()].map((preset) => html`<li key=${preset.name}>
                <span><strong>${preset.name}</strong>
                    <span class="muted">${t("presets.size", { count: size(preset) })},
                        ${" "}${ago(preset.updated_at)}${preset.note && ` · ${preset.note}`}</span>
                </span>
                <button class="danger" onClick=${() => remove(preset.name)}
                    aria-label=${`${t("delete")}: ${preset.name}`}>${t("delete")}</button>
            </li>`)}
        </ul>
        <div class="buttons"><button onClick=${onClose}>${t("close")}</button></div>
    </${Dialog}>`;
}

export function Presets() {
    const [open, setOpen] = useState("");
    const close = () => setOpen("");
    const all = [...presets.value.values()].sort((a, b) => (a.name < b.name ? -1 : 1));
    if (all.length === 0 && !mayAdminister.value) {
        return null;
    }
    return html`<div class="presets" role="group" aria-label=${t("presets.title")}>
        <span class="label muted">${t("presets.title")}</span>
        <div class="buttons-row">
            ${all.map((preset) => html`<button key=${preset.name} class=${isSo(preset) ? "so" : ""}
                title=${preset.note ?? t("presets.size", { count: size(preset) })}
                disabled=${!mayOperate.value} onClick=${() => recallPreset(preset)}>
                ${preset.name}
                ${isSo(preset) && html`<span class="hidden"> (${t("presets.so")})</span>`}
            </button>`)}
        </div>
        ${mayAdminister.value && html`
            <button onClick=${() => setOpen("save")}>${t("presets.save")}</button>
            ${all.length > 0 && html`
                <button onClick=${() => setOpen("manage")}>${t("presets.manage")}</button>`}`}
        ${open === "save" && html`<${SaveDialog} onClose=${close} />`}
        ${open === "manage" && html`<${ManageDialog} onClose=${close} />`}
    </div>`;
}
