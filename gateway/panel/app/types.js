// @ts-check
// What the API gives, as types.

/**
 * @typedef {"video" | "serial" | "ir"} Kind
 * @typedef {"viewer" | "operator" | "admin"} Role
 *
 * @typedef {object} Device
 * @property {string} id
 * @property {"encoder" | "decoder" | "unknown"} type
 * @property {string} alias
 * @property {string} address
 * @property {string} netmask
 * @property {string} gateway
 * @property {string} mac
 * @property {string} status
 * @property {string} version
 * @property {boolean} online
 * @property {string} last_seen
 * @property {boolean} duplicate
 *
 * @typedef {{encoder: string | null, seen_at: string | null}} RouteState
 * @typedef {Partial<Record<Kind, Record<string, string | null>>>} RouteTable
 * @typedef {{name: string, note: string | null, routes: RouteTable, updated_at: string}} Preset
 * @typedef {{decoder: string, owner: string, note: string | null, since: string}} Lock
 * @typedef {{name: string, decoders: string[], encoders: string[]}} Room
 *
 * @typedef {{decoder: string, column: number, row: number}} Tile
 * @typedef {object} Wall
 * @property {string} name
 * @property {string} encoder
 * @property {number} columns
 * @property {number} rows
 * @property {number} width
 * @property {number} height
 * @property {{horizontal: number, vertical: number}} bezel
 * @property {Tile[]} tiles
 *
 * @typedef {object} JobDevice
 * @property {string} id
 * @property {"queued" | "uploading" | "restarting" | "confirmed" | "failed"} state
 * @property {string | null} version_before
 * @property {string | null} version_after
 * @property {string | null} problem
 * @typedef {object} Job
 * @property {string} id
 * @property {string} image
 * @property {"queued" | "running" | "done" | "failed" | "cancelled"} state
 * @property {string | null} problem
 * @property {JobDevice[]} devices
 *
 * @typedef {object} Daemon
 * @property {"ok" | "absent" | "stopped" | "useless"} state
 * @property {string | null} reason
 * @property {string} since
 * @typedef {object} System
 * @property {string} version
 * @property {string} site
 * @property {string} epoch
 * @property {number} revision
 * @property {string} started_at
 * @property {Daemon} daemon
 * @property {{encoders: number, decoders: number, offline: number}} devices
 * @property {{state: "off" | "connected" | "connecting", broker: string | null}} mqtt
 *
 * @typedef {object} RouteResult
 * @property {Kind} kind
 * @property {string} decoder
 * @property {string | null} encoder
 * @property {boolean} ok
 * @property {boolean} confirmed
 * @property {string | null} problem
 */

export {};
