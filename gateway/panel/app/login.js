// @ts-check
import { useState } from "../vendor/hooks.js";
import { Field } from "./controls.js";
import { html } from "./html.js";
import { problemText } from "./notices.js";
import { logIn } from "./session.js";
import { Preferences } from "./preferences.js";
import { t } from "./texts.js";

/** The log-in, in place of everything else. */
export function LogIn() {
    const [problem, setProblem] = useState("");
    const [busy, setBusy] = useState(false);
    const submit = async (/** @type {SubmitEvent} */ event) => {
        event.preventDefault();
        const form = new FormData(/** @type {HTMLFormElement} */ (event.target));
        setBusy(true);
        try {
            await logIn(String(form.get("user")), String(form.get("password")));
        } catch (error) {
            setProblem(problemText(error));
            setBusy(false);
        }
    };
    return html`<main class="login" id="main">
        <form class="card" onSubmit=${submit}>
            <h1><img src="panel/icon.svg" alt="" width="32" height="32" /> ${t("app.title")}</h1>
            <${Field} label=${t("login.user")}>
                <input name="user" autocomplete="username" autocapitalize="none" required
                    autofocus />
            </${Field}>
            <${Field} label=${t("login.password")}>
                <input name="password" type="password" autocomplete="current-password" required />
            </${Field}>
            ${problem && html`<p class="problem" role="alert">${problem}</p>`}
            <button class="primary" disabled=${busy}>${t("login.action")}</button>
            <${Preferences} />
        </form>
    </main>`;
}
