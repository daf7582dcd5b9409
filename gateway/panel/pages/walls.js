// @ts-check
// Video walls: screens that show one picture together.
import { useState } from "../vendor/hooks.js";
import { api, ApiProblem, path } from "../app/api.js";
import { ask, Choice, Empty, Field } from "../app/controls.js";
import { html } from "../app/html.js";
import { say, sayProblem } from "../app/notices.js";
import { go, link } from "../app/router.js";
import { mayAdminister } from "../app/session.js";
import { decoders, deviceName, encoders, walls } from "../app/store.js";
import { t, tAny } from "../app/texts.js";
import { Board, Shelf, useHand } from "./walls/board.js";
import { bezelOf, bodyOf, NEW_PLAN, planOf, resized } from "./walls/plan.js";

/** @import { Wall } from "../app/types.js" */
/** @import { Plan } from "./walls/plan.js" */

// In place of a name; no wall can have one with a "/".
const NEW = "/new";
const SIZES = /** @type {const} */ ([["HD", 1920, 1080], ["4K", 3840, 2160], ["8K", 7680, 4320]]);

function askDelete(/** @type {string} */ name) {
    ask({
        title: t("walls.delete.title", { name }), text: t("walls.delete.text"), kind: "danger",
        action: t("walls.delete.action"),
        onDo: async () => {
            await api.remove(path`walls/${name}`);
            go("walls");
        },
    });
}

/** Sends a wall; a lock in the way is passed over where an admin says so. */
async function send(/** @type {string} */ name, /** @type {Plan} */ plan, query = "") {
    try {
        await api.put(path`walls/${name}` + query, bodyOf(plan));
        say(t("walls.sent", { name }));
        go("walls", name);
    } catch (error) {
        if (query === "" && error instanceof ApiProblem && error.status === 409) {
            ask({
                title: t("locks.override.title"), text: error.message, kind: "danger",
                action: t("locks.override.action"),
                onDo: () => send(name, plan, "?override=true"),
            });
        } else {
            sayProblem(error);
        }
    }
}

/** A number between bounds. */
function NumberField(/** @type {{label: string, value: number, least?: number, most: number,
                                 hint?: string, onChange: (value: number) => void}} */
    { label, value, least = 0, most, hint, onChange }) {
    const change = (/** @type {any} */ event) => {
        const number = Math.floor(Number(event.target.value));
        if (event.target.value !== "" && number >= least && number <= most) {
            onChange(number);
        }
    };
    return html`<${Field} label=${label} hint=${hint}>
        <input type="number" min=${least} max=${most} value=${value} onInput=${change} />
    </${Field}>`;
}

function Form(/** @type {{plan: Plan, isNew: boolean, name: string, onName: (name: string) => void,
                          onPlan: (plan: Plan) => void}} */
    { plan, isNew, name, onName, onPlan }) {
    const set = (/** @type {Partial<Plan>} */ change) => onPlan({ ...plan, ...change });
    const bezel = bezelOf(plan);
    const isMm = plan.unit === "mm";
    return html`<div class="form">
        ${isNew && html`<${Field} label=${t("walls.name")}>
            <input value=${name} maxlength="64" required
                onInput=${(/** @type {any} */ event) => onName(event.target.value)} /></${Field}>`}
        <${Field} label=${t("walls.source")}>
            <select value=${plan.encoder}
                onChange=${(/** @type {any} */ event) => set({ encoder: event.target.value })}>
                ${!plan.encoder && html`<option value="">${t("walls.source.choose")}</option>`}
                ${encoders.value.map(({ id }) => html`
                    <option key=${id} value=${id}>${deviceName(id)}</option>`)}
            </select></${Field}>
        <div class="pair">
            <${NumberField} label=${t("walls.columns")} least=${1} most=${16}
                value=${plan.columns} onChange=${(/** @type {number} */ columns) =>
                    onPlan(resized(plan, { columns }))} />
            <${NumberField} label=${t("walls.rows")} least=${1} most=${16}
                value=${plan.rows} onChange=${(/** @type {number} */ rows) =>
                    onPlan(resized(plan, { rows }))} />
        </div>
        <div class="pair">
            <${NumberField} label=${t("walls.width")} least=${1} most=${65535}
                value=${plan.width} onChange=${(/** @type {number} */ width) => set({ width })} />
            <${NumberField} label=${t("walls.height")} least=${1} most=${65535}
                value=${plan.height}
                onChange=${(/** @type {number} */ height) => set({ height })} />
        </div>
        <div class="sizes">${SIZES.map(([size, width, height]) => html`
            <button type="button" key=${size} title="${width} × ${height}"
                onClick=${() => set({ width, height })}>${size}</button>`)}</div>
        <fieldset>
            <legend>${t("walls.bezel")}</legend>
            <${Choice} label=${t("walls.unit")} value=${plan.unit}
                onChange=${(/** @type {any} */ unit) => set({ unit })}
                options=${[["px", t("walls.px")], ["mm", t("walls.mm")]]} />
            ${isMm && html`<${NumberField} label=${t("walls.screen")} least=${1} most=${10000}
                value=${plan.screen_mm}
                onChange=${(/** @type {number} */ screen_mm) => set({ screen_mm })} />`}
            <div class="pair">
                <${NumberField} label=${t("walls.horizontal")} most=${10000}
                    value=${plan.horizontal}
                    onChange=${(/** @type {number} */ horizontal) => set({ horizontal })} />
                <${NumberField} label=${t("walls.vertical")} most=${10000} value=${plan.vertical}
                    onChange=${(/** @type {number} */ vertical) => set({ vertical })} />
            </div>
            <p class="muted">${t("walls.bezel.text",
                { horizontal: bezel.horizontal, vertical: bezel.vertical })}</p>
        </fieldset>
    </div>`;
}

function Editor(/** @type {{wall: Wall | undefined}} */ { wall }) {
    const [plan, setPlan] = useState(wall ? planOf(wall) : NEW_PLAN);
    const [name, setName] = useState(wall?.name ?? "");
    const hand = useHand({ plan, onPlan: setPlan });
    const elsewhere = new Set([...walls.value.values()].filter((other) => other.name !== name)
        .flatMap(({ tiles }) => tiles.map(({ decoder }) => decoder)));
    const free = decoders.value.map(({ id }) => id).filter((id) => !elsewhere.has(id));
    const lacks = !name.trim() ? "name" : !plan.encoder ? "source"
        : plan.tiles.length === 0 ? "tiles" : "";
    return html`<div class="titlebar">
            <h1>${wall ? wall.name : t("walls.new")}</h1>
            <div class="buttons">
                ${lacks && html`<span class="muted">${tAny("walls.lacks." + lacks)}</span>`}
                <a class="button" href=${link("walls")}>${t("walls.all")}</a>
                ${wall && html`<button class="danger" onClick=${() => askDelete(wall.name)}>
                    ${t("walls.delete.action")}</button>`}
                <button class="primary" disabled=${lacks !== ""}
                    onClick=${() => send(name.trim(), plan)}>${t("walls.send")}</button>
            </div>
        </div>
        <div class="wall">
            <${Form} plan=${plan} onPlan=${setPlan} isNew=${!wall} name=${name}
                onName=${setName} />
            <${Board} plan=${plan} onPlan=${setPlan} hand=${hand} />
            <${Shelf} plan=${plan} onPlan=${setPlan} hand=${hand} decoders=${free} />
        </div>`;
}

function List() {
    const create = mayAdminister.value && html`
        <a class="button" href=${link("walls", NEW)}>${t("walls.new")}</a>`;
    const all = [...walls.value.values()];
    if (all.length === 0) {
        return html`<${Empty} title=${t("walls.empty.title")}>
            ${t("walls.empty.text")}<br /><br />${create}</${Empty}>`;
    }
    return html`<div class="titlebar"><h1>${t("page.walls")}</h1>${create}</div>
        <ul class="cards">${all.map((wall) => html`<li class="card" key=${wall.name}>
            <h2>${mayAdminister.value
                ? html`<a href=${link("walls", wall.name)}>${wall.name}</a>` : wall.name}</h2>
            <dl>
                <dt>${t("walls.source")}</dt><dd>${deviceName(wall.encoder)}</dd>
                <dt>${t("walls.size")}</dt>
                <dd>${wall.columns} × ${wall.rows}, ${wall.width} × ${wall.height} px</dd>
                <dt>${t("rooms.screens")}</dt>
                <dd>${wall.tiles.map(({ decoder }) => deviceName(decoder)).join(", ")}</dd>
            </dl></li>`)}</ul>`;
}

export function WallsPage(/** @type {{name: string | undefined}} */ { name }) {
    if (name === undefined || !mayAdminister.value) {
        return html`<${List} />`;
    }
    const wall = walls.value.get(name);
    return wall || name === NEW ? html`<${Editor} key=${name} wall=${wall} />`
        : html`<${Empty} title=${t("walls.missing", { name })}>
            <a href=${link("walls")}>${t("walls.all")}</a></${Empty}>`;
}
