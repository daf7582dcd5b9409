// @ts-check
// Who uses the panel, and what they may do.
import { computed, signal } from "../vendor/signals-core.js";
import { api, ApiProblem, onUnauthorised, setCsrfToken } from "./api.js";
import { say } from "./notices.js";
import { forgetParameter, place } from "./router.js";
import { start, stop } from "./store.js";
import { t } from "./texts.js";

/**
 * @typedef {object} Session
 * @property {string | null} user
 * @property {import("./types.js").Role} role
 * @property {boolean} local whether there is no user yet, and everything is allowed
 * @property {string[]} [rooms] the rooms that a token is limited to; without: no limit
 */

/**
 * The user; null when somebody has to log in; undefined until that is known. Where reading needs no
 * log-in, a viewer without a name.
 * @type {import("../vendor/signals-core.js").Signal<Session | null | undefined>}
 */
export const session = signal(undefined);

export const mayOperate = computed(() => !!session.value && session.value.role !== "viewer");
export const mayAdminister = computed(() => session.value?.role === "admin");
/** Whether it is for some rooms only. */
export const isLimited = computed(() => !!session.value?.rooms);

onUnauthorised(() => session.value && begin(null));

function begin(/** @type {Session | null} */ found) {
    session.value = found;
    if (found) {
        start(!!found.rooms);
    } else {
        stop();
    }
}

function beginWith(/** @type {any} */ answer) {
    setCsrfToken(answer.csrf_token);
    const { user, role, rooms } = answer;
    begin({ user, role, rooms, local: answer.csrf_token === null });
}

/** What may be done without a log-in: everything, before there is any user; to read; nothing. */
async function sessionWithoutLogIn() {
    const may = (/** @type {string} */ target) => api.get(target).then(() => true, () => false);
    return await may("users") ? { user: "local", role: /** @type {const} */ ("admin"), local: true }
        : await may("system") ? { user: null, role: /** @type {const} */ ("viewer"), local: false }
            : null;
}

/**
 * The session of a link that carries a token, which is taken out of the address: the cookie has its
 * place. Who is logged in by a password stays that.
 * @param {string} token
 */
async function sessionOf(token) {
    forgetParameter("token");
    const own = await api.get("session").catch(() => null);
    return own && !own.rooms ? own : api.post("session", { token });
}

/** Finds out who uses the panel; tries on until the gateway answers. */
export async function findSession() {
    const token = place.value.query.get("token");
    try {
        beginWith(await (token ? sessionOf(token) : api.get("session")));
    } catch (error) {
        if (token) {
            say(t("login.token"), "bad");
        }
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
