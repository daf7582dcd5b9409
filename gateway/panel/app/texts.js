// @ts-check
// What the panel says, in the language of whoever reads it: one table for each language, with the
// same names in each.
import { signal } from "../vendor/signals-core.js";
import { keep, kept } from "./keep.js";
import de from "./texts/de.js";
import en from "./texts/en.js";

/** @typedef {keyof typeof en} TextName */

/** @type {Record<string, Record<TextName, string>>} */
const TABLES = { en, de };
export const LANGUAGES = { en: "English", de: "Deutsch" };

const wished = kept("language") ?? navigator.language.slice(0, 2);
export const language = signal(wished in TABLES ? wished : "en");
language.subscribe((name) => { document.documentElement.lang = name; });

export function setLanguage(/** @type {string} */ name) {
    keep("language", name);
    language.value = name;
}

/**
 * The text of a name, with values for what stands in braces: t("devices.shown", { count: 3 }).
 * A text "one screen | {count} screens" is the first where `count` is 1, else the second.
 * @param {TextName} name
 * @param {Record<string, string | number>} [values]
 */
export function t(name, values = {}) {
    const forms = TABLES[language.value][name].split(" | ");
    const text = forms[forms.length > 1 && values.count !== 1 ? 1 : 0];
    return text.replace(/\{(\w+)\}/g, (whole, key) => String(values[key] ?? whole));
}

/** A text whose name is put together; the name itself where there is none. */
export function tAny(/** @type {string} */ name) {
    return name in en ? t(/** @type {TextName} */ (name)) : name;
}

const STEPS = /** @type {const} */ ([["day", 86400], ["hour", 3600], ["minute", 60]]);

/** How long ago a moment is, in words: "3 minutes ago". */
export function ago(/** @type {string} */ time, now_ms = Date.now()) {
    const words = new Intl.RelativeTimeFormat(language.value, { numeric: "auto", style: "short" });
    const age_s = Math.max(0, (now_ms - Date.parse(time)) / 1000);
    const step = STEPS.find(([, length_s]) => age_s >= length_s);
    return step ? words.format(-Math.floor(age_s / step[1]), step[0])
        : words.format(-Math.floor(age_s), "second");
}

/** A moment as date and time of this place. */
export function moment(/** @type {string} */ time) {
    const style = /** @type {const} */ ({ dateStyle: "medium", timeStyle: "medium" });
    return new Date(time).toLocaleString(language.value, style);
}
