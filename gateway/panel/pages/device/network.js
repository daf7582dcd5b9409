// @ts-check
// The network settings, with a warning before one cuts the branch that one sits on.
import { ask } from "../../app/controls.js";
import { html } from "../../app/html.js";
import { devices } from "../../app/store.js";
import { t } from "../../app/texts.js";
import { Settings } from "./settings.js";

/** @import { Device } from "../../app/types.js" */

/** An IPv4 address as a number; NaN for what is none. */
export function numberOf(/** @type {string} */ address) {
    const parts = address.split(".").map(Number);
    const isAddress = parts.length === 4
        && parts.every((part) => Number.isInteger(part) && part >= 0 && part <= 255);
    return isAddress ? parts.reduce((sum, part) => sum * 256 + part, 0) : NaN;
}

const inNet = (/** @type {string} */ address, /** @type {string} */ other,
    /** @type {string} */ mask) =>
    ((numberOf(address) ^ numberOf(other)) & numberOf(mask)) === 0;

/** What is dangerous about changes of the network settings of a device. */
export function dangersOf(/** @type {Device} */ device,
    /** @type {Record<string, string>} */ changes) {
    const address = changes.devaddr ?? device.address;
    const mask = changes.devnetmask ?? device.netmask;
    const gateway = changes.devgateway ?? device.gateway;
    const other = [...devices.value.values()].find((each) =>
        each.id !== device.id && each.address === address);
    return [
        ...other ? [t("network.taken", { address, other: other.alias || other.id })] : [],
        ...inNet(address, device.address, device.netmask) ? []
            : [t("network.outside", { address })],
        ...inNet(gateway, address, mask) ? [] : [t("network.gateway", { gateway })],
    ];
}

export function Network(/** @type {{device: Device}} */ { device }) {
    const check = (/** @type {Record<string, string>} */ changes,
        /** @type {() => Promise<any>} */ send) => {
        const dangers = dangersOf(device, changes);
        ask({
            title: t("network.title"),
            text: [...dangers, t("network.text")].join(" "),
            action: t(dangers.length > 0 ? "network.all_the_same" : "save"),
            kind: dangers.length > 0 ? "danger" : "primary",
            // The dialog does not wait for a device that may be gone.
            onDo: async () => { send(); },
        });
    };
    return html`<${Settings} device=${device} what="network" title=${t("device.network")}
        check=${check} />`;
}
