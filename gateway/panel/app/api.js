// @ts-check
// Calls of the API. Paths are relative to the page, so that the panel works behind a proxy that
// serves it under a folder.

const BASE = "api/v1/";

/** Why a call failed, in the API's words; status 0: there was no answer at all. */
export class ApiProblem extends Error {
    /** @param {{status: number, title?: string, detail?: string, field?: string}} problem */
    constructor(problem) {
        super(problem.detail || problem.title || "");
        this.status = problem.status;
        this.field = problem.field ?? null;
    }
}

let csrfToken = "";
let unauthorised = () => {};

/** @param {string | null} token what the session says; calls that change something carry it */
export function setCsrfToken(token) {
    csrfToken = token ?? "";
}

/** @param {() => void} then called when a call finds out that nobody is logged in any more */
export function onUnauthorised(then) {
    unauthorised = then;
}

/** A path of percent-encoded parts: path`devices/${id}/edid`. */
export function path(/** @type {TemplateStringsArray} */ texts, /** @type {string[]} */ ...parts) {
    return String.raw({ raw: texts }, ...parts.map(encodeURIComponent));
}

/**
 * Calls, and gives the answer. Throws ApiProblem when there is none.
 * @param {string} method
 * @param {string} target behind /api/v1/
 * @param {RequestInit} [more]
 * @returns {Promise<Response>}
 */
export async function call(method, target, more = {}) {
    const headers = new Headers(more.headers);
    if (method !== "GET") {
        headers.set("X-CSRF-Token", csrfToken);
    }
    let answer;
    try {
        answer = await fetch(BASE + target, { ...more, method, headers, cache: "no-store" });
    } catch (error) {
        if (more.signal?.aborted) {
            throw error;
        }
        throw new ApiProblem({ status: 0 });
    }
    if (!answer.ok) {
        const problem = await answer.json().catch(() => ({}));
        if (answer.status === 401 && target !== "session") {
            unauthorised();
        }
        throw new ApiProblem({ ...problem, status: answer.status });
    }
    return answer;
}

/**
 * Sends a file, and tells how much of it is on its way. Gives the JSON of the answer.
 * @param {string} target
 * @param {Blob} file
 * @param {(part: number) => void} progress from 0 to 1
 * @param {AbortSignal} ended
 * @returns {Promise<any>}
 */
export function upload(target, file, progress, ended) {
    return new Promise((resolve, reject) => {
        // fetch tells nothing of what it sends.
        const request = new XMLHttpRequest();
        const fail = () => reject(new ApiProblem({ status: 0 }));
        request.open("POST", BASE + target);
        request.setRequestHeader("Content-Type", "application/octet-stream");
        request.setRequestHeader("X-CSRF-Token", csrfToken);
        request.responseType = "json";
        request.upload.onprogress = ({ loaded, total }) => progress(loaded / total);
        request.onerror = fail;
        request.onabort = fail;
        request.onload = () => (request.status < 300 ? resolve(request.response)
            : reject(new ApiProblem({ ...request.response, status: request.status })));
        ended.addEventListener("abort", () => request.abort());
        request.send(file);
    });
}

/**
 * A call with a JSON body, or none, whose answer is JSON, or nothing.
 * @param {string} method
 * @param {string} target
 * @param {unknown} [body]
 * @returns {Promise<any>}
 */
async function callJson(method, target, body) {
    const more = body === undefined ? {} : {
        body: JSON.stringify(body),
        headers: { "Content-Type": "application/json" },
    };
    const answer = await call(method, target, more);
    return answer.status === 204 ? null : answer.json();
}

export const api = {
    /** @param {string} target */
    get: (target) => callJson("GET", target),
    /** @param {string} target @param {unknown} body */
    put: (target, body) => callJson("PUT", target, body),
    /** @param {string} target @param {unknown} [body] */
    post: (target, body) => callJson("POST", target, body),
    /** @param {string} target @param {unknown} body */
    patch: (target, body) => callJson("PATCH", target, body),
    /** @param {string} target */
    remove: (target) => callJson("DELETE", target),
};
