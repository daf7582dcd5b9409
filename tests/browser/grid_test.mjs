// The crosspoint grid: routes made by mouse and keys, and what devices say of them.
import assert from "node:assert/strict";
import { ask, avoipctl, inLab, isAccessible, openPanel, panelTest, press, setUp, until,
    untilShown } from "./bed.mjs";

setUp();

const cell = (decoder, encoder) => ({ decoder, encoder });

/** Opens the grid when the gateway knows the fleet and its routes. */
async function openGrid(look) {
    await until("the routes are known", async () => {
        const routes = await ask("GET", "routes");
        return ["video", "serial", "ir"].every((kind) => Object.keys(routes[kind]).length === 4
            && Object.values(routes[kind]).every(({ seen_at: seenAt }) => seenAt));
    });
    const page = await openPanel("/grid", look);
    await page.waitForSelector('.row[data-decoder="RX-0004"]');
    await page.waitForSelector('[role="gridcell"][tabindex="0"]');
    return page;
}

/** Where a crosspoint is on the page. */
function placeOf(page, { decoder, encoder }) {
    return page.evaluate((row, column) => {
        const heads = [...document.querySelectorAll(".grid .column")];
        const head = heads.find((each) => each.textContent.trim() === column);
        const line = document.querySelector(`.row[data-decoder="${row}"]`).getBoundingClientRect();
        const { left, width } = head.getBoundingClientRect();
        return { x: left + width / 2, y: line.top + line.height / 2 };
    }, decoder, encoder);
}

async function click(page, point) {
    const { x, y } = await placeOf(page, point);
    await page.mouse.click(x, y);
}

/** The class of the mark at a crosspoint, and whether it is armed; "" for none. */
function markAt(page, { decoder, encoder }) {
    return page.evaluate((row, column) => {
        const heads = [...document.querySelectorAll(".grid .column")];
        const at = heads.findIndex((each) => each.textContent.trim() === column) + 2;
        const found = document.querySelector(
            `.row[data-decoder="${row}"] [aria-colindex="${at}"][role="gridcell"]`);
        const states = [...found?.querySelectorAll(".mark") ?? []].map((mark) =>
            mark.className.replace("mark ", "") + mark.textContent.trim());
        return [...states, ...found?.classList.contains("armed") ? ["armed"] : []].join(" ");
    }, decoder, encoder);
}

function untilMarked(page, point, mark) {
    return until(`${point.decoder} is ${mark || "free"} at ${point.encoder}`,
        async () => await markAt(page, point) === mark);
}

const routeOf = async (kind, decoder) => (await ask("GET", "routes"))[kind][decoder].encoder;

async function clearRoutes() {
    const none = Object.fromEntries([1, 2, 3, 4].map((number) => [`RX-000${number}`, null]));
    await ask("POST", "routes", { video: none, serial: none, ir: none });
}

panelTest("a click makes a route, which is solid when the decoder has confirmed it", async () => {
    const page = await openGrid();
    await click(page, cell("RX-0002", "TX-0003"));
    await untilShown(page, "RX-0002 shows TX-0003.");
    await untilMarked(page, cell("RX-0002", "TX-0003"), "so");
    assert.equal(await routeOf("video", "RX-0002"), "TX-0003");
    await click(page, cell("RX-0002", "TX-0001"));
    await untilMarked(page, cell("RX-0002", "TX-0001"), "so");
    await untilMarked(page, cell("RX-0002", "TX-0003"), "");
    await isAccessible(page);
    await isAccessible(await openGrid({ dark: true }));
    await clearRoutes();
});

panelTest("keys move, route, clear, arm, take, undo, search and lock", async () => {
    const page = await openGrid();
    await page.focus('[role="gridcell"][tabindex="0"]');
    await press(page, "ArrowDown", "ArrowRight", "ArrowRight", "Enter");
    await untilMarked(page, cell("RX-0002", "TX-0003"), "so");
    await press(page, "Delete");
    await untilMarked(page, cell("RX-0002", "TX-0003"), "");
    await untilShown(page, "RX-0002 is cleared.");
    await press(page, "u");
    await untilMarked(page, cell("RX-0002", "TX-0003"), "so");
    await press(page, "Home", "Space", "ArrowDown", "End", "Space");
    await untilMarked(page, cell("RX-0002", "TX-0001"), "armed");
    await untilMarked(page, cell("RX-0003", "TX-0004"), "armed");
    await press(page, "t");
    await untilMarked(page, cell("RX-0002", "TX-0001"), "so");
    await untilMarked(page, cell("RX-0003", "TX-0004"), "so");
    await untilShown(page, "All 2 routes are confirmed.");
    await press(page, "u");
    await untilMarked(page, cell("RX-0002", "TX-0003"), "so");
    await untilMarked(page, cell("RX-0003", "TX-0004"), "");
    await press(page, "Space", "Escape");
    assert.equal(await markAt(page, cell("RX-0003", "TX-0004")), "");
    await press(page, "l");
    await untilShown(page, "RX-0003 is locked.");
    await page.waitForSelector('.row[data-decoder="RX-0003"] .lock');
    await press(page, "l");
    await untilShown(page, "RX-0003 is released.");
    await press(page, "/");
    await page.keyboard.type("rx-0004");
    await page.waitForFunction(() => document.querySelectorAll(".row").length === 1);
    assert.equal((await page.$$(".column")).length, 4);
    await press(page, "Escape");
    assert.equal(await page.evaluate(() => document.activeElement.getAttribute("role")), "gridcell");
    await clearRoutes();
});

panelTest("what is armed by clicks is taken together", async () => {
    const page = await openGrid();
    await page.click("::-p-aria([name='Arm'][role='button'])");
    await click(page, cell("RX-0001", "TX-0002"));
    await click(page, cell("RX-0004", "TX-0002"));
    await untilMarked(page, cell("RX-0004", "TX-0002"), "armed");
    assert.equal(await routeOf("video", "RX-0001"), null);
    await isAccessible(page);
    await page.click("::-p-text(Take 2)");
    await untilMarked(page, cell("RX-0001", "TX-0002"), "so");
    await untilMarked(page, cell("RX-0004", "TX-0002"), "so");
    await clearRoutes();
});

panelTest("layers are shown and changed together", async () => {
    const page = await openGrid();
    await page.click("::-p-aria([name='Serial'][role='button'])");
    await page.click("::-p-aria([name='IR'][role='button'])");
    await click(page, cell("RX-0001", "TX-0001"));
    await untilMarked(page, cell("RX-0001", "TX-0001"), "soV soS soI");
    assert.equal(await routeOf("serial", "RX-0001"), "TX-0001");
    assert.equal(await routeOf("ir", "RX-0001"), "TX-0001");
    await page.click("::-p-aria([name='Video'][role='button'])");
    await untilMarked(page, cell("RX-0001", "TX-0001"), "soS soI");
    await clearRoutes();
});

panelTest("a change by avoipctl shows up", async () => {
    const page = await openGrid();
    await avoipctl("matrix", "set", "TX-0002", "RX-0003");
    await untilMarked(page, cell("RX-0003", "TX-0002"), "so");
    await avoipctl("alias", "set", "RX-0003", "Lobby");
    await untilShown(page, "Lobby");
    await clearRoutes();
});

panelTest("a preset keeps what is shown, is recalled by its button, and is deleted", async () => {
    const page = await openGrid();
    await click(page, cell("RX-0001", "TX-0004"));
    await untilMarked(page, cell("RX-0001", "TX-0004"), "so");
    await page.click("::-p-text(Save as preset…)");
    await page.type("dialog input[name=name]", "Lecture");
    await isAccessible(page);
    await press(page, "Enter");
    await untilShown(page, "Preset “Lecture” is saved.");
    await page.waitForSelector(".presets .so");
    await click(page, cell("RX-0001", "TX-0001"));
    await untilMarked(page, cell("RX-0001", "TX-0001"), "so");
    await page.waitForSelector(".presets .so", { hidden: true });
    await page.click("::-p-aria([name='Lecture'][role='button'])");
    await untilMarked(page, cell("RX-0001", "TX-0004"), "so");
    await page.click("::-p-text(Manage…)");
    await page.click("::-p-aria([name='Delete: Lecture'])");
    await page.waitForFunction(() => document.querySelectorAll("dialog").length === 2);
    await page.click("dialog:last-of-type button.danger:not([aria-label])");
    await page.waitForFunction(() => !document.body.innerText.includes("Lecture"));
    await clearRoutes();
});

panelTest("an admin may change what another one has locked, when asked", async () => {
    const page = await openGrid();
    // Without users there is one owner alone: the answer of another one's lock is played.
    await page.setRequestInterception(true);
    const asked = [];
    page.on("request", (request) => {
        const isRoute = request.url().includes("/api/v1/routes") && request.method() === "POST";
        asked.push(...isRoute ? [request.url()] : []);
        if (isRoute && !request.url().includes("override")) {
            request.respond({
                status: 409, contentType: "application/problem+json",
                body: JSON.stringify({ type: "about:blank", title: "Conflict", status: 409,
                    detail: "\"RX-0001\" is locked by \"eva\"." }),
            });
        } else {
            request.continue();
        }
    });
    page.expected.push(/status of 409/);
    await click(page, cell("RX-0001", "TX-0001"));
    await untilShown(page, "is locked by");
    await isAccessible(page);
    await page.click("::-p-text(Change it all the same)");
    await untilMarked(page, cell("RX-0001", "TX-0001"), "so");
    assert.equal(asked.length, 2);
    await clearRoutes();
});

panelTest("a route that is not confirmed looks otherwise, offline too, until it is", async () => {
    const page = await openGrid();
    await click(page, cell("RX-0001", "TX-0001"));
    await untilMarked(page, cell("RX-0001", "TX-0001"), "so");
    inLab("STOP", "avoipsim");
    await click(page, cell("RX-0001", "TX-0003"));
    await untilMarked(page, cell("RX-0001", "TX-0003"), "asked");
    await untilMarked(page, cell("RX-0001", "TX-0001"), "leaving");
    await untilShown(page, "has not confirmed yet");
    await page.waitForSelector(".row.offline");
    await untilShown(page, "8 devices offline");
    assert.equal(await markAt(page, cell("RX-0001", "TX-0003")), "asked");
    await isAccessible(page);
    inLab("CONT", "avoipsim");
    await untilMarked(page, cell("RX-0001", "TX-0003"), "so");
    await untilMarked(page, cell("RX-0001", "TX-0001"), "");
    await page.waitForSelector(".row.offline", { hidden: true });
    await untilShown(page, "All is well");
    await clearRoutes();
});

panelTest("rooms group the grid and choose what is in it", async () => {
    await ask("PUT", "rooms/Hall", { decoders: ["RX-0002"], encoders: ["TX-0004"] });
    const page = await openGrid();
    await untilShown(page, "In no room");
    await page.select(".toolbar select", "Hall");
    await page.waitForFunction(() => document.querySelectorAll(".row").length === 1
        && document.querySelectorAll(".column").length === 1);
    await isAccessible(page);
    await ask("DELETE", "rooms/Hall");
});
