// Whether disks and cameras are well, in words.

import { now } from './api.js';
import { byId, make } from './dom.js';
import { clockText, dayOf, dayText, lengthText, parse } from './time.js';

const FORESEEN = 5 * 366 * 86400; // seconds; what is further is not told
const SHORT = { day: 'numeric', month: 'short' };

export function bytesText(bytes) {
    const units = ['B', 'kB', 'MB', 'GB', 'TB', 'PB'];
    const power = Math.min(units.length - 1, Math.floor(Math.log10(Math.max(1, bytes)) / 3));
    const count = bytes / 1000 ** power;
    return `${count.toFixed(count < 10 && power > 0 ? 1 : 0)} ${units[power]}`;
}

/** What is left of a disk: its room and for how long that lasts, as it was filled in the last week. */
function roomText({ full, free_bytes: free, full_in_seconds: seconds }) {
    if (full) return 'full';
    const lasting = seconds == null ? '' : seconds < FORESEEN ? `, full in ${lengthText(seconds * 1000)}` : ', for years';
    return `${bytesText(free)} free${lasting}`;
}

const isLost = ({ error, missing }) => Boolean(error || missing);

function diskItem(disk) {
    const { dir, error, oldest_day: oldest, unreadable } = disk;
    const name = make('strong', { title: dir }, dir);
    if (isLost(disk)) return make('li', { className: 'bad' }, name, make('span', {}, error ?? 'it is missing'));
    const used = disk.bytes + disk.picture_bytes;
    const meter = make('meter', { min: 0, max: used + disk.free_bytes || 1, value: used });
    meter.ariaLabel = `How full ${dir} is`;
    const since = Date.parse(oldest) ? `since ${dayText(oldest, SHORT)}` : 'nothing recorded';
    return make('li', {}, name, meter,
        make('span', {}, `${bytesText(used)}, ${since}`), make('span', {}, roomText(disk)),
        ...unreadable.map(({ path, error: why }) => make('span', { className: 'bad' }, `${path}: ${why}`)));
}

function cameraItem({ camera, state, last }) {
    const time = last ? parse(last) : null;
    const stopped = state === 'stopped';
    const when = time !== null && dayOf(time) !== dayOf(now()) ? dayText(dayOf(time), SHORT) : clockText(time ?? 0);
    const text = stopped
        ? `stopped ${lengthText(now() - time)} ago`
        : state === 'recording' ? 'recording' : `up to ${when}`;
    return make('li', { className: stopped ? 'camera bad' : 'camera', title: `${camera}: the last at ${when}` },
        make('strong', {}, camera), make('span', {}, text));
}

const count = (number, one, many) => `${number} ${number === 1 ? one : many}`;

/** The panels, and in the page's head the sum of it. */
export function showHealth(disks, cameras) {
    const lost = disks.filter(isLost);
    byId('disks').replaceChildren(...[...lost, ...disks.filter((disk) => !isLost(disk))].map(diskItem));
    const unread = disks.flatMap(({ unreadable = [] }) => unreadable).length;
    const stopped = cameras.filter(({ state }) => state === 'stopped');
    const others = cameras.filter(({ state }) => state !== 'stopped');
    byId('cameras').replaceChildren(...[...stopped, ...others].map(cameraItem));
    const faults = [
        stopped.length > 0 && `${count(stopped.length, 'camera has', 'cameras have')} stopped`,
        lost.length > 0 && `${count(lost.length, 'disk', 'disks')} cannot be read`,
        unread > 0 && `${count(unread, 'folder', 'folders')} cannot be read`,
    ].filter(Boolean);
    const summary = byId('health');
    summary.textContent = faults.join(', ') || 'All is well';
    summary.classList.toggle('bad', faults.length > 0);
}
