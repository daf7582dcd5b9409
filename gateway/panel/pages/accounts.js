// @ts-check
// Users and tokens, for admins.
import { signal } from "../vendor/signals-core.js";
import { useEffect, useState } from "../vendor/hooks.js";
import { api, path } from "../app/api.js";
import { ask, Dialog, Field, FormDialog } from "../app/controls.js";
import { html } from "../app/html.js";
import { attempt, say, sayProblem } from "../app/notices.js";
import { Copy } from "../app/once.js";
import { PickMany } from "../app/pick.js";
import { findSession, session } from "../app/session.js";
import { lastLogEntry, rooms } from "../app/store.js";
import { t, tAny } from "../app/texts.js";

/** @typedef {{name: string, role: string, rooms?: string[]}} Account */
/** @typedef {{what: string, account?: Account, token?: string}} Open */

const ROLES = ["viewer", "operator", "admin"];

const users = signal(/** @type {Account[]} */ ([]));
const tokens = signal(/** @type {Account[]} */ ([]));

async function readAccounts() {
    const [all, others] = await Promise.all([api.get("users"), api.get("tokens")]);
    users.value = all.users;
    tokens.value = others.tokens;
}

/** Does something and reads the accounts anew; after the first user somebody has to log in. */
async function change(/** @type {() => Promise<any>} */ work) {
    const result = await work();
    if (session.value?.local) {
        await findSession();
    }
    if (session.value?.role === "admin") {
        await readAccounts();
    }
    return result;
}

function RoleSelect(/** @type {{roles: string[], value?: string, label?: string,
                                onChange?: (event: any) => void}} */
    { roles, value, label, onChange }) {
    return html`<select name="role" value=${value} aria-label=${label} onChange=${onChange}>
        ${roles.map((role) => html`<option key=${role} value=${role}>
            ${tAny("role." + role)}</option>`)}
    </select>`;
}

function UserDialog(/** @type {{onClose: () => void}} */ { onClose }) {
    const isFirst = users.value.length === 0;
    const add = (/** @type {FormData} */ form) =>
        change(() => api.post("users", Object.fromEntries(form)));
    return html`<${FormDialog} title=${t("accounts.user.new")} action=${t("accounts.add")}
        onDo=${add} onClose=${onClose}>
        ${isFirst && html`<p>${t("accounts.user.first")}</p>`}
        <${Field} label=${t("accounts.name")}>
            <input name="name" required maxlength="64" autocomplete="off" /></${Field}>
        <${Field} label=${t("accounts.role")} hint=${t("accounts.roles")}>
            <${RoleSelect} roles=${isFirst ? ["admin"] : ROLES} /></${Field}>
        <${Field} label=${t("login.password")}>
            <input name="password" type="password" required autocomplete="new-password" />
        </${Field}>
    </${FormDialog}>`;
}

function PasswordDialog(/** @type {{account: Account, onClose: () => void}} */
    { account, onClose }) {
    const set = async (/** @type {FormData} */ form) => {
        await api.patch(path`users/${account.name}`, { password: form.get("password") });
        say(t("password.changed"));
    };
    return html`<${FormDialog} title=${t("accounts.password", { name: account.name })}
        action=${t("save")} onDo=${set} onClose=${onClose}>
        <${Field} label=${t("password.new")}>
            <input name="password" type="password" required autocomplete="new-password" />
        </${Field}>
    </${FormDialog}>`;
}

function TokenDialog(/** @type {{onMade: (token: string) => void, onClose: () => void}} */
    { onMade, onClose }) {
    const [role, setRole] = useState("viewer");
    const [chosen, setChosen] = useState(/** @type {Set<string>} */ (new Set()));
    const add = async (/** @type {FormData} */ form) => {
        const limit = chosen.size > 0 && role !== "admin" ? { rooms: [...chosen] } : {};
        const { token } = await change(() =>
            api.post("tokens", { name: form.get("name"), role, ...limit }));
        onMade(token);
        return false;
    };
    const options = [...rooms.value.keys()].map((name) => ({ id: name, name }));
    return html`<${FormDialog} title=${t("accounts.token.new")} action=${t("accounts.add")}
        onDo=${add} onClose=${onClose}>
        <${Field} label=${t("accounts.name")}>
            <input name="name" required maxlength="64" autocomplete="off" /></${Field}>
        <${Field} label=${t("accounts.role")} hint=${t("accounts.roles")}>
            <${RoleSelect} roles=${ROLES} value=${role}
                onChange=${(/** @type {any} */ event) => setRole(event.target.value)} /></${Field}>
        ${role !== "admin" && options.length > 0 && html`
            <${PickMany} label=${t("accounts.limit")} options=${options} chosen=${chosen}
                onChange=${setChosen} />`}
    </${FormDialog}>`;
}

function askDelete(/** @type {"users" | "tokens"} */ kind, /** @type {string} */ name) {
    ask({
        title: t("accounts.delete.title", { name }), text: t("accounts.delete.text"),
        kind: "danger", action: t("delete"),
        onDo: () => change(() => api.remove(`${kind}/${encodeURIComponent(name)}`)),
    });
}

/** One table: its lines have a name, what `more` makes of them, and buttons. */
function Table(/** @type {{kind: "users" | "tokens", all: Account[], heads: string[],
                           more: (account: Account) => any, buttons?: (account: Account) => any}} */
    { kind, all, heads, more, buttons }) {
    return html`<div class="scroller accounts"><table class="list">
        <thead><tr><th scope="col">${t("accounts.name")}</th>
            ${heads.map((head) => html`<th scope="col" key=${head}>${head}</th>`)}
            <th scope="col"><span class="hidden">${t("firmware.actions")}</span></th></tr></thead>
        <tbody>${all.map((account) => html`<tr key=${account.name}>
            <td>${account.name}</td>
            ${more(account)}
            <td class="actions">${buttons?.(account)}
                <button class="danger" onClick=${() => askDelete(kind, account.name)}
                    aria-label="${t("delete")}: ${account.name}">${t("delete")}</button></td>
        </tr>`)}</tbody>
    </table></div>`;
}

function Users(/** @type {{onOpen: (open: Open) => void}} */ { onOpen }) {
    const setRole = (/** @type {Account} */ { name }, /** @type {any} */ event) =>
        attempt(() => change(() => api.patch(path`users/${name}`, { role: event.target.value })))
            .then(() => readAccounts().catch(sayProblem));
    return html`<div class="titlebar"><h2>${t("accounts.users")}</h2>
            <button class="primary" onClick=${() => onOpen({ what: "user" })}>
                ${t("accounts.user.new")}</button></div>
        ${users.value.length === 0 ? html`<p>${t("accounts.user.none")}</p>` : html`
            <${Table} kind="users" all=${users.value} heads=${[t("accounts.role")]}
                more=${(/** @type {Account} */ account) => html`
                    <td data-label=${t("accounts.role")}><${RoleSelect} roles=${ROLES}
                        value=${account.role} label=${`${t("accounts.role")}: ${account.name}`}
                        onChange=${(/** @type {any} */ event) => setRole(account, event)} /></td>`}
                buttons=${(/** @type {Account} */ account) => html`
                    <button onClick=${() => onOpen({ what: "password", account })}>
                        ${t("accounts.password.action")}</button>`} />`}`;
}

function Tokens(/** @type {{onOpen: (open: Open) => void}} */ { onOpen }) {
    return html`<div class="titlebar"><h2>${t("accounts.tokens")}</h2>
            <button class="primary" onClick=${() => onOpen({ what: "token" })}>
                ${t("accounts.token.new")}</button></div>
        ${tokens.value.length === 0 ? html`<p class="muted">${t("accounts.token.none")}</p>` : html`
            <${Table} kind="tokens" all=${tokens.value}
                heads=${[t("accounts.role"), t("page.rooms")]}
                more=${(/** @type {Account} */ { role, rooms: limit }) => html`
                    <td data-label=${t("accounts.role")}>${tAny("role." + role)}</td>
                    <td data-label=${t("page.rooms")}>${limit?.join(", ")
                        ?? t("grid.allrooms")}</td>`} />`}`;
}

export function AccountsPage() {
    const [open, setOpen] = useState(/** @type {Open | null} */ (null));
    const told = /^(user|token)/.test(lastLogEntry.value?.action ?? "") ? lastLogEntry.value.id : 0;
    useEffect(() => { readAccounts().catch(sayProblem); }, [told]);
    const close = () => setOpen(null);
    return html`<h1 class="hidden">${t("page.accounts")}</h1>
        <${Users} onOpen=${setOpen} /><${Tokens} onOpen=${setOpen} />
        ${open?.what === "user" && html`<${UserDialog} onClose=${close} />`}
        ${open?.what === "password" && html`
            <${PasswordDialog} account=${open.account} onClose=${close} />`}
        ${open?.what === "token" && html`<${TokenDialog} onClose=${close}
            onMade=${(/** @type {string} */ token) => setOpen({ what: "made", token })} />`}
        ${open?.what === "made" && html`<${Dialog} title=${t("accounts.token.made")}
            onClose=${close}>
            <p>${t("accounts.token.once")}</p>
            <${Copy} text=${open.token} label=${t("accounts.token")} />
            <div class="buttons"><button class="primary" onClick=${close}>${t("close")}</button>
            </div></${Dialog}>`}`;
}
