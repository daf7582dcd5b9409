// How large the panel is: prints the rows of a table when it is run, for scripts/measure panel.
import { readFileSync, readdirSync } from "node:fs";
import { join } from "node:path";
import { gzipSync } from "node:zlib";

export const PANEL = new URL("../../gateway/panel/", import.meta.url).pathname;
export const PACKED_MAX = 100 * 1024;

/** All files that the gateway serves. */
export function files(folder = PANEL) {
    return readdirSync(folder, { withFileTypes: true, recursive: true })
        .filter((entry) => entry.isFile() && /\.(html|svg|css|js)$/.test(entry.name))
        .map((entry) => join(entry.parentPath ?? entry.path, entry.name));
}

/** The bytes of all files together, each packed as the gateway packs it. */
export function packedSize() {
    return files().map((file) => gzipSync(readFileSync(file), { level: 9 }).length)
        .reduce((sum, size) => sum + size, 0);
}

if (process.argv[1] === new URL(import.meta.url).pathname) {
    const size_kib = (packedSize() / 1024).toFixed(1);
    console.log(`| All ${files().length} files of the panel, packed | ${size_kib} KiB `
        + `| at most ${PACKED_MAX / 1024} KiB |`);
}
