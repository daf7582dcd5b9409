// @ts-check
// The crosspoint that the cursor is at, in words and with buttons, for those who have no keys.
import { html } from "../../app/html.js";
import { wishes } from "../../app/routing.js";
import { link } from "../../app/router.js";
import { mayOperate } from "../../app/session.js";
import { deviceName, devices, locks } from "../../app/store.js";
import { t } from "../../app/texts.js";
import { toggleLock } from "./locking.js";
import { armed, cursor, describe, routeNow, toggleArmed } from "./view.js";

export function Detail() {
    const { decoder, encoder } = cursor.value;
    const device = devices.value.get(decoder);
    if (!device || !devices.value.has(encoder)) {
        return null;
    }
    const isArmed = armed.value.get(decoder) === encoder;
    return html`<section class="detail" aria-label=${t("grid.crosspoint")}>
        <p><a href=${link("devices", encoder)}>${deviceName(encoder)}</a>
            <span aria-hidden="true"> → </span>
            <a href=${link("devices", decoder)}>${deviceName(decoder)}</a>
            <span class="muted"> ${describe(decoder, encoder, wishes.value)}${
                device.online ? "" : ", " + t("offline")}</span></p>
        ${mayOperate.value && html`<div class="buttons">
            <button onClick=${() => routeNow(decoder, encoder)}>${t("grid.route")}</button>
            <button aria-pressed=${String(isArmed)}
                onClick=${() => toggleArmed(decoder, encoder)}>${t("grid.arm")}</button>
            <button onClick=${() => routeNow(decoder, null)}>${t("grid.clear")}</button>
            <button onClick=${() => toggleLock(decoder)}>
                ${t(locks.value.has(decoder) ? "locks.release" : "locks.lock")}</button>
        </div>`}
    </section>`;
}
