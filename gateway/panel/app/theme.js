// @ts-check
// Light or dark, as the system has it or as the user wants it.
import { signal } from "../vendor/signals-core.js";
import { keep, kept } from "./keep.js";

export const THEMES = /** @type {const} */ (["system", "light", "dark"]);
export const theme = signal(kept("theme") ?? "system");

theme.subscribe((name) => { document.documentElement.dataset.theme = name; });

export function setTheme(/** @type {string} */ name) {
    keep("theme", name);
    theme.value = name;
}
