// @ts-check
// Firmware: images, and their way to the devices.
import { signal } from "../vendor/signals-core.js";
import { useEffect, useRef, useState } from "../vendor/hooks.js";
import { api, path, upload } from "../app/api.js";
import { ask, Badge, Empty } from "../app/controls.js";
import { html } from "../app/html.js";
import { attempt, sayProblem } from "../app/notices.js";
import { deviceOptions, PickMany } from "../app/pick.js";
import { go, link } from "../app/router.js";
import { mayAdminister } from "../app/session.js";
import { deviceName, devices, jobs, lastLogEntry } from "../app/store.js";
import { t, tAny } from "../app/texts.js";

/** @import { Job, JobDevice } from "../app/types.js" */
/**
 * @typedef {{id: string, name: string, type: "encoder" | "decoder" | "unknown", version: string,
 *            size: number, sha256: string}} Image
 */

const MEBIBYTE = 1024 * 1024;

const images = signal(/** @type {Image[] | null} */ (null));

async function readImages() {
    images.value = (await api.get("firmware")).firmware;
}

/** Keeps the list of images fresh while a page shows it: the log tells of changes. */
function useImages() {
    const told = lastLogEntry.value?.action.startsWith("firmware") ? lastLogEntry.value.id : 0;
    useEffect(() => { readImages().catch(sayProblem); }, [told]);
    return images.value ?? [];
}

/** A size in the units that people know. */
function sizeText(/** @type {number} */ size) {
    return size < MEBIBYTE ? `${Math.ceil(size / 1024)} KiB`
        : `${(size / MEBIBYTE).toFixed(1)} MiB`;
}

function Upload() {
    const [part, setPart] = useState(/** @type {number | null} */ (null));
    const ended = useRef(new AbortController());
    const send = async (/** @type {File | null | undefined} */ file) => {
        if (!file || part !== null) {
            return;
        }
        ended.current = new AbortController();
        setPart(0);
        const image = await attempt(
            () => upload("firmware", file, setPart, ended.current.signal), t("firmware.added"));
        setPart(null);
        if (image) {
            await readImages();
            go("firmware", image.id);
        }
    };
    if (part !== null) {
        return html`<div class="drop card">
            <label>${t("firmware.uploading")}
                <progress max="1" value=${part}>${Math.round(part * 100)} %</progress></label>
            <button onClick=${() => ended.current.abort()}>${t("cancel")}</button>
        </div>`;
    }
    return html`<div class="drop card"
        onDragOver=${(/** @type {Event} */ event) => event.preventDefault()}
        onDrop=${(/** @type {DragEvent} */ event) => {
            event.preventDefault();
            send(event.dataTransfer?.files[0]);
        }}>
        <label class="button">${t("firmware.choose")}
            <input class="hidden" type="file"
                onChange=${(/** @type {any} */ event) => send(event.target.files[0])} /></label>
        <span class="muted">${t("firmware.drop")}</span>
    </div>`;
}

function askDelete(/** @type {Image} */ { id, name }) {
    ask({
        title: t("firmware.delete.title", { name: name || id }), text: t("firmware.delete.text"),
        kind: "danger", action: t("delete"),
        onDo: async () => {
            await api.remove(path`firmware/${id}`);
            await readImages();
        },
    });
}

function Images(/** @type {{all: Image[]}} */ { all }) {
    return html`<div class="scroller images"><table class="list">
        <thead><tr>
            <th scope="col">${t("firmware.name")}</th><th scope="col">${t("firmware.type")}</th>
            <th scope="col">${t("firmware.version")}</th><th scope="col">${t("firmware.size")}</th>
            <th scope="col">SHA-256</th>
            <th scope="col"><span class="hidden">${t("firmware.actions")}</span></th>
        </tr></thead>
        <tbody>${all.map((image) => html`<tr key=${image.id}>
            <td>${mayAdminister.value
                ? html`<a href=${link("firmware", image.id)}>${image.name || image.id}</a>`
                : image.name || image.id}</td>
            <td data-label=${t("firmware.type")}>${tAny("type." + image.type)}</td>
            <td data-label=${t("firmware.version")}>${image.version}</td>
            <td data-label=${t("firmware.size")}>${sizeText(image.size)}</td>
            <td data-label="SHA-256"><code title=${image.sha256}>
                ${image.sha256.slice(0, 12)}…</code></td>
            <td class="actions">${mayAdminister.value && html`
                <a class="button" href=${link("firmware", image.id)}>${t("firmware.install")}</a>
                <button class="danger" onClick=${() => askDelete(image)}>${t("delete")}</button>`}
            </td>
        </tr>`)}</tbody>
    </table></div>`;
}

const STATE_KINDS = /** @type {Record<string, string>} */ ({
    confirmed: "good", done: "good", failed: "bad", uploading: "warn", restarting: "warn",
    running: "warn",
});

function JobLine(/** @type {{device: JobDevice}} */ { device }) {
    const { id, state, version_before: before, version_after: after, problem } = device;
    return html`<tr>
        <td><a href=${link("devices", id)}>${deviceName(id)}</a></td>
        <td data-label=${t("devices.state")}>
            <${Badge} kind=${STATE_KINDS[state] ?? "muted"}>
                ${tAny("job.device." + state)}</${Badge}></td>
        <td data-label=${t("firmware.version")}>${before ?? "?"}${after && ` → ${after}`}</td>
        <td class=${state === "failed" ? "problem" : "muted"}>${problem}</td>
    </tr>`;
}

function JobCard(/** @type {{job: Job, image: Image | undefined}} */ { job, image }) {
    const isOver = job.state !== "queued" && job.state !== "running";
    const over = job.devices.filter(({ state }) => state === "confirmed" || state === "failed");
    const name = image ? `${tAny("type." + image.type)} ${image.version}` : job.image.slice(0, 12);
    return html`<li class="card job">
        <div class="titlebar">
            <h3>${name} <${Badge} kind=${STATE_KINDS[job.state] ?? "muted"}>
                ${tAny("job." + job.state)}</${Badge}></h3>
            ${mayAdminister.value && html`<button
                onClick=${() => attempt(() => api.remove(path`jobs/${job.id}`))}>
                ${t(isOver ? "job.forget" : "job.cancel")}</button>`}
        </div>
        ${!isOver && html`<label class="muted">
            ${t("job.progress", { over: over.length, all: job.devices.length })}
            <progress max=${job.devices.length} value=${over.length} /></label>`}
        ${job.problem && html`<p class="problem">${job.problem}</p>`}
        <table class="list"><tbody>${job.devices.map((device) => html`
            <${JobLine} key=${device.id} device=${device} />`)}</tbody></table>
    </li>`;
}

/** Chooses the devices that take an image, and begins. */
function Install(/** @type {{image: Image}} */ { image }) {
    const [chosen, setChosen] = useState(/** @type {Set<string>} */ (new Set()));
    const [isBusy, setBusy] = useState(false);
    const fitting = [...devices.value.values()]
        .filter(({ type }) => type === image.type || image.type === "unknown")
        .sort((a, b) => (a.id < b.id ? -1 : 1));
    const isOld = (/** @type {{version: string}} */ { version }) =>
        version.replace(/^v/i, "") !== image.version;
    const options = deviceOptions(fitting).map((option, at) => ({
        ...option, disabled: !fitting[at].online,
        note: fitting[at].online ? fitting[at].version : t("offline"),
    }));
    const begin = async () => {
        setBusy(true);
        const job = await attempt(
            () => api.post(path`firmware/${image.id}/installations`, { devices: [...chosen] }));
        setBusy(false);
        if (job) {
            go("firmware");
        }
    };
    const old = fitting.filter((device) => device.online && isOld(device));
    return html`<div class="titlebar">
            <h1>${t("firmware.install.title",
                { kind: tAny("type." + image.type), version: image.version })}</h1>
            <a class="button" href=${link("firmware")}>${t("firmware.all")}</a>
        </div>
        <div class="card install">
            <p>${t("firmware.install.text")}</p>
            <${PickMany} label=${t("page.devices")} options=${options} chosen=${chosen}
                onChange=${setChosen} />
            <div class="buttons">
                ${old.length > 0 && html`<button onClick=${() =>
                    setChosen(new Set(old.map(({ id }) => id)))}>
                    ${t("firmware.outdated", { count: old.length })}</button>`}
                <button class="primary" disabled=${chosen.size === 0 || isBusy} onClick=${begin}>
                    ${t("firmware.begin", { count: chosen.size })}</button>
            </div>
        </div>`;
}

export function FirmwarePage(/** @type {{id: string | undefined}} */ { id }) {
    const all = useImages();
    const image = all.find((each) => each.id === id);
    if (id !== undefined && image && mayAdminister.value) {
        return html`<${Install} key=${id} image=${image} />`;
    }
    const works = [...jobs.value.values()].reverse();
    return html`<h1>${t("page.firmware")}</h1>
        ${mayAdminister.value && html`<${Upload} />`}
        ${all.length > 0 && html`<${Images} all=${all} />`}
        ${images.value?.length === 0 && html`<${Empty} title=${t("firmware.empty.title")}>
            ${t("firmware.empty.text")}</${Empty}>`}
        ${works.length > 0 && html`<div class="titlebar"><h2>${t("job.title")}</h2></div>
            <ul class="jobs">${works.map((job) => html`<${JobCard} key=${job.id} job=${job}
                image=${all.find((each) => each.id === job.image)} />`)}</ul>`}`;
}
