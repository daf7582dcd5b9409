// @ts-check
import { api, path } from "../../app/api.js";
import { attempt } from "../../app/notices.js";
import { deviceName, locks } from "../../app/store.js";
import { t } from "../../app/texts.js";

/** Locks a decoder for the user, or releases it. */
export function toggleLock(/** @type {string} */ decoder) {
    const way = path`locks/${decoder}`;
    const name = { decoder: deviceName(decoder) };
    return locks.value.has(decoder)
        ? attempt(() => api.remove(way), t("locks.released", name))
        : attempt(() => api.put(way, {}), t("locks.set", name));
}
