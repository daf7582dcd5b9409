// What stands around all pages.
import assert from "node:assert/strict";
import { address, isAccessible, openPanel, panelTest, setUp, untilShown } from "./bed.mjs";

setUp();

panelTest("the devices of the fleet are listed with their state", async () => {
    const page = await openPanel("/devices");
    await untilShown(page, "RX-0002");
    await untilShown(page, "4 devices");
    assert.equal((await page.$$("tbody tr")).length, 4);
    await isAccessible(page);
});

panelTest("files come with their types, packed where that is wanted, and once only", async () => {
    const first = await fetch(address + "panel/app/main.js", { headers: { "Accept-Encoding": "gzip" } });
    assert.equal(first.headers.get("Content-Type"), "text/javascript; charset=utf-8");
    assert.equal(first.headers.get("Content-Encoding"), "gzip");
    const plain = await fetch(address + "panel/app/main.js", { headers: { "Accept-Encoding": "br" } });
    assert.equal(plain.headers.get("Content-Encoding"), null);
    assert.equal(await plain.text(), await first.text());
    const again = await fetch(address + "panel/app/main.js", {
        headers: { "Accept-Encoding": "br", "If-None-Match": plain.headers.get("ETag") },
    });
    assert.equal(again.status, 304);
    const page = await fetch(address);
    assert.equal(page.headers.get("Content-Type"), "text/html; charset=utf-8");
    assert.match(page.headers.get("Content-Security-Policy"), /default-src 'none'.*script-src 'self'/);
    assert.doesNotMatch(page.headers.get("Content-Security-Policy"), /unsafe/);
    assert.equal((await fetch(address, { method: "POST" })).status, 405);
    assert.equal((await fetch(address + "panel/nothing.js")).status, 404);
});
