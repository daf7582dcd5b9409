// @ts-check
// What stands around every page: how things are, where one is, who one is.
import { useState } from "../vendor/hooks.js";
import { Age, Empty, Field, FormDialog, Question } from "./controls.js";
import { api } from "./api.js";
import { html } from "./html.js";
import { LogIn } from "./login.js";
import { Notices, say } from "./notices.js";
import { findPage, pages } from "./pages.js";
import { Preferences } from "./preferences.js";
import { link, place } from "./router.js";
import { askLogIn, logOut, session } from "./session.js";
import { connection, system } from "./store.js";
import { t, tAny } from "./texts.js";

/** How the fleet is, in a few words. */
function Health() {
    const known = system.value;
    if (!known) {
        return null;
    }
    const { daemon, devices } = known;
    const good = daemon.state === "ok" && connection.value === "open";
    const text = connection.value === "lost" ? t("health.lost")
        : daemon.state !== "ok" ? tAny("health." + daemon.state)
            : devices.offline > 0 ? t("health.offline", { count: devices.offline })
                : t("health.ok");
    return html`<span class="health ${!good ? "bad" : devices.offline > 0 ? "warn" : "good"}">
        <span class="dot" aria-hidden="true"></span>${text}
    </span>`;
}

/** What is wrong with the way to the devices, and what to do about it. */
function Banners() {
    const daemon = system.value?.daemon;
    return html`
        ${connection.value === "lost" && html`<div class="banner bad" role="alert">
            <strong>${t("lost.title")}</strong> <span>${t("lost.text")}</span></div>`}
        ${connection.value !== "lost" && daemon && daemon.state !== "ok" && html`
            <div class="banner bad" role="alert">
                <strong>${tAny(`daemon.${daemon.state}.title`)}</strong>
                <span>${tAny(`daemon.${daemon.state}.text`)}</span>
                <span class="muted">${daemon.reason} (<${Age} time=${daemon.since} />)</span>
            </div>`}`;
}

function PasswordDialog(/** @type {{onClose: () => void}} */ { onClose }) {
    const change = async (/** @type {FormData} */ form) => {
        await api.put("session/password", { old: form.get("old"), new: form.get("new") });
        say(t("password.changed"));
    };
    return html`<${FormDialog} title=${t("password.title")} action=${t("save")} onDo=${change}
        onClose=${onClose}>
        <${Field} label=${t("password.old")}>
            <input name="old" type="password" autocomplete="current-password" required />
        </${Field}>
        <${Field} label=${t("password.new")}>
            <input name="new" type="password" autocomplete="new-password" required />
        </${Field}>
    </${FormDialog}>`;
}

function UserMenu() {
    const [changing, setChanging] = useState(false);
    const user = session.value;
    if (!user) {
        return null;
    }
    const name = user.local ? t("menu.settings") : user.user ?? t("menu.anybody");
    return html`<details class="menu">
        <summary>
            <span class="hidden">${t("menu")}:</span>
            <span class="name">${name}</span>
            <span class="wide" aria-hidden="true">▾</span>
            <span class="narrow" aria-hidden="true">☰</span>
        </summary>
        <div class="card">
            <p class="muted">${user.local ? t("menu.local")
                : `${name} · ${tAny("role." + user.role)}`}</p>
            <${Preferences} />
            ${user.user && !user.local && html`
                <button onClick=${() => setChanging(true)}>${t("password.title")}</button>
                <button onClick=${logOut}>${t("logout")}</button>`}
            ${!user.user && html`<button onClick=${askLogIn}>${t("login.action")}</button>`}
            <p class="muted">avoipgw ${system.value?.version}</p>
        </div>
        ${changing && html`<${PasswordDialog} onClose=${() => setChanging(false)} />`}
    </details>`;
}

function Navigation() {
    return html`<nav aria-label=${t("navigation")}>
        ${pages().filter(({ plain }) => !plain).map(({ name }) => html`
            <a key=${name} href=${link(name)}
                aria-current=${place.value.name === name ? "page" : undefined}>
                ${tAny("page." + name)}</a>`)}
    </nav>`;
}

function PageOfPlace() {
    const { name, parts, query } = place.value;
    const page = findPage(name);
    document.title = [tAny("page." + name), system.value?.site, t("app.title")]
        .filter(Boolean).join(" · ");
    return page ? html`<${page.draw} key=${name + "/" + parts.join("/")} parts=${parts}
            query=${query} />`
        : html`<${Empty} title=${t("nopage.title")}>
            <a href=${link("grid")}>${t("nopage.text")}</a></${Empty}>`;
}

/** The whole panel. */
export function Shell() {
    if (session.value === null) {
        return html`<${LogIn} /><${Notices} />`;
    }
    if (!session.value || !system.value) {
        return html`<main class="loading" id="main" aria-busy="true"><h1>${t("app.title")}</h1>
            <p>${t(connection.value === "lost" ? "lost.title" : "loading")}</p></main>`;
    }
    const lost = connection.value === "lost";
    return html`
        <a class="skip" href="#main" onClick=${(/** @type {Event} */ event) => {
            event.preventDefault();
            document.getElementById("main")?.focus();
        }}>${t("skip")}</a>
        ${!findPage(place.value.name)?.plain && html`<header>
            <a class="brand" href=${link("grid")}>
                <img src="panel/icon.svg" alt="" width="24" height="24" />
                <span>${system.value.site}</span></a>
            <${Health} />
            <${Navigation} />
            <${UserMenu} />
        </header>`}
        <${Banners} />
        <main id="main" tabindex="-1" class=${lost ? "stale" : ""}><${PageOfPlace} /></main>
        <${Notices} />
        <${Question} />`;
}
