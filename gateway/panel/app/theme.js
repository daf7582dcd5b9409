// @ts-check
// Light or dark, as the system has it or as the user wants it.
import { effect, signal } from "../vendor/signals-core.js";
import { keep, kept } from "./keep.js";

export const THEMES = /** @type {const} */ (["system", "light", "dark"]);
export const theme = signal(kept("theme") ?? "system");

const system = matchMedia("(prefers-color-scheme: dark)");
const systemIsDark = signal(system.matches);
system.addEventListener("change", () => { systemIsDark.value = system.matches; });

effect(() => {
    const isDark = theme.value === "system" ? systemIsDark.value : theme.value === "dark";
    document.documentElement.dataset.theme = isDark ? "dark" : "light";
});

export function setTheme(/** @type {string} */ name) {
    keep("theme", name);
    theme.value = name;
}
