// Video walls: put together with the mouse and with the keyboard, cut in millimetres, sent.
import assert from "node:assert/strict";
import { ask, isAccessible, openPanel, panelTest, picture, setUp, until, untilShown }
    from "./bed.mjs";

setUp();

const label = (text) => `::-p-xpath(//label[contains(., "${text}")]//*[self::input or self::select])`;
const chip = (id) => `.chip::-p-text(${id})`;
const place = (column, row) => `.board [data-column="${column}"][data-row="${row}"]`;

async function setNumber(page, text, value) {
    const field = await page.$(label(text));
    await field.click({ count: 3 });
    await field.type(String(value));
}

async function middleOf(page, selector) {
    const { x, y, width, height } = await (await page.$(selector)).boundingBox();
    return [x + width / 2, y + height / 2];
}

async function drag(page, from, to) {
    await page.mouse.move(...await middleOf(page, from));
    await page.mouse.down();
    await page.mouse.move(...await middleOf(page, to), { steps: 5 });
    await page.mouse.up();
}

async function textAt(page, column, row) {
    return page.$eval(place(column, row), (cell) => cell.innerText.replaceAll("\n", " "));
}

panelTest("a wall is put together with the mouse, and sent", async () => {
    const page = await openPanel("/walls");
    await untilShown(page, "No video walls yet");
    await isAccessible(page);
    await page.click("a.button::-p-text(New wall)");
    await page.type(label("Name"), "Lobby");
    await page.select(label("Source"), "TX-0001");
    await drag(page, chip("RX-0001"), place(0, 0));
    await untilShown(page, "RX-0001");
    await drag(page, chip("RX-0002"), place(1, 0));
    assert.match(await textAt(page, 1, 0), /^Column \d, row \d: RX-0002 1920, 0 1920 × 1080$/);
    // Onto another one: the two change places.
    await drag(page, place(0, 0), place(1, 0));
    assert.match(await textAt(page, 0, 0), /^Column \d, row \d: RX-0002/);
    // Beside the wall: it is out again.
    await drag(page, place(0, 0), "h1");
    await page.waitForSelector(chip("RX-0002"));
    await page.click(chip("RX-0002"));
    await page.click(place(0, 1));
    await (await page.$(chip("RX-0003"))).click({ count: 2 });
    assert.match(await textAt(page, 0, 0), /^Column \d, row \d: RX-0003/);
    await setNumber(page, "Side by side", 40);
    await setNumber(page, "Stacked", 20);
    await untilShown(page, "Cut: 40 × 20 pixels");
    await isAccessible(page);
    await picture(page, "walls");
    await page.click("button.primary::-p-text(Send)");
    await untilShown(page, "is sent");
    const wall = await ask("GET", "walls/Lobby");
    assert.deepEqual(wall.bezel, { horizontal: 40, vertical: 20 });
    assert.deepEqual(wall.tiles.map(({ decoder, computed }) => [decoder, computed.x, computed.y])
        .sort(), [["RX-0001", 1920, 0], ["RX-0002", 0, 1080], ["RX-0003", 0, 0]]);
});

panelTest("a wall is put together with the keyboard, its bezels in millimetres", async () => {
    const page = await openPanel("/walls//new");
    await page.goto(page.url().replace("//new", "/%2Fnew"));
    await page.waitForSelector(".board");
    await page.type(label("Name"), "Stage");
    await page.select(label("Source"), "TX-0002");
    await setNumber(page, "Rows", 1);
    await page.focus(chip("RX-0004"));
    await page.keyboard.press("Enter");
    await untilShown(page, "is taken up");
    await page.focus(place(0, 0));
    await page.keyboard.press("ArrowRight");
    await page.keyboard.press("Enter");
    assert.match(await textAt(page, 1, 0), /^Column \d, row \d: RX-0004/);
    await page.keyboard.press("Delete");
    assert.match(await textAt(page, 1, 0), /: free 1920, 0/);
    await page.focus(chip("RX-0004"));
    await page.keyboard.press("Space");
    await page.focus(place(1, 0));
    await page.keyboard.press("ArrowLeft");
    await page.keyboard.press("Space");
    await page.click("button::-p-text(Millimetres)");
    await setNumber(page, "Width of a screen", 960);
    await setNumber(page, "Side by side", 10);
    await untilShown(page, "Cut: 20 × 0 pixels");
    await isAccessible(page);
    await page.focus("button.primary");
    await page.keyboard.press("Enter");
    await untilShown(page, "is sent");
    const { bezel, rows, tiles } = await ask("GET", "walls/Stage");
    assert.deepEqual([bezel.horizontal, rows, tiles[0].decoder, tiles[0].column],
        [20, 1, "RX-0004", 0]);
});

panelTest("a wall is changed, and taken apart; whose screens others have is not offered", async () => {
    const page = await openPanel("/walls");
    await page.click("a::-p-text(Lobby)");
    await page.waitForSelector(`${place(0, 0)}.taken`);
    assert.equal(await page.$(chip("RX-0004")), null);
    await setNumber(page, "Columns", 1);
    await page.waitForSelector(chip("RX-0001"));
    await page.click("button.primary::-p-text(Send)");
    await until("a screen is out", async () => (await ask("GET", "walls/Lobby")).tiles.length === 2);
    await page.click("button::-p-text(Take apart)");
    await page.click("dialog button.danger");
    await untilShown(page, "New wall");
    await until("it is gone", async () => (await ask("GET", "walls")).walls.length === 1);
});
