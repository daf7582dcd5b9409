// Makes the pictures of docs/panel.md, of a small fleet with names. scripts/pictures runs it.
import { execFileSync } from "node:child_process";
import { join } from "node:path";
import { addUser, address, ask, inLab, labFolder, openPanel, panelTest, picture, press, setUp, until,
    untilShown } from "./bed.mjs";

const FOLDER = new URL("../../docs/panel/", import.meta.url).pathname;

const SOURCES = ["Lectern laptop", "Lectern PC", "Document camera", "Camera front", "Camera back",
    "Media player", "Guest HDMI", "Signage", "Studio A", "Studio B"];
const SCREENS = ["Projector left", "Projector right", "Lectern preview", "Overflow hall",
    "Lobby screen", "Bar screen", "Wall 1", "Wall 2", "Wall 3", "Wall 4", "Recorder", "Stream"];

const id = (kind, at) => `${kind}-${String(at + 1).padStart(4, "0")}`;

setUp();

const shoot = (page, name) => picture(page, name, FOLDER);

/** Makes a firmware image for encoders; gives its path. */
function makeImage() {
    const file = join(labFolder, "image.bin");
    execFileSync("avoipsim", ["--make-image", file, "--image-version", "1.2.0"]);
    return file;
}

/** Names the devices and makes rooms, routes and presets. */
async function furnish() {
    await until("the fleet is known", async () =>
        (await ask("GET", "devices")).devices.length === SOURCES.length + SCREENS.length);
    for (const [kind, names] of [["TX", SOURCES], ["RX", SCREENS]]) {
        for (const [at, alias] of names.entries()) {
            await ask("PATCH", `devices/${id(kind, at)}`, { alias });
        }
    }
    const video = Object.fromEntries(SCREENS.slice(0, 11).map((_, at) =>
        [id("RX", at), id("TX", [0, 2, 0, 3, 7, 7, 5, 5, 5, 5, 3][at])]));
    await ask("POST", "routes", { video, serial: { "RX-0001": "TX-0001" } });
    await ask("PUT", "rooms/Auditorium", {
        decoders: [0, 1, 2, 3].map((at) => id("RX", at)),
        encoders: [0, 1, 2, 3, 4].map((at) => id("TX", at)),
    });
    await ask("PUT", "rooms/Foyer", {
        decoders: [4, 5, 6, 7, 8, 9].map((at) => id("RX", at)), encoders: ["TX-0006", "TX-0008"],
    });
    await ask("PUT", "presets/Lecture", { routes: { video: {
        "RX-0001": "TX-0001", "RX-0002": "TX-0003", "RX-0003": "TX-0001" } } });
    await ask("PUT", "presets/Film", { routes: { video: {
        "RX-0001": "TX-0006", "RX-0002": "TX-0006" } } });
    await ask("PUT", "presets/Reception", { routes: { video: { "RX-0005": "TX-0006" } } });
    await ask("PUT", "locks/RX-0011", { note: "recording until 18:00" });
}

async function openGrid(look) {
    const page = await openPanel("/grid", look);
    await page.waitForFunction(() => document.querySelectorAll(".mark.so").length >= 11);
    return page;
}

panelTest("the grid, by day and by night and on a phone", async () => {
    await furnish();
    const page = await openGrid({ width: 1280, height: 860 });
    await page.focus('[role="gridcell"][tabindex="0"]');
    await press(page, "ArrowDown", "ArrowRight");
    await untilShown(page, "Lectern PC → Projector right");
    await shoot(page, "grid");
    await page.click(".help");
    await untilShown(page, "Escape");
    await shoot(page, "keys");
    const dark = await openGrid({ width: 1280, height: 860, dark: true });
    await dark.click("::-p-aria([name='Serial'][role='button'])");
    await dark.click("::-p-aria([name='Arm'][role='button'])");
    await dark.focus('[role="gridcell"][tabindex="0"]');
    await press(dark, "Space", "ArrowDown", "ArrowRight", "Space");
    await untilShown(dark, "Take 2");
    await shoot(dark, "grid-dark");
    await shoot(await openGrid({ width: 390, height: 760, touch: true, language: "de" }),
        "grid-phone");
});

panelTest("the devices, and one of them", async () => {
    const list = await openPanel("/devices", { width: 1280, height: 760 });
    await untilShown(list, "22 devices");
    await shoot(list, "devices");
    const page = await openPanel("/devices/RX-0001", { width: 1400, height: 1220 });
    await untilShown(page, "Saturation");
    await untilShown(page, "Baud rate");
    await page.click(".edid button");
    await untilShown(page, "Preferred mode");
    await page.select(".edid select", "RX-0002");
    await page.waitForSelector("tr.differs");
    await page.type(".terminal input", "PWR ON");
    await press(page, "Enter");
    await untilShown(page, "50 57 52 20");
    await page.evaluate(() => document.activeElement.blur());
    await shoot(page, "device");
});

panelTest("rooms, and one of them on a phone", async () => {
    const page = await openPanel("/rooms", { width: 1280, height: 560 });
    await untilShown(page, "Auditorium");
    await shoot(page, "rooms");
    await page.setViewport({ width: 1280, height: 720 });
    await page.click("::-p-xpath(//button[contains(., 'Link and code')])");
    await page.click("dialog button.primary");
    await page.waitForSelector("svg.code");
    await page.evaluate(() => document.activeElement.blur());
    await shoot(page, "room-link");
    const phone = await openPanel("/room/Auditorium", { width: 390, height: 820, touch: true });
    await phone.tap("::-p-xpath(//button[contains(., 'Projector left')])");
    await phone.waitForSelector(".source[aria-pressed=true]");
    await shoot(phone, "room");
});

panelTest("a wall while it is put together", async () => {
    await ask("PUT", "walls/Foyer", {
        encoder: "TX-0006", columns: 2, rows: 2, width: 3840, height: 2160,
        bezel: { horizontal: 60, vertical: 60 },
        tiles: [6, 7, 8].map((at) =>
            ({ decoder: id("RX", at), column: at % 2, row: Math.floor(at / 2) - 3 })),
    });
    const page = await openPanel("/walls/Foyer", { width: 1280, height: 700 });
    await page.waitForSelector(".cell.taken");
    await shoot(page, "wall");
});

panelTest("an image on its way, the log, and accounts", async () => {
    const page = await openPanel("/firmware", { width: 1280, height: 560 });
    await page.waitForSelector("input[type=file]");
    await (await page.$("input[type=file]")).uploadFile(makeImage());
    await untilShown(page, "Encoder, version");
    for (const name of ["Signage", "Studio A"]) {
        await page.click(`::-p-xpath(//label[contains(., '${name}')])`);
    }
    await page.click("::-p-xpath(//button[contains(., 'Install on 2')])");
    await page.waitForSelector(".job h3 .badge.good");
    await shoot(page, "firmware");
    await page.goto(`${address}#/log`);
    await untilShown(page, "image added");
    await shoot(page, "log");
    await ask("POST", "tokens", { name: "Control desk", role: "operator" });
    await page.goto(`${address}#/accounts`);
    await untilShown(page, "Control desk");
    await shoot(page, "accounts");
});

// What comes below changes how things are.

panelTest("devices that are offline, and a route that none of them confirms", async () => {
    const page = await openGrid({ width: 1280, height: 860 });
    inLab("STOP", "avoipsim");
    await page.focus('[role="gridcell"][tabindex="0"]');
    await press(page, "End", "Enter");
    await page.waitForSelector(".row.offline");
    await untilShown(page, "22 devices offline");
    await shoot(page, "offline");
    inLab("CONT", "avoipsim");
    await untilShown(page, "All is well");
});

panelTest("the daemon gone, and the log-in", async () => {
    const page = await openGrid({ width: 1280, height: 560 });
    inLab("KILL", "avoipd");
    await untilShown(page, "The control daemon is not running.");
    await shoot(page, "daemon-gone");
    await addUser("ada", "admin", "correct horse battery");
    const entrance = await openPanel("/grid", { width: 900, height: 560 });
    await entrance.waitForSelector("input[name=user]");
    await shoot(entrance, "log-in");
});
