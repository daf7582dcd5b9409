// Measures the grid of a large fleet, and prints the rows of a table. scripts/measure panel runs it.
import { loadavg } from "node:os";
import { ask, openPanel, panelTest, processorTime_ms, setUp, until } from "./bed.mjs";

const SIZE = 256;
const SCROLL_MS = 4000;

setUp();

const print = (what, value, goal = "") => console.log(`| ${what} | ${value} | ${goal} |`);
const rounded = (value) => Math.round(value * 10) / 10;

/** Scrolls the grid to and fro for a while; gives how long each frame took. */
function scroll(page, down, right) {
    return page.evaluate(async (duration_ms, vertical, horizontal) => {
        const grid = document.querySelector(".grid");
        const times = [];
        const began = performance.now();
        for (let last = began; last - began < duration_ms;) {
            const now = await new Promise(requestAnimationFrame);
            times.push(now - last);
            last = now;
            const phase = (now - began) / duration_ms * 4 % 2;
            const way = phase < 1 ? phase : 2 - phase;
            grid.scrollTop = vertical * way * (grid.scrollHeight - grid.clientHeight);
            grid.scrollLeft = horizontal * way * (grid.scrollWidth - grid.clientWidth);
        }
        return times.slice(1).sort((a, b) => a - b);
    }, SCROLL_MS, down, right);
}

async function report(what, page, down, right) {
    const before_ms = processorTime_ms("chromium");
    const times = await scroll(page, down, right);
    const spent_ms = processorTime_ms("chromium") - before_ms;
    const mean_ms = times.reduce((sum, time) => sum + time, 0) / times.length;
    const late = times.filter((time) => time > 1000 / 60 * 1.5).length;
    print(`${what}: frames a second`, rounded(1000 / mean_ms), "60");
    print(`${what}: frames that came late, of ${times.length}`, late);
    print(`${what}: longest frame but one in a hundred`,
        `${rounded(times[Math.floor(times.length * 0.99) - 1])} ms`);
    print(`${what}: processor time for a frame, all of the browser`,
        `${rounded(spent_ms / times.length)} ms`, "at most 33.3 ms, of two cores");
}

panelTest("measure", async () => {
    print("Load of the machine before, in processes that want to run", rounded(loadavg()[0]), "0");
    await until("the whole fleet is known", async () => {
        const { devices } = await ask("GET", "system");
        return devices.encoders === SIZE && devices.decoders === SIZE;
    });
    const routed = Array.from({ length: SIZE }, (_, at) => String(at + 1).padStart(4, "0"))
        .map((number) => [`RX-${number}`, `TX-${number}`]);
    await ask("POST", "routes", { video: Object.fromEntries(routed) });
    const began = Date.now();
    const page = await openPanel("/grid", { width: 1920, height: 1080 });
    await page.waitForSelector(`.row[data-decoder="RX-0256"]`);
    print("From nothing to the grid of 256 x 256", `${Date.now() - began} ms`);
    print("Elements of the page", await page.evaluate(() => document.querySelectorAll("*").length));
    await page.waitForFunction(() => document.querySelectorAll(".mark.so").length === 256);
    await report("Scrolled down and up", page, 1, 0);
    await report("Scrolled across", page, 0, 1);
    await report("Scrolled both ways", page, 1, 1);
    await page.setViewport({ width: 3840, height: 2160 });
    await report("Scrolled both ways at 3840 x 2160", page, 1, 1);
    await page.setViewport({ width: 1920, height: 1080 });

    const waits = [];
    for (let round = 0; round < 20; ++round) {
        const encoder = `TX-${String(round + 101).padStart(4, "0")}`;
        const clicked = page.waitForFunction((text) => document.querySelector(
            `.row[data-decoder="RX-0001"] .source`).textContent.includes(text),
        { polling: "mutation" }, encoder);
        const start = Date.now();
        await ask("PUT", "routes/video/RX-0001", { encoder });
        await clicked;
        waits.push(Date.now() - start);
    }
    waits.sort((a, b) => a - b);
    print("A route asked for elsewhere, until the grid shows it, p50", `${waits[9]} ms`);
    print("The same, longest of 20", `${waits[19]} ms`, "1 s after the gateway knows");
});
