// @ts-check
// The pages that there are. Each has a file in pages/, a text "page.NAME" for its title, and here
// its line: who sees it, and what draws it. What stands behind the name in the address is handed to
// it as `parts`, the parameters as `query`.
import { DevicePage } from "../pages/device.js";
import { DevicesPage } from "../pages/devices.js";
import { GridPage } from "../pages/grid.js";
import { AccountsPage } from "../pages/accounts.js";
import { FirmwarePage } from "../pages/firmware.js";
import { LogPage } from "../pages/log.js";
import { RoomPage } from "../pages/room.js";
import { RoomsPage } from "../pages/rooms.js";
import { WallsPage } from "../pages/walls.js";
import { isLimited, mayAdminister } from "./session.js";

/**
 * @typedef {object} Page
 * @property {string} name
 * @property {(place: {parts: string[], query: URLSearchParams}) => any} draw
 * @property {boolean} [admin] whether it is for admins alone
 * @property {boolean} [plain] whether it stands without header and navigation
 * @property {boolean} [limited] whether it is for those who are limited to rooms, too
 */

/** @type {Page[]} */
const PAGES = [
    { name: "grid", draw: GridPage },
    {
        name: "devices",
        draw: ({ parts, query }) => (parts[0] ? DevicePage({ id: parts[0] })
            : DevicesPage({ query })),
    },
    { name: "rooms", draw: RoomsPage, limited: true },
    { name: "room", draw: ({ parts }) => RoomPage({ name: parts[0] ?? "" }), plain: true,
        limited: true },
    { name: "walls", draw: ({ parts }) => WallsPage({ name: parts[0] }) },
    { name: "firmware", draw: ({ parts }) => FirmwarePage({ id: parts[0] }) },
    { name: "log", draw: LogPage },
    { name: "accounts", draw: AccountsPage, admin: true },
];

/** The pages for whoever uses the panel. */
export function pages() {
    return PAGES.filter((page) => (!page.admin || mayAdminister.value)
        && (page.limited || !isLimited.value));
}

/** The page of a name; undefined when there is none for this user. */
export function findPage(/** @type {string} */ name) {
    return pages().find((page) => page.name === name);
}
