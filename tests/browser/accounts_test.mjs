// Users, tokens, what their roles see, and the log.
import assert from "node:assert/strict";
import { addUser, address, ask, isAccessible, openPanel, panelTest, picture, setUp, until,
    untilShown } from "./bed.mjs";

setUp();

const label = (text) => `::-p-xpath(//label[contains(., "${text}")]//*[self::input or self::select])`;

async function logIn(page, user, password) {
    await page.waitForSelector("input[name=user]");
    await page.type("input[name=user]", user);
    await page.type("input[name=password]", password);
    await page.click("button.primary");
}

panelTest("the log shows what is done as it is done, and finds it again", async () => {
    const page = await openPanel("/log");
    await ask("PUT", "rooms/Library", { decoders: ["RX-0001"] });
    await untilShown(page, "Library");
    await isAccessible(page);
    await page.type("input[type=search]", "nowhere");
    await untilShown(page, "Nothing found");
    await page.click("input[type=search]", { count: 3 });
    await page.type("input[type=search]", "librARY");
    await untilShown(page, "room saved");
    assert.equal((await page.$$("tbody tr")).length, 1);
    await ask("PUT", "routes/video/RX-0001", { encoder: "TX-0001" });
    await ask("DELETE", "rooms/Library");
    await untilShown(page, "room deleted");
    assert.equal((await page.$$("tbody tr")).length, 2);
    await picture(page, "log");
});

panelTest("tokens are made for rooms, shown once, and taken back", async () => {
    await ask("PUT", "rooms/Studio", { decoders: ["RX-0001"], encoders: ["TX-0001"] });
    const page = await openPanel("/accounts");
    await untilShown(page, "No users yet");
    await isAccessible(page);
    await page.click("button::-p-text(New token)");
    await page.type("input[name=name]", "script");
    await page.select("select[name=role]", "operator");
    await page.click('::-p-xpath(//dialog//label[contains(., "Studio")])');
    await isAccessible(page);
    await page.click("dialog button.primary");
    await page.waitForSelector(".copy input");
    const token = await page.$eval(".copy input", (field) => field.value);
    await page.click("dialog button.primary");
    const answer = await fetch(address + "api/v1/session",
        { headers: { Authorization: "Bearer " + token } });
    assert.deepEqual((await answer.json()).rooms, ["Studio"]);
    await page.click('button[aria-label="Delete: script"]');
    await page.click("dialog button.danger");
    await untilShown(page, "Programs log in with a token");
});

panelTest("from the first user on everybody logs in, and sees what the role allows", async () => {
    const page = await openPanel("/accounts");
    page.expected.push(/status of (401|403|409)/);
    await untilShown(page, "No users yet");
    await page.click("button::-p-text(New user)");
    await page.type("input[name=name]", "anna");
    await page.type("input[name=password]", "secret word");
    await page.click("dialog button.primary");
    await logIn(page, "anna", "secret word");
    await untilShown(page, "anna");
    await page.click("button::-p-text(New user)");
    await page.type("input[name=name]", "otto");
    await page.select('dialog select[name="role"]', "viewer");
    await page.type("input[name=password]", "first");
    await page.click("dialog button.primary");
    await untilShown(page, "otto");
    await page.select('select[aria-label="Role: otto"]', "operator");
    // The last admin stays one.
    await page.select('select[aria-label="Role: anna"]', "viewer");
    await untilShown(page, "is the last user who is an admin");
    await page.waitForFunction(() =>
        document.querySelector('select[aria-label="Role: anna"]').value === "admin");
    await page.click('::-p-xpath(//tr[contains(., "otto")]//button[contains(., "New password")])');
    await page.type("dialog input[name=password]", "second");
    await page.click("dialog button.primary");
    await untilShown(page, "The password is changed");
    await isAccessible(page);
    await picture(page, "accounts");

    const other = await openPanel("/accounts");
    other.expected.push(/status of 401/);
    await logIn(other, "otto", "first");
    await untilShown(other, "The user or the password is wrong");
    await other.click("input[name=password]", { count: 3 });
    await other.type("input[name=password]", "second");
    await other.click("button.primary");
    await untilShown(other, "There is no such page");
    const seen = await other.$$eval("nav a", (links) => links.map((each) => each.innerText.trim()));
    assert(!seen.includes("Accounts") && seen.includes("Log"), seen.join());
    await other.goto(`${address}#/firmware`);
    await untilShown(other, "No images yet");
    assert.equal(await other.$("input[type=file]"), null);
});

panelTest("German speaks of the same in German, in the dark too", async () => {
    const page = await openPanel("/log", { language: "de", dark: true });
    page.expected.push(/status of 401/);
    await logIn(page, "anna", "secret word");
    await untilShown(page, "angemeldet");
    await isAccessible(page);
    for (const [name, text] of [["rooms", "Räume"], ["walls", "Videowände"],
        ["firmware", "Abbilder"], ["accounts", "Benutzer"]]) {
        await page.goto(`${address}#/${name}`);
        await untilShown(page, text);
        await isAccessible(page);
    }
    await picture(page, "accounts-dark");
});
