// @ts-check
// The log: who changed what, and what devices and the daemon did by themselves.
import { useEffect, useRef, useState } from "../vendor/hooks.js";
import { api } from "../app/api.js";
import { Badge, Empty } from "../app/controls.js";
import { html } from "../app/html.js";
import { sayProblem } from "../app/notices.js";
import { lastLogEntry } from "../app/store.js";
import { moment, t, tAny } from "../app/texts.js";

/**
 * @typedef {{id: number, time: string, user: string | null, address: string | null,
 *            action: string, target: string | null, detail: string | null, result: string}} Entry
 */

const PAGE = 100;
const TYPING_MS = 250;

async function read(/** @type {string} */ search, /** @type {number | undefined} */ before) {
    const query = new URLSearchParams({ limit: String(PAGE) });
    search && query.set("q", search);
    before && query.set("before", String(before));
    return /** @type {Entry[]} */ ((await api.get("log?" + query)).entries);
}

/** Whether an entry has the text, as the gateway searches. */
function holds(/** @type {Entry} */ entry, /** @type {string} */ search) {
    const { user, address, action, target, detail, result } = entry;
    return [user, address, action, target, detail, result]
        .some((text) => text?.toLowerCase().includes(search.toLowerCase()));
}

/** The name of an action; the word itself where there is none. */
function actionText(/** @type {string} */ action) {
    const text = tAny("log.action." + action);
    return text.startsWith("log.") ? action : text;
}

/** A target; of an image, which is known by its SHA-256, the beginning. */
function Target(/** @type {{target: string | null}} */ { target }) {
    return target && /^[0-9a-f]{64}$/.test(target)
        ? html`<code title=${target}>${target.slice(0, 12)}…</code>` : target;
}

function Line(/** @type {{entry: Entry}} */ { entry }) {
    const { time, user, address, action, target, detail, result } = entry;
    return html`<tr>
        <td class="moment"><time datetime=${time}>${moment(time)}</time></td>
        <td data-label=${t("log.user")}>
            <span title=${address ?? ""}>${user ?? t("log.nobody")}</span></td>
        <td data-label=${t("log.action")}>${actionText(action)}</td>
        <td data-label=${t("log.target")} class="wide"><${Target} target=${target} /></td>
        <td data-label=${t("log.detail")} class="wide">${detail}</td>
        <td data-label=${t("log.result")}>${result === "ok" ? t("log.ok")
            : html`<${Badge} kind="bad">${result}</${Badge}>`}</td>
    </tr>`;
}

/** The entries that fit a search, with those that come meanwhile, and older ones when asked for. */
function useEntries(/** @type {string} */ search) {
    const [entries, setEntries] = useState(/** @type {Entry[] | null} */ (null));
    const [isAll, setAll] = useState(false);
    const wanted = useRef(search);
    const take = (/** @type {Entry[]} */ found, /** @type {Entry[]} */ before) => {
        if (wanted.current === search) {
            setEntries([...before, ...found]);
            setAll(found.length < PAGE);
        }
    };
    useEffect(() => {
        wanted.current = search;
        const timer = setTimeout(
            () => read(search, undefined).then((found) => take(found, [])).catch(sayProblem),
            search ? TYPING_MS : 0);
        return () => clearTimeout(timer);
    }, [search]);
    const came = lastLogEntry.value;
    useEffect(() => {
        if (came && entries && came.id > (entries[0]?.id ?? 0) && holds(came, search)) {
            setEntries([came, ...entries]);
        }
    }, [came]);
    const older = () => entries && read(search, entries[entries.length - 1].id)
        .then((found) => take(found, entries)).catch(sayProblem);
    return { entries, isAll, older };
}

export function LogPage() {
    const [search, setSearch] = useState("");
    const { entries, isAll, older } = useEntries(search.trim());
    return html`<h1 class="hidden">${t("page.log")}</h1>
        <div class="toolbar">
            <input type="search" maxlength="50" placeholder=${t("log.search")}
                aria-label=${t("log.search")} value=${search}
                onInput=${(/** @type {any} */ event) => setSearch(event.target.value)} />
        </div>
        ${entries?.length === 0 && html`<${Empty}
            title=${t(search ? "devices.nomatch.title" : "log.empty")}>
            ${t("log.empty.text")}</${Empty}>`}
        ${entries && entries.length > 0 && html`
            <div class="scroller" tabindex="0" role="region" aria-label=${t("page.log")}>
            <table class="list log">
                <thead><tr>
                    <th scope="col">${t("log.time")}</th><th scope="col">${t("log.user")}</th>
                    <th scope="col">${t("log.action")}</th><th scope="col">${t("log.target")}</th>
                    <th scope="col">${t("log.detail")}</th><th scope="col">${t("log.result")}</th>
                </tr></thead>
                <tbody>${entries.map((entry) => html`
                    <${Line} key=${entry.id} entry=${entry} />`)}</tbody>
            </table>
            ${!isAll && html`<div class="more">
                <button onClick=${older}>${t("log.older")}</button></div>`}
            </div>`}`;
}
