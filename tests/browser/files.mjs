// What the panel's files are, without running them: texts in all languages, and small.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { test } from "node:test";
import { files, PACKED_MAX, packedSize, PANEL } from "./size.mjs";

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
    const code = files().filter((file) => file.endsWith(".js") && !file.includes("/texts/"))
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
    for (const file of files().filter((file) => !/vendor|texts\//.test(file))) {
        readFileSync(file, "utf8").split("\n").forEach((line, at) => {
            assert(line.length <= 100 || file.endsWith(".svg"), `${file}:${at + 1}`);
        });
    }
});

test("all files together are at most 100 KiB, packed", () => {
    assert(packedSize() <= PACKED_MAX, `${packedSize()} bytes`);
});
