// @ts-check
// The serial port: its settings, and bytes to be sent out of it.
import { useState } from "../../vendor/hooks.js";
import { api, path } from "../../app/api.js";
import { Choice, Field } from "../../app/controls.js";
import { html } from "../../app/html.js";
import { problemText } from "../../app/notices.js";
import { mayOperate } from "../../app/session.js";
import { t } from "../../app/texts.js";
import { Settings } from "./settings.js";

/** @import { Device } from "../../app/types.js" */

/** @type {Record<string, string>} */
const ENDINGS = { none: "", cr: "\r", lf: "\n", crlf: "\r\n" };
const SENT_MAX = 50;

/** The bytes of hexadecimal digits, with or without blanks between them; null for others. */
export function bytesOfHex(/** @type {string} */ text) {
    const digits = text.replace(/[\s,:]|0x/g, "");
    return digits.length > 0 && digits.length % 2 === 0 && /^[0-9a-f]+$/i.test(digits)
        ? Uint8Array.from(digits.match(/../g) ?? [], (pair) => parseInt(pair, 16)) : null;
}

export function hexOf(/** @type {Uint8Array} */ bytes) {
    return [...bytes].map((byte) => byte.toString(16).padStart(2, "0").toUpperCase()).join(" ");
}

/** The bytes as text, where what cannot be seen is a dot. */
function seen(/** @type {Uint8Array} */ bytes) {
    return [...bytes].map((byte) => (byte >= 32 && byte < 127 ? String.fromCharCode(byte) : "·"))
        .join("");
}

/** @typedef {{bytes: Uint8Array, time: string, problem: string}} Sent */

function Terminal(/** @type {{device: Device}} */ { device }) {
    const [form, setForm] = useState("text");
    const [ending, setEnding] = useState("cr");
    const [line, setLine] = useState("");
    const [sent, setSent] = useState(/** @type {Sent[]} */ ([]));
    const bytes = form === "hex" ? bytesOfHex(line)
        : new TextEncoder().encode(line + ENDINGS[ending]);
    const isWrong = form === "hex" && line.trim() !== "" && bytes === null;
    const send = async (/** @type {Event} */ event) => {
        event.preventDefault();
        if (!bytes || bytes.length === 0) {
            return;
        }
        setLine("");
        const data = btoa(String.fromCharCode(...bytes));
        const time = new Date().toLocaleTimeString();
        const problem = await api.post(path`devices/${device.id}/serial/data`, { data })
            .then(() => "", problemText);
        setSent((before) => [...before.slice(1 - SENT_MAX), { bytes, time, problem }]);
    };
    return html`<form class="terminal" onSubmit=${send}>
        <h3>${t("serial.send")}</h3>
        <div class="toolbar">
            <${Choice} label=${t("serial.form")} value=${form}
                onChange=${(/** @type {string} */ name) => { setForm(name); setLine(""); }}
                options=${[["text", t("serial.text")], ["hex", t("serial.hex")]]} />
            ${form === "text" && html`<select aria-label=${t("serial.ending")} value=${ending}
                onChange=${(/** @type {any} */ event) => setEnding(event.target.value)}>
                <option value="none">${t("serial.noending")}</option>
                <option value="cr">CR</option><option value="lf">LF</option>
                <option value="crlf">CR LF</option>
            </select>`}
        </div>
        <div class="sent mono" tabindex="0" role="log" aria-label=${t("serial.sent")}>
            ${sent.map(({ bytes: done, time, problem }, at) => html`<div key=${at}>
                <span class="muted">${time}</span> <span>${hexOf(done)}</span>
                ${" "}<span class="muted">${seen(done)}</span>
                ${problem && html`<span class="problem"> ${problem}</span>`}</div>`)}
        </div>
        <${Field} label=${t("serial.data")} problem=${isWrong ? t("serial.wrong") : null}
            hint=${t("serial.hint")}>
            <input class="mono" value=${line} autocomplete="off" spellcheck=${false}
                placeholder=${form === "hex" ? "50 57 52 0D" : "PWR ON"} disabled=${!device.online}
                onInput=${(/** @type {any} */ event) => setLine(event.target.value)} />
        </${Field}>
        <div class="buttons"><button class="primary"
            disabled=${!device.online || !bytes || line === ""}>${t("serial.action")}</button></div>
    </form>`;
}

export function Serial(/** @type {{device: Device}} */ { device }) {
    return html`<${Settings} device=${device} what="serial" title=${t("device.serial")}>
        ${mayOperate.value && html`<${Terminal} device=${device} />`}
    </${Settings}>`;
}
