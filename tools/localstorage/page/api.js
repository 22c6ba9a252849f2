// What the server is asked. Addresses are relative: a proxy may pass on a path of its site.

import { make } from './dom.js';

let ahead = 0;

/** What the server's clock shows, in ms since 1970. */
export const now = () => Date.now() + ahead;

function readClock(response) {
    const difference = Date.parse(response.headers.get('Date')) - Date.now();
    // The header counts in seconds and was on its way.
    if (!Number.isNaN(difference)) ahead = Math.abs(difference) > 2000 ? difference : 0;
}

async function reasonOf(response) {
    try {
        return (await response.json()).error;
    } catch {
        return `the server answered ${response.status}`;
    }
}

export function address(path, parameters = {}) {
    const query = new URLSearchParams(parameters).toString();
    return query ? `${path}?${query}` : path;
}

/** The answer; throws an Error that says in words why there is none. */
export async function ask(path, parameters, options) {
    const response = await fetch(address(path, parameters), options);
    readClock(response);
    if (response.ok) return response;
    if (response.status === 401) location.assign('login');
    throw new Error(await reasonOf(response));
}

export const tell = async (path, parameters) => (await ask(path, parameters)).json();

/** The video of a camera from a time on, in ms; without seconds it is followed while it grows. */
export const videoOf = (camera, from, seconds) => ({
    path: camera,
    start: new Date(from).toISOString(),
    ...(seconds && { duration: seconds.toFixed(3) }),
});

/** A link, of this text, that downloads a range of a camera. */
export const downloadLink = (camera, { from, to }, text) => make('a', {
    className: 'button',
    href: address('get', { ...videoOf(camera, from, (to - from) / 1000), format: 'mp4' }),
    download: '', // the server names it
    textContent: text,
});
