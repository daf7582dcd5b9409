// @ts-check
import { html } from "./html.js";
import { LANGUAGES, language, setLanguage, t, tAny } from "./texts.js";
import { setTheme, theme, THEMES } from "./theme.js";

/** Language, and light or dark. */
export function Preferences() {
    return html`<div class="preferences">
        <select aria-label=${t("language")} value=${language.value}
            onChange=${(/** @type {any} */ event) => setLanguage(event.target.value)}>
            ${Object.entries(LANGUAGES).map(([name, text]) => html`
                <option key=${name} value=${name} lang=${name}>${text}</option>`)}
        </select>
        <select aria-label=${t("theme")} value=${theme.value}
            onChange=${(/** @type {any} */ event) => setTheme(event.target.value)}>
            ${THEMES.map((name) => html`
                <option key=${name} value=${name}>${tAny("theme." + name)}</option>`)}
        </select>
    </div>`;
}
