// @ts-check
// EDIDs: what the screen of a decoder says of itself, beside another one's, and giving one to an
// encoder, which then offers it to its source.
import { useState } from "../../vendor/hooks.js";
import { api, path } from "../../app/api.js";
import { ask } from "../../app/controls.js";
import { html } from "../../app/html.js";
import { problemText, say } from "../../app/notices.js";
import { mayAdminister } from "../../app/session.js";
import { decoders, deviceName, encoders } from "../../app/store.js";
import { t, tAny } from "../../app/texts.js";
import { hexOf } from "./serial.js";

/** @import { Device } from "../../app/types.js" */

/**
 * @typedef {object} Edid
 * @property {string} from whose screen it is of
 * @property {string} base64
 * @property {Uint8Array} bytes
 * @property {Record<string, any> | null} decoded
 */

const FACTS = ["manufacturer", "product", "serial", "made", "preferred_mode", "checksum_is_right"];
const LINE = 16;

async function read(/** @type {string} */ decoder) {
    const { edid, decoded } = await api.get(path`devices/${decoder}/edid`);
    const bytes = Uint8Array.from(atob(edid), (letter) => letter.charCodeAt(0));
    return /** @type {Edid} */ ({ from: decoder, base64: edid, bytes, decoded });
}

function fact(/** @type {Edid} */ edid, /** @type {string} */ name) {
    const value = edid.decoded?.[name];
    return name === "checksum_is_right" ? t(value ? "edid.right" : "edid.wrong") : value || "–";
}

/** Asks, and gives an encoder an EDID. */
function give(/** @type {Edid} */ edid, /** @type {string} */ encoder) {
    ask({
        title: t("edid.give"), action: t("edid.give"),
        text: t("edid.give.text", { screen: deviceName(edid.from), encoder: deviceName(encoder) }),
        onDo: async () => {
            await api.put(path`devices/${encoder}/edid`, { edid: edid.base64 });
            say(t("edid.given", { encoder: deviceName(encoder) }), "warn");
        },
    });
}

/** One or two EDIDs, with what differs marked. */
function Table(/** @type {{edids: Edid[]}} */ { edids }) {
    const differs = (/** @type {string} */ name) =>
        edids.length > 1 && fact(edids[0], name) !== fact(edids[1], name);
    return html`<div class="scroller"><table class="edids">
        <thead><tr><td></td>${edids.map(({ from }) => html`
            <th key=${from} scope="col">${deviceName(from)}</th>`)}</tr></thead>
        <tbody>${FACTS.map((name) => html`<tr key=${name} class=${differs(name) ? "differs" : ""}>
            <th scope="row">${tAny("edid." + name)}
                ${differs(name) && html`<span class="hidden"> (${t("edid.differs")})</span>`}</th>
            ${edids.map((edid) => html`<td key=${edid.from}>${fact(edid, name)}</td>`)}
        </tr>`)}</tbody>
    </table></div>`;
}

/** The bytes in lines, those that another EDID has otherwise marked. */
function Bytes(/** @type {{edid: Edid, other: Edid | undefined}} */ { edid, other }) {
    const lines = [];
    for (let at = 0; at < edid.bytes.length; at += LINE) {
        const line = edid.bytes.slice(at, at + LINE);
        const offset = at.toString(16).padStart(3, "0");
        lines.push(html`<div key=${at}><span class="muted">${offset}</span>
            ${[...line].map((byte, place) => html`${" "}<span key=${place} class=${
                other && other.bytes[at + place] !== byte ? "differs" : ""}>
                ${hexOf(Uint8Array.of(byte))}</span>`)}</div>`);
    }
    return html`<details><summary>${t("edid.bytes", { count: edid.bytes.length })}</summary>
        <div class="hex mono" tabindex="0" role="region"
            aria-label=${t("edid.bytes", { count: edid.bytes.length })}>${lines}</div></details>`;
}

function Choose(/** @type {{label: string, devices: Device[],
                            onChoose: (id: string) => void}} */ { label, devices, onChoose }) {
    const choose = (/** @type {any} */ { target }) => target.value && onChoose(target.value);
    return html`<select aria-label=${label} value="" onChange=${choose}>
        <option value="">${label}</option>
        ${devices.map(({ id }) => html`<option key=${id} value=${id}>${deviceName(id)}</option>`)}
    </select>`;
}

/** Of a decoder: its screen's EDID, another one beside it, and to whom to give it. */
function OfDecoder(/** @type {{device: Device, attempt: any, edids: Edid[]}} */
    { device, attempt, edids }) {
    const [own, other] = edids;
    const others = decoders.value.filter(({ id, online }) => online && id !== device.id);
    return html`${!own ? html`<button disabled=${!device.online}
            onClick=${() => attempt(() => [device.id])}>${t("edid.read")}</button>` : html`
        <${Table} edids=${edids} />
        <${Bytes} edid=${own} other=${other} />
        <div class="toolbar">
            ${others.length > 0 && html`<${Choose} label=${t("edid.compare")} devices=${others}
                onChoose=${(/** @type {string} */ id) => attempt(() => [device.id, id])} />`}
            ${mayAdminister.value && encoders.value.length > 0 && html`
                <${Choose} label=${t("edid.giveto")} devices=${encoders.value}
                    onChoose=${(/** @type {string} */ id) => give(own, id)} />`}
            <a class="button" download="${device.id}.edid"
                href=${`data:application/octet-stream;base64,${own.base64}`}>${t("edid.save")}</a>
        </div>`}`;
}

/** Of an encoder: whose screen's EDID it shall have. */
function OfEncoder(/** @type {{device: Device, attempt: any, edids: Edid[]}} */
    { device, attempt, edids }) {
    const [chosen] = edids;
    return html`<p class="muted">${t("edid.encoder")}</p>
        ${chosen && html`<${Table} edids=${edids} />`}
        <div class="toolbar">
            <${Choose} label=${t("edid.from")}
                devices=${decoders.value.filter(({ online }) => online)}
                onChoose=${(/** @type {string} */ id) => attempt(() => [id])} />
            ${chosen && mayAdminister.value && html`<button class="primary"
                disabled=${!device.online} onClick=${() => give(chosen, device.id)}>
                ${t("edid.give")}</button>`}
        </div>`;
}

export function Edid(/** @type {{device: Device}} */ { device }) {
    const [edids, setEdids] = useState(/** @type {Edid[]} */ ([]));
    const [note, setNote] = useState({ text: "", kind: "" });
    const attempt = async (/** @type {() => string[]} */ whose) => {
        setNote({ text: t("settings.reading"), kind: "muted" });
        try {
            const found = [];
            for (const id of whose()) {
                found.push(await read(id));
            }
            setEdids(found);
            setNote({ text: "", kind: "" });
        } catch (error) {
            setNote({ text: problemText(error), kind: "problem" });
        }
    };
    const Part = device.type === "decoder" ? OfDecoder : OfEncoder;
    return html`<section class="card edid" aria-label=${t("device.edid")}>
        <h2>${t("device.edid")}</h2>
        <p role="status" class=${note.kind}>${note.text}</p>
        <${Part} device=${device} attempt=${attempt} edids=${edids} />
    </section>`;
}
