// Rooms, and one room on a phone with nothing but a link.
import assert from "node:assert/strict";
import { address, ask, avoipctl, isAccessible, openPanel, panelTest, picture, setUp, until,
    untilShown } from "./bed.mjs";

setUp();

const button = (text) => `::-p-xpath(//button[contains(normalize-space(.), "${text}")])`;

panelTest("a room is made of devices that are ticked, and changed, and deleted", async () => {
    const page = await openPanel("/rooms");
    await untilShown(page, "No rooms yet");
    await isAccessible(page);
    await page.click(button("New room"));
    await page.type("input[name=name]", "Hall & Lobby");
    for (const name of ["RX-0001", "RX-0002", "TX-0001"]) {
        await page.click(`::-p-xpath(//label[contains(., "${name}")])`);
    }
    await isAccessible(page);
    await page.click("button.primary::-p-text(Save)");
    await untilShown(page, "is saved");
    assert.deepEqual(await ask("GET", "rooms/Hall%20%26%20Lobby"), {
        name: "Hall & Lobby", decoders: ["RX-0001", "RX-0002"], encoders: ["TX-0001"],
    });
    await isAccessible(page);
    await page.click(button("Edit"));
    await page.click('::-p-xpath(//dialog//label[contains(., "RX-0002")])');
    await page.click("button.primary::-p-text(Save)");
    await until("a screen is out", async () =>
        (await ask("GET", "rooms/Hall%20%26%20Lobby")).decoders.length === 1);
    await page.click(button("Delete"));
    await page.click('::-p-xpath(//dialog//button[contains(., "Delete")])');
    await untilShown(page, "No rooms yet");
});

panelTest("a room that is changed elsewhere shows it", async () => {
    const page = await openPanel("/rooms");
    await untilShown(page, "No rooms yet");
    await ask("PUT", "rooms/attic", { decoders: ["RX-0001"] });
    await untilShown(page, "attic");
    await ask("DELETE", "rooms/attic");
    await untilShown(page, "No rooms yet");
});

panelTest("a link opens a room on a phone, where a source is chosen for a screen", async () => {
    await avoipctl("alias", "set", "RX-0001", "Beamer");
    await avoipctl("alias", "set", "TX-0001", "Camera");
    await ask("PUT", "rooms/Hall", {
        decoders: ["RX-0001", "RX-0002"], encoders: ["TX-0001", "TX-0002"],
    });
    await ask("PUT", "routes/video/RX-0001", { encoder: "TX-0002" });
    const admin = await openPanel("/rooms");
    await untilShown(admin, "Beamer");
    await untilShown(admin, "Camera");
    await admin.click(button("Link and code"));
    await isAccessible(admin);
    await admin.click(button("Make the link"));
    await admin.waitForSelector("svg.code");
    await isAccessible(admin);
    await picture(admin, "room-link");
    const link = await admin.$eval(".copy input", (field) => field.value);
    assert(link.startsWith(`${address}#/room/Hall?token=avoip_`), link);

    const page = await openPanel("/" + link.split("#/")[1], { width: 360, height: 740, touch: true });
    await untilShown(page, "Beamer");
    assert.equal(await page.evaluate(() => location.href), `${address}#/room/Hall`);
    assert.equal(await page.$("header"), null);
    await untilShown(page, "TX-0002");
    await page.tap(button("Beamer"));
    await page.waitForSelector('.source[aria-pressed="true"]');
    await isAccessible(page);
    await page.tap('.source::-p-text(Camera)');
    await until("the decoder has it", async () =>
        (await avoipctl("matrix", "get", "RX-0001")).includes("TX-0001"));
    await page.waitForSelector('.source[aria-pressed="true"]::-p-text(Camera)');
    await picture(page, "room");

    await page.tap(button("All screens"));
    await page.tap(button("Nothing"));
    await until("no screen shows anything", async () => {
        const { video } = await ask("GET", "routes");
        return video["RX-0001"].encoder === null && video["RX-0002"].encoder === null;
    });
    await page.waitForSelector('.source[aria-pressed="true"]::-p-text(Nothing)');

    // What is beyond the room is not there for it.
    page.expected.push(/status of 403 .*api\/v1\/log/);
    const status = await page.evaluate(async () => (await fetch("api/v1/log")).status);
    assert.equal(status, 403);
    await page.goto(`${address}#/log`);
    await untilShown(page, "Rooms");
    await page.waitForSelector("header nav");
    assert.deepEqual(await page.$$eval("nav a", (links) => links.map((a) => a.innerText.trim())),
        ["Rooms"]);
});

panelTest("a link that is not valid any more says so", async () => {
    const page = await openPanel("/room/Hall?token=avoip_0");
    page.expected.push(/status of 401/);
    await untilShown(page, "This link is not valid any more");
});
