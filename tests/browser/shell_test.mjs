// What stands around all pages: log-in and roles, languages, how things are, the connection.
import assert from "node:assert/strict";
import { addUser, address, avoipctl, inLab, isAccessible, openPanel, panelTest, press, setUp,
    startGateway, stopGateway, until, untilShown } from "./bed.mjs";

setUp();

const isStale = (page) => page.evaluate(() => document.querySelector("main.stale") !== null);

async function logIn(page, user, password) {
    await page.waitForSelector("input[name=user]");
    await page.$eval("input[name=user]", (input) => { input.value = ""; });
    await page.$eval("input[name=password]", (input) => { input.value = ""; });
    await page.type("input[name=user]", user);
    await page.type("input[name=password]", password);
    await press(page, "Enter");
}

panelTest("files come with their types, packed where that is wanted, and once only", async () => {
    const read = (path, headers, method = "GET") => fetch(address + path, { method, headers });
    const packed = await read("panel/app/main.js", { "Accept-Encoding": "br, gzip;q=0.5" });
    assert.equal(packed.headers.get("Content-Type"), "text/javascript; charset=utf-8");
    assert.equal(packed.headers.get("Content-Encoding"), "gzip");
    const plain = await read("panel/app/main.js", { "Accept-Encoding": "br, gzip;q=0" });
    assert.equal(plain.headers.get("Content-Encoding"), null);
    assert.equal(await plain.text(), await packed.text());
    const tag = plain.headers.get("ETag");
    const known = { "Accept-Encoding": "br", "If-None-Match": `"other", W/${tag}` };
    assert.equal((await read("panel/app/main.js", known)).status, 304);
    const page = await read("");
    assert.equal(page.headers.get("Content-Type"), "text/html; charset=utf-8");
    const policy = page.headers.get("Content-Security-Policy");
    assert.match(policy, /^default-src 'none'; script-src 'self'; style-src 'self';/);
    assert.doesNotMatch(policy, /unsafe/);
    assert.equal(page.headers.get("X-Content-Type-Options"), "nosniff");
    assert.equal(page.headers.get("Referrer-Policy"), "no-referrer");
    assert.equal((await read("", {}, "POST")).status, 405);
    assert.equal((await read("panel/nothing.js")).status, 404);
    assert.equal((await read("panel/vendor/vendor.json")).status, 404);
});

panelTest("language and light or dark are chosen, and stay", async () => {
    const page = await openPanel("/devices");
    await untilShown(page, "4 devices");
    await page.click(".menu summary");
    await page.select(".menu select", "de");
    await untilShown(page, "4 Geräte");
    assert.equal(await page.evaluate(() => document.documentElement.lang), "de");
    const ground = () => page.evaluate(() => getComputedStyle(document.documentElement).backgroundColor);
    const light = await ground();
    await page.select(".menu select:last-of-type", "dark");
    assert.notEqual(await ground(), light);
    await isAccessible(page);
    await page.reload();
    await untilShown(page, "4 Geräte");
    assert.notEqual(await ground(), light);
});

panelTest("a page that is not there says so", async () => {
    const page = await openPanel("/nothing");
    await untilShown(page, "There is no such page");
    await isAccessible(page);
});

panelTest("the panel fits into 320 pixels", async () => {
    for (const hash of ["/grid", "/devices", "/devices/RX-0001"]) {
        const page = await openPanel(hash, { width: 320, height: 640, touch: true });
        await untilShown(page, "RX-0001");
        const wide = await page.evaluate(() => document.documentElement.scrollWidth);
        assert.equal(wide, 320, hash);
        await isAccessible(page);
    }
});

panelTest("a lost connection is said, greys the page out, and comes back by itself", async () => {
    const page = await openPanel("/devices");
    page.expected.push(/Failed to load resource|ERR_/);
    await untilShown(page, "4 devices");
    await page.evaluate(() => { window.isThisPage = true; });
    await stopGateway();
    await untilShown(page, "No connection to the gateway.");
    assert(await isStale(page));
    await isAccessible(page);
    await avoipctl("alias", "set", "RX-0002", "Foyer");
    await startGateway();
    await until("it is fresh", async () => !await isStale(page));
    await untilShown(page, "Foyer");
    assert(await page.evaluate(() => window.isThisPage), "the page was not loaded anew");
    await avoipctl("alias", "remove", "RX-0002");
});

// From here on there are users.

panelTest("who has no password stays outside", async () => {
    await addUser("ada", "admin", "correct horse battery");
    await addUser("olga", "operator", "correct horse battery");
    await addUser("vera", "viewer", "correct horse battery");
    const page = await openPanel("/devices");
    page.expected.push(/status of 401/);
    await page.waitForSelector("input[name=user]");
    await isAccessible(page);
    await logIn(page, "ada", "wrong");
    await untilShown(page, "The user or the password is wrong.");
    await logIn(page, "ada", "correct horse battery");
    await untilShown(page, "4 devices");
    await page.click(".menu summary");
    await page.click("::-p-text(Log out)");
    await page.waitForSelector("input[name=user]");
});

panelTest("each role has what it may do, and no more", async () => {
    const seen = {};
    for (const [user, role] of [["vera", "viewer"], ["olga", "operator"], ["ada", "admin"]]) {
        const page = await openPanel("/devices/RX-0001");
        await logIn(page, user, "correct horse battery");
        await untilShown(page, "10.77.");
        seen[role] = await page.$$eval(".device-head button", (buttons) =>
            buttons.map((button) => button.textContent.trim()));
        await page.click(".menu summary");
        await untilShown(page, `${user} · ${role}`);
    }
    assert.deepEqual(seen.viewer, []);
    assert.deepEqual(seen.operator, ["Identify"]);
    assert.deepEqual(seen.admin.slice(0, 4), ["Identify", "Rename", "Reboot", "Factory settings"]);
});

panelTest("a password is changed by whoever knows the old one", async () => {
    const page = await openPanel("/devices");
    page.expected.push(/status of 403/);
    await logIn(page, "vera", "correct horse battery");
    await untilShown(page, "4 devices");
    await page.click(".menu summary");
    await page.click("::-p-text(Change password)");
    await page.type("dialog input[name=old]", "wrong");
    await page.type("dialog input[name=new]", "a new horse battery");
    await press(page, "Enter");
    await untilShown(page, "The old password is wrong.");
    await isAccessible(page);
    await page.$eval("dialog input[name=old]", (input) => { input.value = ""; });
    await page.type("dialog input[name=old]", "correct horse battery");
    await press(page, "Enter");
    await untilShown(page, "The password is changed.");
});

panelTest("a session that has ended asks for a log-in", async () => {
    const page = await openPanel("/devices");
    page.expected.push(/status of 401|Failed to load resource|ERR_/);
    await logIn(page, "ada", "correct horse battery");
    await untilShown(page, "4 devices");
    await stopGateway();
    await startGateway();
    await page.waitForSelector("input[name=user]");
});

panelTest("a daemon that does not answer, and one that is gone, are told with what to do", async () => {
    const page = await openPanel("/devices");
    await logIn(page, "ada", "correct horse battery");
    await untilShown(page, "All is well");
    inLab("STOP", "avoipd");
    await untilShown(page, "The control daemon does not answer.");
    await isAccessible(page);
    inLab("CONT", "avoipd");
    await untilShown(page, "All is well");
    inLab("KILL", "avoipd");
    await untilShown(page, "The control daemon is not running.");
    await untilShown(page, "systemctl start avoip");
    await isAccessible(page);
});
