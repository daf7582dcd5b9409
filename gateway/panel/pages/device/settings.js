// @ts-check
// Settings of a device as a form: what the device says now, what each value may be, and what came
// of a change.
import { useEffect, useState } from "../../vendor/hooks.js";
import { api, ApiProblem, path } from "../../app/api.js";
import { Badge, Field } from "../../app/controls.js";
import { html } from "../../app/html.js";
import { problemText } from "../../app/notices.js";
import { mayAdminister } from "../../app/session.js";
import { t, tAny } from "../../app/texts.js";

/** @import { Device } from "../../app/types.js" */

/**
 * @typedef {object} Range
 * @property {string} name
 * @property {"number" | "choice" | "address" | "text"} kind
 * @property {string} example
 * @property {number} [minimum]
 * @property {number} [maximum]
 * @property {string[]} [choices]
 * @property {number} [maximum_length]
 */

/** @type {Promise<any> | null} */
let ranges = null;

/** What settings of a kind may be, which is the same for all devices of a type. */
async function rangesOf(/** @type {Device} */ device, /** @type {string} */ what) {
    ranges ??= api.get("ranges");
    const all = await ranges.catch((error) => {
        ranges = null;
        throw error;
    });
    return /** @type {Range[]} */ (what === "parameters" ? all.parameters[device.type] : all[what]);
}

/** The name of a setting in the language of the user. */
export const settingName = (/** @type {string} */ name) => tAny("setting." + name)
    .replace(/^setting\./, "");

function hintOf(/** @type {Range} */ range) {
    return range.kind === "number"
        ? t("settings.range", { minimum: range.minimum ?? 0, maximum: range.maximum ?? 0 })
        : range.kind === "choice" ? "" : t("settings.example", { example: range.example });
}

function Input(/** @type {{range: Range, value: string, disabled: boolean,
                           onInput: (value: string) => void}} */
    { range, value, disabled, onInput }) {
    const input = (/** @type {any} */ event) => onInput(event.target.value);
    if (range.kind === "choice") {
        const known = range.choices?.includes(value) ? [] : [value];
        return html`<select value=${value} disabled=${disabled} onChange=${input}>
            ${[...known, ...range.choices ?? []].map((choice) => html`
                <option key=${choice} value=${choice}>${choice}</option>`)}
        </select>`;
    }
    return range.kind === "number"
        ? html`<input type="number" inputmode="numeric" min=${range.minimum} max=${range.maximum}
            required value=${value} disabled=${disabled} onInput=${input} />`
        : html`<input value=${value} maxlength=${range.maximum_length ?? 15} required
            pattern=${range.kind === "address" ? "\\d{1,3}(\\.\\d{1,3}){3}" : undefined}
            disabled=${disabled} onInput=${input} />`;
}

/**
 * What the device said last, and how that stands.
 * @typedef {object} Known
 * @property {Record<string, any> | null} values
 * @property {string} problem why they are not known, or not changed
 * @property {string | null} field which one is to blame
 * @property {"reading" | "saving" | "confirmed" | "unconfirmed" | ""} state
 */

function useSettings(/** @type {Device} */ device, /** @type {string} */ what) {
    const [known, setKnown] = useState(/** @type {Known} */ (
        { values: null, problem: "", field: null, state: "reading" }));
    const [limits, setLimits] = useState(/** @type {Range[]} */ ([]));
    const way = path`devices/${device.id}/` + what;
    const failed = (/** @type {unknown} */ error) => setKnown((before) => ({
        ...before, state: "", problem: problemText(error),
        field: error instanceof ApiProblem ? error.field : null,
    }));
    const read = async () => {
        setKnown((before) => ({ ...before, problem: "", field: null, state: "reading" }));
        try {
            setLimits(await rangesOf(device, what));
            const values = await api.get(way);
            setKnown({ values, problem: "", field: null, state: "" });
        } catch (error) {
            failed(error);
        }
    };
    const save = async (/** @type {Record<string, string>} */ changes) => {
        setKnown((before) => ({ ...before, problem: "", field: null, state: "saving" }));
        try {
            const { confirmed, ...values } = await api.put(way, changes);
            const state = confirmed ? "confirmed" : "unconfirmed";
            setKnown({ values, problem: "", field: null, state });
            return true;
        } catch (error) {
            failed(error);
            return false;
        }
    };
    useEffect(() => {
        if (device.online) {
            read();
        }
    }, [device.online]);
    return { known, limits, read, save };
}

function Outcome(/** @type {{known: Known}} */ { known }) {
    return html`<span role="status">
        ${known.state === "reading" && html`<span class="muted">${t("settings.reading")}</span>`}
        ${known.state === "saving" && html`<span class="muted">${t("settings.saving")}</span>`}
        ${known.state === "confirmed" && html`
            <${Badge} kind="good">${t("settings.confirmed")}</${Badge}>`}
        ${known.state === "unconfirmed" && html`
            <${Badge} kind="warn">${t("settings.unconfirmed")}</${Badge}>`}
        ${known.problem && html`<span class="problem">${known.problem}</span>`}
    </span>`;
}

/**
 * The form. `check` is asked before a change is sent, with the changes and the function that sends
 * them; without it they are sent at once.
 * @param {{device: Device, what: "parameters" | "network" | "serial", title: string,
 *          check?: (changes: Record<string, string>, send: () => Promise<any>) => void,
 *          children?: any}} props
 */
export function Settings({ device, what, title, check, children }) {
    const { known, limits, read, save } = useSettings(device, what);
    const [edited, setEdited] = useState(/** @type {Record<string, string>} */ ({}));
    const { values } = known;
    const changes = Object.fromEntries(Object.entries(edited)
        .filter(([name, value]) => values && value !== values[name]));
    const isBusy = known.state === "reading" || known.state === "saving";
    const send = async () => {
        if (await save(changes)) {
            setEdited({});
        }
    };
    const submit = (/** @type {Event} */ event) => {
        event.preventDefault();
        check ? check(changes, send) : send();
    };
    const told = values ? Object.keys(values).filter((name) =>
        !limits.some((range) => range.name === name)) : [];
    return html`<section class="card" aria-label=${title} aria-busy=${String(isBusy)}>
        <h2>${title}</h2>
        ${!values ? html`<p><${Outcome} known=${device.online ? known : { ...known, state: "" }} />
                ${!device.online && t("settings.offline")}</p>` : html`
            <form onSubmit=${submit} class="settings">
                ${limits.map((range) => html`<${Field} key=${range.name}
                    label=${settingName(range.name)} hint=${hintOf(range)}
                    problem=${known.field === range.name ? known.problem : null}>
                    <${Input} range=${range} value=${edited[range.name] ?? values[range.name] ?? ""}
                        disabled=${!mayAdminister.value || !device.online || isBusy}
                        onInput=${(/** @type {string} */ value) =>
                            setEdited({ ...edited, [range.name]: value })} />
                </${Field}>`)}
                ${told.map((name) => html`<div class="field" key=${name}>
                    <span class="label">${settingName(name)}</span>
                    <output>${values[name] || "–"}</output></div>`)}
                <div class="buttons">
                    <${Outcome} known=${known.field ? { ...known, problem: "" } : known} />
                    ${mayAdminister.value && Object.keys(changes).length > 0 && html`
                        <button type="button" onClick=${() => setEdited({})}>
                            ${t("settings.revert")}</button>
                        <button class="primary" disabled=${isBusy}>${t("save")}</button>`}
                    <button type="button" disabled=${isBusy || !device.online} onClick=${read}>
                        ${t("settings.read")}</button>
                </div>
            </form>`}
        ${!values && known.problem && device.online && html`<button onClick=${read}>
            ${t("settings.read")}</button>`}
        ${children}
    </section>`;
}
