// As many devices as there may be.
import assert from "node:assert/strict";
import { ask, isAccessible, openPanel, panelTest, setUp, until, untilShown } from "./bed.mjs";

setUp();

panelTest("1,024 devices are listed, and found again", async () => {
    await until("the whole fleet is known", async () => {
        const { devices } = await ask("GET", "system");
        return devices.encoders + devices.decoders === 1024;
    });
    const page = await openPanel("/devices");
    await untilShown(page, "1024 devices");
    assert.equal((await page.$$("tbody tr")).length, 1024);
    await page.type("input[type=search]", "RX-0512");
    await untilShown(page, "1 device");
    await isAccessible(page);
    const grid = await openPanel("/grid");
    await grid.waitForSelector('.row[data-decoder="RX-0512"]');
    assert.equal((await grid.$$(".grid .row")).length, 512);
});
