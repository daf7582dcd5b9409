// @ts-check
// One room on a phone: choose a screen, then what it shall show.
import { useEffect, useRef, useState } from "../vendor/hooks.js";
import { Badge, Empty } from "../app/controls.js";
import { html } from "../app/html.js";
import { link } from "../app/router.js";
import { keyOf, makeRoutes, routeOf, wishes } from "../app/routing.js";
import { Preferences } from "../app/preferences.js";
import { isLimited, mayAdminister, mayOperate, session } from "../app/session.js";
import { deviceName, devices, locks, rooms } from "../app/store.js";
import { t } from "../app/texts.js";

const ALL = "";

/** What a screen shows, as far as it is known: what it said, and what it was asked for. */
function shownBy(/** @type {string} */ decoder) {
    const said = routeOf("video", decoder);
    const wish = wishes.value.get(keyOf("video", decoder));
    return { encoder: said?.encoder ?? null, isKnown: !!said?.seen_at, wish };
}

function isOnline(/** @type {string} */ id) {
    return devices.value.get(id)?.online ?? false;
}

/** Who has locked a screen against this user; nothing when nobody has. */
function lockerOf(/** @type {string} */ decoder) {
    const lock = locks.value.get(decoder);
    return lock && lock.owner !== session.value?.user ? lock.owner : null;
}

function Picture(/** @type {{decoder: string}} */ { decoder }) {
    const { encoder, isKnown, wish } = shownBy(decoder);
    if (wish) {
        return html`<span class="asked">${t("room.asked",
            { source: wish.encoder ? deviceName(wish.encoder) : t("room.none") })}</span>`;
    }
    return html`<span>${encoder ? deviceName(encoder)
        : t(isKnown ? "room.dark" : "room.unknown")}</span>`;
}

function Screens(/** @type {{ids: string[], chosen: string, onChoose: (id: string) => void}} */
    { ids, chosen, onChoose }) {
    const button = (/** @type {string} */ id, /** @type {any} */ content) => html`
        <button key=${id} class="tile" aria-pressed=${String(chosen === id)}
            onClick=${() => onChoose(id)}>${content}</button>`;
    return html`<section aria-label=${t("room.screen")}>
        <h2>${t("room.screen")}</h2>
        <div class="tiles">
            ${ids.map((id) => button(id, html`<strong>${deviceName(id)}</strong>
                <${Picture} decoder=${id} />
                ${!isOnline(id) && html`<${Badge} kind="muted">${t("offline")}</${Badge}>`}
                ${lockerOf(id) && html`<${Badge} kind="warn">
                    ${t("grid.locked", { owner: lockerOf(id) ?? "" })}</${Badge}>`}`))}
            ${ids.length > 1 && button(ALL, html`<strong>${t("room.all")}</strong>
                <span>${t("room.all.text", { count: ids.length })}</span>`)}
        </div>
    </section>`;
}

function Sources(/** @type {{screens: string[], ids: string[]}} */ { screens, ids }) {
    const section = useRef(/** @type {HTMLElement | null} */ (null));
    useEffect(() => section.current?.scrollIntoView({ block: "nearest" }), [screens.join()]);
    const states = screens.map(shownBy);
    const free = screens.filter((id) => !lockerOf(id) || mayAdminister.value);
    const route = (/** @type {string | null} */ encoder) =>
        makeRoutes(free.map((decoder) => ({ kind: "video", decoder, encoder })));
    const button = (/** @type {string | null} */ encoder, /** @type {any} */ content) => {
        const isAsked = states.some(({ wish }) => wish && wish.encoder === encoder);
        const isShown = states.every((state) =>
            state.isKnown && !state.wish && state.encoder === encoder);
        return html`<button key=${encoder} disabled=${!mayOperate.value || free.length === 0}
            class="tile source ${isAsked ? "asked" : ""}" aria-pressed=${String(isShown)}
            onClick=${() => route(encoder)}>${content}</button>`;
    };
    return html`<section ref=${section} aria-label=${t("room.source")}>
        <h2>${t("room.source")}</h2>
        <div class="tiles">
            ${ids.map((id) => button(id, html`<strong>${deviceName(id)}</strong>
                ${!isOnline(id) && html`<${Badge} kind="muted">${t("offline")}</${Badge}>`}`))}
            ${button(null, html`<strong>${t("room.none")}</strong>`)}
        </div>
        ${!mayOperate.value && html`<p class="muted">${t("grid.viewer")}</p>`}
    </section>`;
}

export function RoomPage(/** @type {{name: string}} */ { name }) {
    const room = rooms.value.get(name);
    const [picked, setPicked] = useState(/** @type {string | null} */ (null));
    if (!room) {
        return html`<${Empty} title=${t("room.missing", { name })}>
            <a href=${link("rooms")}>${t("room.others")}</a></${Empty}>`;
    }
    const screens = room.decoders;
    const chosen = picked === ALL || screens.includes(picked ?? "x") ? picked : null;
    const single = screens.length === 1 ? screens[0] : chosen;
    return html`<div class="room">
        <div class="titlebar"><h1>${name}</h1>
            ${(!isLimited.value || rooms.value.size > 1)
                && html`<a href=${link("rooms")}>${t("room.others")}</a>`}</div>
        ${screens.length === 0
            ? html`<${Empty} title=${t("room.empty.title")}>${t("room.empty.text")}</${Empty}>`
            : html`<${Screens} ids=${screens} chosen=${single ?? "x"} onChoose=${setPicked} />
                ${single === null ? html`<p class="muted">${t("room.choose")}</p>`
                    : html`<${Sources} ids=${room.encoders}
                        screens=${single === ALL ? screens : [single]} />`}`}
        <footer><${Preferences} /></footer>
    </div>`;
}
