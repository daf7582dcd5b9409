// @ts-check
// What a browser keeps for its user over a reload. A browser that keeps nothing is no error.

export function kept(/** @type {string} */ name) {
    try {
        return localStorage.getItem("avoip." + name);
    } catch {
        return null;
    }
}

export function keep(/** @type {string} */ name, /** @type {string} */ value) {
    try {
        localStorage.setItem("avoip." + name, value);
    } catch {
        // Then it holds until the page is left.
    }
}
