// @ts-check
// What is done to a device as a whole.
import { useState } from "../../vendor/hooks.js";
import { api, path } from "../../app/api.js";
import { ask, Field, FormDialog } from "../../app/controls.js";
import { html } from "../../app/html.js";
import { attempt, say } from "../../app/notices.js";
import { go } from "../../app/router.js";
import { mayAdminister, mayOperate } from "../../app/session.js";
import { t } from "../../app/texts.js";

/** @import { Device } from "../../app/types.js" */

const MAX_BYTES = 31;

function Rename(/** @type {{device: Device, onClose: () => void}} */ { device, onClose }) {
    const rename = async (/** @type {FormData} */ form) => {
        const alias = String(form.get("alias")).trim() || null;
        const { confirmed } = await api.patch(path`devices/${device.id}`, { alias });
        say(t(confirmed ? "device.renamed" : "device.unconfirmed"), confirmed ? "good" : "warn");
    };
    return html`<${FormDialog} title=${t("device.rename")} action=${t("save")} onDo=${rename}
        onClose=${onClose}>
        <${Field} label=${t("devices.name")} hint=${t("device.rename.hint", { count: MAX_BYTES })}>
            <input name="alias" value=${device.alias} maxlength=${MAX_BYTES} />
        </${Field}>
    </${FormDialog}>`;
}

function FactoryReset(/** @type {{device: Device, onClose: () => void}} */ { device, onClose }) {
    const reset = async (/** @type {FormData} */ form) => {
        await api.post(path`devices/${device.id}/factory-reset`, { confirm: form.get("id") });
        say(t("device.reset.sent"), "warn");
    };
    return html`<${FormDialog} title=${t("device.reset")} action=${t("device.reset")}
        kind="danger" onDo=${reset} onClose=${onClose}>
        <p>${t("device.reset.text")}</p>
        <${Field} label=${t("device.reset.type", { id: device.id })}>
            <input name="id" autocomplete="off" required />
        </${Field}>
    </${FormDialog}>`;
}

export function Actions(/** @type {{device: Device}} */ { device }) {
    const [open, setOpen] = useState("");
    const close = () => setOpen("");
    const way = path`devices/${device.id}`;
    const identify = () => attempt(() => api.post(way + "/identify"), t("device.identify.sent"));
    const reboot = () => ask({
        title: t("device.reboot.title", { id: device.alias || device.id }),
        text: t("device.reboot.text"), action: t("device.reboot"), kind: "danger",
        onDo: async () => {
            await api.post(way + "/reboot");
            say(t("device.reboot.sent"));
        },
    });
    const forget = () => ask({
        title: t("device.forget.title", { id: device.alias || device.id }),
        text: t("device.forget.text"), action: t("device.forget"),
        onDo: async () => {
            await api.remove(way);
            go("devices");
        },
    });
    return html`<div class="buttons">
        ${mayOperate.value && html`
            <button disabled=${!device.online} onClick=${identify}>
                ${t("device.identify")}</button>`}
        ${mayAdminister.value && html`
            <button disabled=${!device.online} onClick=${() => setOpen("rename")}>
                ${t("device.rename")}</button>
            <button disabled=${!device.online} onClick=${reboot}>${t("device.reboot")}</button>
            <button class="danger" disabled=${!device.online} onClick=${() => setOpen("reset")}>
                ${t("device.reset")}</button>
            ${!device.online && html`<button onClick=${forget}>${t("device.forget")}</button>`}`}
        ${open === "rename" && html`<${Rename} device=${device} onClose=${close} />`}
        ${open === "reset" && html`<${FactoryReset} device=${device} onClose=${close} />`}
    </div>`;
}
