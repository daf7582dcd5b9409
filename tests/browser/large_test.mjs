// The grid of a large fleet.
import assert from "node:assert/strict";
import { ask, openPanel, panelTest, press, setUp, until, untilShown } from "./bed.mjs";

const SIZE = 256;

setUp();

panelTest("a grid of 256 x 256 is routed from corner to corner", async () => {
    await until("the whole fleet is known", async () => {
        const { devices } = await ask("GET", "system");
        return devices.encoders === SIZE && devices.decoders === SIZE;
    });
    const page = await openPanel("/grid", { width: 1920, height: 1080 });
    await page.waitForSelector('.row[data-decoder="RX-0256"]');
    assert.equal((await page.$$(".grid .row")).length, SIZE);
    assert.equal((await page.$$(".grid .column")).length, SIZE);
    await page.focus('[role="gridcell"][tabindex="0"]');
    await press(page, "Control+End", "Enter");
    await untilShown(page, "RX-0256 shows TX-0256.");
    const mark = await page.waitForSelector('.row[data-decoder="RX-0256"] .mark.so');
    assert(await mark.isIntersectingViewport(), "the far corner is in view");
    const head = await page.$eval(".grid .head", (element) => element.getBoundingClientRect().top);
    const grid = await page.$eval(".grid", (element) => element.getBoundingClientRect().top);
    assert(Math.abs(head - grid) <= 1, "the names of the encoders are in view");
    const name = await page.$('.row[data-decoder="RX-0256"] .name');
    assert(await name.isIntersectingViewport({ threshold: 1 }), "the decoder's name is in view");
    await page.type("input[type=search]", "tx-0200");
    await page.waitForFunction(() => document.querySelectorAll(".grid .column").length === 1);
});
