// @ts-check
// The rooms: what belongs together, for people with a phone.
import { useState } from "../vendor/hooks.js";
import { api, path } from "../app/api.js";
import { ask, Dialog, Empty, Field, FormDialog } from "../app/controls.js";
import { html } from "../app/html.js";
import { say } from "../app/notices.js";
import { Code, Copy } from "../app/once.js";
import { deviceOptions, PickMany } from "../app/pick.js";
import { link } from "../app/router.js";
import { mayAdminister } from "../app/session.js";
import { decoders, deviceName, encoders, rooms } from "../app/store.js";
import { language, t, tAny } from "../app/texts.js";

/** @import { Room } from "../app/types.js" */

/** @type {Room} */
const NEW = { name: "", decoders: [], encoders: [] };

function EditDialog(/** @type {{room: Room, onClose: () => void}} */ { room, onClose }) {
    const [screens, setScreens] = useState(new Set(room.decoders));
    const [sources, setSources] = useState(new Set(room.encoders));
    const isNew = room === NEW;
    const save = async (/** @type {FormData} */ form) => {
        const name = isNew ? String(form.get("name")) : room.name;
        await api.put(path`rooms/${name}`, { decoders: [...screens], encoders: [...sources] });
        say(t("rooms.saved", { name }));
    };
    return html`<${FormDialog} onDo=${save} onClose=${onClose} action=${t("save")}
        title=${isNew ? t("rooms.new") : t("rooms.edit", { name: room.name })}>
        ${isNew && html`<${Field} label=${t("rooms.name")}>
            <input name="name" required maxlength="64" pattern="[^\\/]+" /></${Field}>`}
        <${PickMany} label=${t("rooms.screens")} options=${deviceOptions(decoders.value)}
            chosen=${screens} onChange=${setScreens} />
        <${PickMany} label=${t("rooms.sources")} options=${deviceOptions(encoders.value)}
            chosen=${sources} onChange=${setSources} />
    </${FormDialog}>`;
}

/** The address of a room on this gateway. */
function addressOf(/** @type {string} */ name, /** @type {string} */ token) {
    const page = location.href.split("#")[0];
    return page + link("room", name) + (token ? `?token=${token}` : "");
}

const isThisMachine = () => /^(localhost|127\.|\[::1\])/.test(location.host);

/** Makes a token for the room, and shows the address with it. */
function LinkDialog(/** @type {{room: Room, onClose: () => void}} */ { room, onClose }) {
    const [address, setAddress] = useState("");
    if (address) {
        return html`<${Dialog} title=${t("rooms.link", { name: room.name })} onClose=${onClose}>
            <p>${t("rooms.link.made")}</p>
            <${Code} text=${address} label=${t("rooms.link.code", { name: room.name })} />
            <${Copy} text=${address} label=${t("rooms.link.address")} />
            ${isThisMachine() && html`<p class="problem">${t("rooms.link.local")}</p>`}
            <div class="buttons">
                <button onClick=${() => print()}>${t("rooms.link.print")}</button>
                <button class="primary" onClick=${onClose}>${t("close")}</button>
            </div>
        </${Dialog}>`;
    }
    const make = async (/** @type {FormData} */ form) => {
        const { token } = await api.post("tokens",
            { name: form.get("name"), role: form.get("role"), rooms: [room.name] });
        setAddress(addressOf(room.name, token));
        return false; // the dialog stays, and shows it
    };
    const today = new Date().toLocaleDateString(language.value, { dateStyle: "medium" });
    return html`<${FormDialog} title=${t("rooms.link", { name: room.name })}
        action=${t("rooms.link.make")} onDo=${make} onClose=${onClose}>
        <p>${t("rooms.link.text")}</p>
        <${Field} label=${t("rooms.link.role")}>
            <select name="role">
                ${["operator", "viewer"].map((role) => html`
                    <option key=${role} value=${role}>${tAny("rooms.link." + role)}</option>`)}
            </select></${Field}>
        <${Field} label=${t("rooms.link.name")} hint=${t("rooms.link.hint")}>
            <input name="name" required maxlength="64"
                defaultValue=${`${room.name} ${today}`.slice(0, 64)} /></${Field}>
    </${FormDialog}>`;
}

function askDelete(/** @type {Room} */ { name }) {
    ask({
        title: t("rooms.delete.title", { name }), text: t("rooms.delete.text"),
        action: t("delete"), kind: "danger", onDo: () => api.remove(path`rooms/${name}`),
    });
}

function RoomCard(/** @type {{room: Room, onEdit: () => void, onLink: () => void}} */
    { room, onEdit, onLink }) {
    const names = (/** @type {string[]} */ ids) =>
        ids.map(deviceName).join(", ") || t("rooms.nothing");
    return html`<li class="card">
        <h2><a href=${link("room", room.name)}>${room.name}</a></h2>
        <dl>
            <dt>${t("rooms.screens")}</dt><dd>${names(room.decoders)}</dd>
            <dt>${t("rooms.sources")}</dt><dd>${names(room.encoders)}</dd>
        </dl>
        ${mayAdminister.value && html`<div class="buttons">
            <button onClick=${onLink}>${t("rooms.link.action")}</button>
            <button onClick=${onEdit}>${t("rooms.edit.action")}</button>
            <button class="danger" onClick=${() => askDelete(room)}>${t("delete")}</button>
        </div>`}
    </li>`;
}

export function RoomsPage() {
    const [open, setOpen] = useState(/** @type {{room: Room, what: string} | null} */ (null));
    const close = () => setOpen(null);
    const all = [...rooms.value.values()];
    const create = mayAdminister.value && html`<button class="primary"
        onClick=${() => setOpen({ room: NEW, what: "edit" })}>${t("rooms.new")}</button>`;
    return html`
        ${all.length === 0
            ? html`<${Empty} title=${t("rooms.empty.title")}>
                ${t("rooms.empty.text")}<br /><br />${create}</${Empty}>`
            : html`<div class="titlebar"><h1>${t("page.rooms")}</h1>${create}</div>
                <ul class="cards">${all.map((room) => html`
                    <${RoomCard} key=${room.name} room=${room}
                        onEdit=${() => setOpen({ room, what: "edit" })}
                        onLink=${() => setOpen({ room, what: "link" })} />`)}</ul>`}
        ${open?.what === "edit" && html`<${EditDialog} room=${open.room} onClose=${close} />`}
        ${open?.what === "link" && html`<${LinkDialog} room=${open.room} onClose=${close} />`}`;
}
