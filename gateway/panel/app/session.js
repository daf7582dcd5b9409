// @ts-check
// Who uses the panel, and what they may do.
import { computed, signal } from "../vendor/signals-core.js";
import { api, ApiProblem, onUnauthorised, setCsrfToken } from "./api.js";
import { start, stop } from "./store.js";

/** @typedef {{user: string | null, role: import("./types.js").Role, local: boolean}} Session */

/**
 * The user; null when somebody has to log in; undefined until that is known. Where reading needs no
 * log-in, a viewer without a name.
 * @type {import("../vendor/signals-core.js").Signal<Session | null | undefined>}
 */
export const session = signal(undefined);

export const mayOperate = computed(() => !!session.value && session.value.role !== "viewer");
export const mayAdminister = computed(() => session.value?.role === "admin");

onUnauthorised(() => session.value && begin(null));

function begin(/** @type {Session | null} */ found) {
    session.value = found;
    if (found) {
        start();
    } else {
        stop();
    }
}

function beginWith(/** @type {any} */ answer) {
    setCsrfToken(answer.csrf_token);
    begin({ user: answer.user, role: answer.role, local: answer.csrf_token === null });
}

/** What may be done without a log-in: everything, before there is any user; to read; nothing. */
async function sessionWithoutLogIn() {
    const may = (/** @type {string} */ target) => api.get(target).then(() => true, () => false);
    return await may("users") ? { user: "local", role: /** @type {const} */ ("admin"), local: true }
        : await may("system") ? { user: null, role: /** @type {const} */ ("viewer"), local: false }
            : null;
}

/** Finds out who uses the panel; tries on until the gateway answers. */
export async function findSession() {
    try {
        beginWith(await api.get("session"));
    } catch (error) {
        if (!(error instanceof ApiProblem) || error.status !== 401) {
            setTimeout(findSession, 1000);
            return;
        }
        begin(await sessionWithoutLogIn());
    }
}

/** Logs in; throws ApiProblem when that fails. */
export async function logIn(/** @type {string} */ user, /** @type {string} */ password) {
    beginWith(await api.post("session", { user, password }));
}

/** Shows the log-in to somebody who reads without one. */
export function askLogIn() {
    begin(null);
}

export async function logOut() {
    await api.remove("session").catch(() => null);
    await findSession();
}
