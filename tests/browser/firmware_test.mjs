// Firmware: an image is added, installed on devices, and seen confirmed.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { writeFileSync } from "node:fs";
import { join } from "node:path";
import { ask, isAccessible, labFolder, openPanel, panelTest, picture, setUp, until, untilShown }
    from "./bed.mjs";

setUp();

panelTest("an image is added, and installed on the devices that are chosen", async () => {
    const file = join(labFolder, "image.bin");
    execFileSync("avoipsim", ["--make-image", file, "--image-version", "9.1.0"]);
    const page = await openPanel("/firmware");
    await untilShown(page, "No images yet");
    await isAccessible(page);
    const input = await page.$("input[type=file]");
    await input.uploadFile(file);
    await untilShown(page, "Encoder, version 9.1.0");
    await isAccessible(page);
    assert.equal(await page.$('::-p-xpath(//label[contains(., "RX-0001")])'), null);
    await page.click("button::-p-text(Choose 2 with another version)");
    await untilShown(page, "2 chosen");
    await page.click("button.primary::-p-text(Install on 2 devices)");
    await untilShown(page, "Installations");
    await isAccessible(page);
    await until("both are confirmed", async () =>
        (await page.$$(".job .badge.good::-p-text(new version confirmed)")).length === 2);
    await page.waitForSelector(".job h3 .badge.good::-p-text(done)");
    await picture(page, "firmware");
    const { devices } = await ask("GET", "devices?type=encoder");
    assert.deepEqual(devices.map(({ version }) => version.replace(/^V/, "")), ["9.1.0", "9.1.0"]);
    await page.click("button::-p-text(Forget)");
    await until("the job is forgotten", async () => (await ask("GET", "jobs")).jobs.length === 0);
    await page.click("td button.danger");
    await page.click("dialog button.danger");
    await untilShown(page, "No images yet");
});

panelTest("a file that is no image is refused in words", async () => {
    const file = join(labFolder, "letter.txt");
    writeFileSync(file, "Dear all");
    const page = await openPanel("/firmware");
    page.expected.push(/status of 422/);
    await untilShown(page, "No images yet");
    await (await page.$("input[type=file]")).uploadFile(file);
    await page.waitForSelector(".notice.bad");
});
