// The list of devices, and the page of one.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { ask, inLab, isAccessible, labFolder, openPanel, panelTest, press, setUp, until,
    untilShown } from "./bed.mjs";

setUp();

/** Opens a device's page, with what it says of itself. */
async function openDevice(id, look) {
    await until(`${id} is known`, async () => (await ask("GET", "devices")).devices.length === 6);
    const page = await openPanel(`/devices/${id}`, look);
    await untilShown(page, "Baud rate");
    await untilShown(page, "HDCP server");
    await untilShown(page, id.startsWith("RX") ? "Saturation" : "Rate control");
    return page;
}

/** Writes into a setting; gives its control. */
async function fill(page, card, label, value) {
    const input = await page.evaluateHandle((section, name) => {
        const fields = document.querySelectorAll(`section[aria-label="${section}"] .field`);
        return [...fields].find((field) => field.querySelector(".label").textContent === name)
            .querySelector("input, select");
    }, card, label);
    const isSelect = await input.evaluate((element) => element.tagName === "SELECT");
    if (isSelect) {
        await input.select(value);
    } else {
        await input.click({ count: 3 });
        await input.type(value);
    }
    return input;
}

async function save(page, card) {
    await page.click(`section[aria-label="${card}"] ::-p-text(Save)`);
}

panelTest("the list is searched, filtered and ordered", async () => {
    const page = await openPanel("/devices");
    await untilShown(page, "6 devices");
    const ids = () => page.$$eval("tbody td:nth-child(2)", (cells) =>
        cells.map((cell) => cell.textContent));
    assert.deepEqual(await ids(),
        ["RX-0001", "RX-0002", "RX-0003", "TX-0001", "TX-0002", "TX-0003"]);
    await page.click("::-p-aria([name='Encoders'][role='button'])");
    await untilShown(page, "3 devices");
    await page.type("input[type=search]", "tx-0002");
    await untilShown(page, "1 device");
    await page.type("input[type=search]", "x");
    await untilShown(page, "Nothing found");
    await isAccessible(page);
    await page.$eval("input[type=search]", (input) => { input.value = ""; });
    await press(page, "Space", "Backspace");
    await page.click("::-p-aria([name='All'][role='button'])");
    await untilShown(page, "6 devices");
    await page.click("thead ::-p-text(Address)");
    assert.deepEqual((await ids())[0], "TX-0001");
    await isAccessible(page);
    await page.click("tbody ::-p-text(TX-0001)");
    await untilShown(page, "Shown on");
});

panelTest("parameters are forms with their ranges, and what the device then says", async () => {
    const page = await openDevice("TX-0001");
    await untilShown(page, "1 to 30");
    const fps = await fill(page, "Parameters", "Frames per second", "31");
    await save(page, "Parameters");
    assert.equal(await fps.evaluate((input) => input.validity.rangeOverflow), true);
    await fill(page, "Parameters", "Frames per second", "25");
    await fill(page, "Parameters", "Video codec", "H265");
    await isAccessible(page);
    await save(page, "Parameters");
    await untilShown(page, "confirmed by the device");
    const said = await ask("GET", "devices/TX-0001/parameters");
    assert.deepEqual([said.fps, said.enctype], ["25", "H265"]);
});

panelTest("a network change that may cut the device off is warned of first", async () => {
    const page = await openDevice("RX-0002");
    await fill(page, "Network", "Address", "192.168.3.4");
    await save(page, "Network");
    await untilShown(page, "outside of the network that the device is in now");
    await untilShown(page, "The gateway 10.77.0.1 is not in the device's own network.");
    await isAccessible(page);
    await page.click("dialog ::-p-text(Cancel)");
    await page.waitForSelector("dialog", { hidden: true });
    assert.equal((await ask("GET", "devices/RX-0002/network")).devaddr, "10.77.1.5");
    await fill(page, "Network", "Address", "10.77.1.1");
    await save(page, "Network");
    await untilShown(page, "10.77.1.1 is the address of TX-0001.");
    await page.click("dialog ::-p-text(Cancel)");
    await page.waitForSelector("dialog", { hidden: true });
    await page.click("section[aria-label=Network] ::-p-text(Discard)");
    await fill(page, "Network", "HDCP server", "1");
    await save(page, "Network");
    await page.click("dialog button.primary");
    await untilShown(page, "confirmed by the device");
    assert.equal((await ask("GET", "devices/RX-0002/network")).hdcpserver, "1");
});

panelTest("the serial port is set, and sends text and bytes", async () => {
    const page = await openDevice("RX-0001");
    await fill(page, "Serial port", "Baud rate", "9600");
    await save(page, "Serial port");
    await untilShown(page, "confirmed by the device");
    await page.type(".terminal input", "PWR ON");
    await press(page, "Enter");
    await untilShown(page, "50 57 52 20 4F 4E 0D");
    await page.click("::-p-aria([name='Hex'][role='button'])");
    await page.type(".terminal input", "0A f");
    await untilShown(page, "Two hexadecimal digits for each byte.");
    await page.type(".terminal input", "f");
    await press(page, "Enter");
    await untilShown(page, "0A FF");
    await until("the device has heard both", () => {
        const heard = readFileSync(`${labFolder}/requests.log`, "utf8");
        return heard.includes("5057522") && /0aff/i.test(heard);
    });
    await isAccessible(page);
});

panelTest("an EDID is decoded, compared with another one, and given to an encoder", async () => {
    const page = await openDevice("RX-0001");
    await page.click("::-p-text(Read the screen's EDID)");
    await untilShown(page, "1920x1080 at 60.00 Hz");
    await page.select("section.edid select", "RX-0002");
    await untilShown(page, "Sim RX-0002");
    await page.waitForSelector("tr.differs");
    await page.click(".edid summary");
    await page.waitForSelector(".hex .differs");
    await isAccessible(page);
    await page.select("section.edid select:nth-of-type(2)", "TX-0003");
    await page.click("dialog button.primary");
    await untilShown(page, "The EDID was sent to TX-0003");
    const other = await openDevice("TX-0003");
    await other.select("section.edid select", "RX-0003");
    await untilShown(other, "Sim RX-0003");
    await isAccessible(other);
});

panelTest("a device is named, identified, rebooted, and reset only when its id is typed", async () => {
    const page = await openDevice("RX-0003");
    await page.click("::-p-text(Rename)");
    await page.type("dialog input", "Foyer left");
    await isAccessible(page);
    await press(page, "Enter");
    await untilShown(page, "The device has its new name.");
    await page.waitForFunction(() => document.querySelector("h1").textContent === "Foyer left");
    await page.click("::-p-text(Identify)");
    await untilShown(page, "The device was asked to show itself.");
    page.expected.push(/status of 422/);
    await page.click("::-p-text(Factory settings)");
    await page.type("dialog input", "RX-0002");
    await press(page, "Enter");
    await page.waitForSelector("dialog .problem");
    await page.click("dialog ::-p-text(Cancel)");
    await page.click("::-p-text(Reboot)");
    await untilShown(page, "It is away for a minute");
    await page.click("dialog button.danger");
    await untilShown(page, "The device was asked to reboot.");
});

panelTest("a device that is gone is shown so, and can be forgotten", async () => {
    // Not the one that was rebooted, which may still be away.
    const page = await openDevice("RX-0002");
    inLab("STOP", "avoipsim");
    await untilShown(page, "This device is offline.");
    await isAccessible(page);
    await page.click("::-p-aria([name='Forget'][role='button'])");
    await page.click("dialog button.primary");
    await untilShown(page, "5 devices");
    await page.click("::-p-aria([name='Offline'][role='button'])");
    await untilShown(page, "RX-0001");
    await isAccessible(page);
});

panelTest("a device that nobody knows says so", async () => {
    const page = await openPanel("/devices/RX-9999");
    await untilShown(page, "There is no device RX-9999");
    await isAccessible(page);
});
