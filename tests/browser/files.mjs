// What the panel's files are, without running them: texts in all languages, and small.
import assert from "node:assert/strict";
import { readFileSync, readdirSync } from "node:fs";
import { join } from "node:path";
import { test } from "node:test";
import { gzipSync } from "node:zlib";

const PANEL = new URL("../../gateway/panel/", import.meta.url).pathname;
const PACKED_MAX = 100 * 1024;

function files(folder) {
    return readdirSync(folder, { withFileTypes: true, recursive: true })
        .filter((entry) => entry.isFile() && /\.(html|svg|css|js)$/.test(entry.name))
        .map((entry) => join(entry.parentPath ?? entry.path, entry.name));
}

const texts = async (name) => (await import(`${PANEL}app/texts/${name}.js`)).default;

test("all languages have the same texts, with the same places for values", async () => {
    const [en, de] = [await texts("en"), await texts("de")];
    assert.deepEqual(Object.keys(de).sort(), Object.keys(en).sort());
    const places = (text) => [...new Set(text.match(/\{\w+\}/g))].sort();
    for (const [name, text] of Object.entries(en)) {
        assert.deepEqual(places(de[name]), places(text), name);
    }
});

test("each text that a page names is there, and each that is there is named", async () => {
    const en = await texts("en");
    const code = files(PANEL).filter((file) => file.endsWith(".js") && !file.includes("/texts/"))
        .map((file) => readFileSync(file, "utf8")).join("\n");
    for (const [, name] of code.matchAll(/\bt\("([^"]+)"/g)) {
        assert(name in en, name);
    }
    const built = [...code.matchAll(/\bt(?:Any)?\([`"]([a-z]+\.)[`"$a-z]/g)].map(([, begin]) => begin);
    for (const name of Object.keys(en)) {
        assert(code.includes(`"${name}"`) || built.some((begin) => name.startsWith(begin)), name);
    }
});

test("no line is longer than 100 columns", () => {
    for (const file of files(PANEL).filter((file) => !/vendor|texts\//.test(file))) {
        readFileSync(file, "utf8").split("\n").forEach((line, at) => {
            assert(line.length <= 100 || file.endsWith(".svg"), `${file}:${at + 1}`);
        });
    }
});

test("all files together are at most 100 KiB, packed", () => {
    const sizes = files(PANEL).map((file) => gzipSync(readFileSync(file), { level: 9 }).length);
    const whole = sizes.reduce((sum, size) => sum + size, 0);
    console.log(`${sizes.length} files, ${whole} bytes`);
    assert(whole <= PACKED_MAX, `${whole} bytes`);
});
