// @ts-check
// The small things that pages are made of.
import { signal } from "../vendor/signals-core.js";
import { useEffect, useRef, useState } from "../vendor/hooks.js";
import { html } from "./html.js";
import { problemText } from "./notices.js";
import { ago, moment, t } from "./texts.js";

const TICK_MS = 1000;

/** The time, so that ages are drawn anew. */
export const now = signal(Date.now());
setInterval(() => {
    if (!document.hidden) {
        now.value = Date.now();
    }
}, TICK_MS);

/** How long ago something was; the moment itself when one points at it. */
export function Age(/** @type {{time: string | null}} */ { time }) {
    return time ? html`<time datetime=${time} title=${moment(time)}>${ago(time, now.value)}</time>`
        : html`<span class="muted">${t("never")}</span>`;
}

/** A state in a word and a colour: good, warn, bad or muted. */
export function Badge(/** @type {{kind: string, children?: any}} */ { kind, children }) {
    return html`<span class="badge ${kind}">${children}</span>`;
}

/** What stands where there is nothing: what is missing, and what to do. */
export function Empty(/** @type {{title: string, children?: any}} */ { title, children }) {
    return html`<div class="empty"><h2>${title}</h2><p>${children}</p></div>`;
}

/** One of several, as buttons in a row. Options are [value, label]. */
export function Choice(/** @type {{label: string, value: string, options: (readonly string[])[],
                                   onChange: (value: string) => void}} */
    { label, value, options, onChange }) {
    return html`<div class="choice" role="group" aria-label=${label}>
        ${options.map(([name, text]) => html`
            <button type="button" key=${name} aria-pressed=${String(name === value)}
                onClick=${() => onChange(name)}>${text}</button>`)}
    </div>`;
}

/** A labelled control: whatever stands in it, with a hint or what is wrong below it. */
export function Field(/** @type {{label: string, hint?: any, problem?: string | null,
                                  children?: any}} */ { label, hint, problem, children }) {
    return html`<label class="field ${problem ? "wrong" : ""}">
        <span class="label">${label}</span>
        ${children}
        ${problem ? html`<span class="hint problem" role="alert">${problem}</span>`
            : hint && html`<span class="hint">${hint}</span>`}
    </label>`;
}

/** A dialog over the page, open as long as it is drawn. Escape closes it. */
export function Dialog(/** @type {{title: string, onClose: () => void, children?: any}} */
    { title, onClose, children }) {
    const element = useRef(/** @type {HTMLDialogElement | null} */ (null));
    useEffect(() => {
        const before = /** @type {HTMLElement | null} */ (document.activeElement);
        element.current?.showModal();
        return () => before?.focus?.();
    }, []);
    return html`<dialog ref=${element} aria-label=${title} onClose=${onClose}>
        <h2>${title}</h2>
        ${children}
    </dialog>`;
}

/**
 * A dialog that does something when it is agreed to, shows what went wrong, and closes when it was
 * done, unless onDo gives false.
 */
export function FormDialog(/** @type {{title: string, action: string, kind?: string,
                                       onDo: (form: FormData) => Promise<any>,
                                       onClose: () => void, children?: any}} */
    { title, action, kind = "primary", onDo, onClose, children }) {
    const [problem, setProblem] = useState("");
    const [busy, setBusy] = useState(false);
    const submit = async (/** @type {SubmitEvent} */ event) => {
        event.preventDefault();
        setBusy(true);
        try {
            const form = new FormData(/** @type {HTMLFormElement} */ (event.target));
            if (await onDo(form) !== false) {
                onClose();
            }
        } catch (error) {
            setProblem(problemText(error));
            setBusy(false);
        }
    };
    return html`<${Dialog} title=${title} onClose=${onClose}>
        <form onSubmit=${submit}>
            ${children}
            ${problem && html`<p class="problem" role="alert">${problem}</p>`}
            <div class="buttons">
                <button type="button" onClick=${onClose}>${t("cancel")}</button>
                <button class=${kind} disabled=${busy}>${action}</button>
            </div>
        </form>
    </${Dialog}>`;
}

/** The one dialog that asks whether something shall be done; null for none. */
const question = signal(/** @type {any} */ (null));

/**
 * Asks before something is done that is hard to undo.
 * @param {{title: string, text: string, action: string, kind?: string,
 *          onDo: () => Promise<any>}} what
 */
export function ask(what) {
    question.value = what;
}

export function Question() {
    const asked = question.value;
    const close = () => { question.value = null; };
    return asked && html`<${FormDialog} title=${asked.title} action=${asked.action}
        kind=${asked.kind ?? "primary"} onDo=${asked.onDo} onClose=${close}>
        <p>${asked.text}</p>
    </${FormDialog}>`;
}
