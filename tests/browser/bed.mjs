// What the tests of the panel share: a browser, and the real gateway with the daemon and simulated
// devices around it. A test is a program that scripts/lab runs in namespaces of its own.
//
// Whatever a page says on its console as an error, or throws, fails the test that it happens in.
// When a test fails, a picture of each open page stands in the folder $AVOIP_PICTURES.
import assert from "node:assert/strict";
import { execFile, spawn } from "node:child_process";
import { mkdirSync, mkdtempSync, readdirSync, readFileSync, readlinkSync, rmSync,
    writeFileSync } from "node:fs";
import { createRequire } from "node:module";
import { join } from "node:path";
import { after, before, test } from "node:test";
import { promisify } from "node:util";
import puppeteer from "puppeteer-core";

const LAB = process.env.AVOIP_LAB;
assert(LAB, "run this by scripts/lab: scripts/lab --encoders 4 -- node tests/browser/FILE");
const PICTURES = process.env.AVOIP_PICTURES ?? join(LAB, "pictures");
const PORT = 8088;
// A loaded machine may need that long; nothing waits for it in vain.
export const PATIENCE_MS = 60_000;

export const address = `http://127.0.0.1:${PORT}/`;
export const labFolder = LAB;
const run = promisify(execFile);

// Where the programs are built with sanitizers: leaks cannot be looked for, since the lab's /proc is
// that of other processes.
process.env.ASAN_OPTIONS ??= "detect_leaks=0";

/** Runs avoipctl, and gives what it prints. */
export async function avoipctl(...words) {
    return (await run("avoipctl", words)).stdout;
}

const ofProcess = (number, file) => readFileSync(`/proc/${number}/${file}`, "utf8");

/** The processes of a program in this lab, by the numbers that they have outside. */
function processesOf(program) {
    const isMeant = (number) => {
        try {
            return ofProcess(number, "comm") === program + "\n"
                && readlinkSync(`/proc/${number}/ns/pid`) === readlinkSync("/proc/self/ns/pid");
        } catch {
            return false;
        }
    };
    return readdirSync("/proc").filter((number) => /^\d/.test(number) && isMeant(number));
}

// The lab waits for its programs to end, which a stopped one does not.
const stopped = new Set();

/** Sends a signal to a program of this lab, which has process numbers of its own. */
export function inLab(signal, program) {
    stopped[signal === "STOP" ? "add" : "delete"](program);
    const found = processesOf(program);
    assert.equal(found.length, 1, `${program}: ${found.length} of them`);
    const [, number] = ofProcess(found[0], "status").match(/^NSpid:.*\t(\d+)$/m);
    process.kill(Number(number), `SIG${signal}`);
}

/** How much processor time all processes of a program have taken in this lab. */
export function processorTime_ms(program) {
    const TICK_MS = 10;
    return processesOf(program).map((number) => ofProcess(number, "stat").split(") ")[1].split(" "))
        .reduce((sum, fields) => sum + (Number(fields[11]) + Number(fields[12])) * TICK_MS, 0);
}

/** Presses keys, one after the other; "Control+End" holds the first meanwhile. */
export async function press(page, ...keys) {
    for (const [key, ...held] of keys.map((name) => name.split("+").reverse())) {
        await Promise.all(held.map((each) => page.keyboard.down(each)));
        await page.keyboard.press(key);
        await Promise.all(held.map((each) => page.keyboard.up(each)));
    }
}

/** Waits until something is so; gives what it is then. */
export async function until(what, look, patience_ms = PATIENCE_MS) {
    const end = Date.now() + patience_ms;
    for (;;) {
        const seen = await look();
        if (seen) {
            return seen;
        }
        assert(Date.now() < end, `waited in vain until ${what}`);
        await new Promise((then) => setTimeout(then, 20));
    }
}

const data = mkdtempSync(join(LAB, "data"));
const CONFIGURATION = join(data, "gateway.toml");
writeFileSync(CONFIGURATION, `data = "${data}/kept"
[http]
listen = ["127.0.0.1:${PORT}"]
[poll]
devices_s = 1
routes_s = 1
offline_after = 2
`);

let gateway = null;

/** Starts the gateway, and waits until it serves. */
export async function startGateway() {
    gateway = spawn("avoipgw", ["--config", CONFIGURATION], { stdio: ["ignore", "inherit", "pipe"] });
    let printed = "";
    gateway.stderr.on("data", (part) => { printed += part; });
    await until("the gateway serves", () => {
        assert.equal(gateway.exitCode, null, printed);
        return printed.includes("avoipgw: serving");
    });
}

/** Ends the gateway. */
export async function stopGateway() {
    const ended = new Promise((then) => gateway.once("exit", then));
    gateway.kill("SIGTERM");
    await ended;
    gateway = null;
}

/** Makes a user, who can log in from then on. */
export async function addUser(name, role, password) {
    const command = ["--config", CONFIGURATION, "user", "add", name, "--role", role,
        "--password-stdin"];
    const child = run("avoipgw", command);
    child.child.stdin.end(password + "\n");
    await child;
}

/** Calls the API as whoever needs no log-in here; gives the JSON of the answer. */
export async function ask(method, path, body) {
    const answer = await fetch(address + "api/v1/" + path, {
        method,
        body: body === undefined ? undefined : JSON.stringify(body),
        headers: body === undefined ? {} : { "Content-Type": "application/json" },
    });
    assert(answer.ok, `${method} ${path}: ${answer.status}`);
    return answer.status === 204 ? null : answer.json();
}

let browser = null;
const complaints = [];

async function startBrowser() {
    // An address that the lab's interface comes by later would make the browser drop its requests.
    await until("every address is tried", async () =>
        (await run("ip", ["-6", "address", "show", "tentative"])).stdout === "");
    browser = await puppeteer.launch({
        executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium",
        headless: true,
        userDataDir: mkdtempSync(join(LAB, "browser")),
        protocolTimeout: 3 * PATIENCE_MS,
        args: ["--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
            "--disable-background-networking", "--disable-component-update", "--disable-sync",
            "--disable-dev-shm-usage", "--force-color-profile=srgb", "--lang=en-US",
            "--hide-scrollbars", "--font-render-hinting=none"],
    });
}

/**
 * Opens the panel in a tab of its own, as a browser without any cookies.
 * @param hash what stands behind the "#"
 * @param look width, height, dark, touch, language
 */
export async function openPanel(hash = "/grid", look = {}) {
    const { width = 1280, height = 800, dark = false, touch = false, language = "en" } = look;
    const context = await browser.createBrowserContext();
    const page = await context.newPage();
    page.setDefaultTimeout(PATIENCE_MS);
    // What a person would wait for may not be there yet.
    for (const act of ["click", "type", "focus", "select", "hover"]) {
        const atOnce = page[act].bind(page);
        page[act] = async (selector, ...rest) => {
            await page.waitForSelector(selector);
            return atOnce(selector, ...rest);
        };
    }
    // That nobody is logged in yet is found out by asking.
    page.expected = [/status of 401 .*api\/v1\/(session|users|system)/];
    const complain = (text) => {
        if (!page.expected.some((pattern) => pattern.test(text))) {
            complaints.push(text);
        }
    };
    page.on("pageerror", (error) => complain(`thrown: ${error.stack ?? error}`));
    page.on("console", (message) => message.type() === "error"
        && complain(`console: ${message.text()} ${message.location().url ?? ""}`));
    await page.setViewport({ width, height, hasTouch: touch, isMobile: touch });
    await page.emulateMediaFeatures([
        { name: "prefers-color-scheme", value: dark ? "dark" : "light" },
        { name: "prefers-reduced-motion", value: "reduce" }]);
    await page.evaluateOnNewDocument((name) => {
        localStorage.getItem("avoip.language") ?? localStorage.setItem("avoip.language", name);
    }, language);
    await page.goto(`${address}#${hash}`);
    return page;
}

/** Waits until the page shows a text somewhere. */
export async function untilShown(page, text) {
    await page.waitForFunction((wanted) => document.body.innerText.includes(wanted),
        { polling: 50 }, text).catch(async (error) => {
        const shown = await page.evaluate(() => document.body.innerText);
        throw new Error(`"${text}" is not shown; this is:\n${shown}`, { cause: error });
    });
}

const AXE = readFileSync(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");

/** Fails when axe finds something serious on the page. */
export async function isAccessible(page) {
    await page.evaluate(AXE);
    const found = await page.evaluate(async () => {
        const { violations } = await globalThis.axe.run(document, { resultTypes: ["violations"] });
        return violations.filter(({ impact }) => impact === "serious" || impact === "critical")
            .map(({ id, help, nodes }) => ({ id, help,
                nodes: nodes.slice(0, 5).map(({ html, failureSummary }) => [html, failureSummary]) }));
    });
    assert.deepEqual(found, [], `axe on ${page.url()}`);
}

/** A picture of the page. */
export async function picture(page, name, folder = PICTURES) {
    mkdirSync(folder, { recursive: true });
    await page.screenshot({ path: join(folder, `${name}.png`), optimizeForSpeed: false });
}

/** A test with the gateway and the browser of this file, of which no page may complain. */
export function panelTest(name, body) {
    test(name, async () => {
        try {
            await body();
            assert.deepEqual(complaints, [], "the pages complained");
        } catch (error) {
            const pages = browser === null ? [] : await browser.pages();
            for (const [at, page] of pages.entries()) {
                await picture(page, `${name}-${at}`).catch(() => null);
            }
            throw error;
        } finally {
            complaints.length = 0;
            for (const context of browser?.browserContexts() ?? []) {
                if (context.id !== undefined) {
                    await context.close();
                }
            }
        }
    });
}

/** Begins a file of tests: with the gateway serving, unless `served` is false. */
export function setUp(served = true) {
    before(async () => {
        if (served) {
            await startGateway();
        }
        await startBrowser();
    });
    after(async () => {
        [...stopped].forEach((program) => inLab("CONT", program));
        await browser?.close();
        if (gateway !== null) {
            await stopGateway();
        }
        rmSync(data, { recursive: true, force: true });
    });
}
