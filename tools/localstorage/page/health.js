// Whether disks and cameras are well, in words.

import { now } from './api.js';
import { byId, make } from './dom.js';
import { clockText, dayOf, dayText, lengthText, parse } from './time.js';

const DAY = 86400000;
const SHORT = { day: 'numeric', month: 'short' };

export function bytesText(bytes) {
    const units = ['B', 'kB', 'MB', 'GB', 'TB', 'PB'];
    const power = Math.min(units.length - 1, Math.floor(Math.log10(Math.max(1, bytes)) / 3));
    const count = bytes / 1000 ** power;
    return `${count.toFixed(count < 10 && power > 0 ? 1 : 0)} ${units[power]}`;
}

const folderDay = (text) => (/^\d{4}-\d\d-\d\d$/.test(text ?? '') ? Date.parse(text) : null);

/** When all disks are full, or how far back they reach if they are. */
function forecastOf(disks) {
    const sum = (name) => disks.reduce((total, disk) => total + (disk[name] ?? 0), 0);
    const days = disks.flatMap((disk) => [folderDay(disk.oldest_day), folderDay(disk.newest_day)]).filter((day) => day !== null);
    if (days.length === 0) return '';
    const held = Math.max(...days) - Math.min(...days) + DAY;
    if (disks.every(({ full, error }) => full || error)) return `Full: about ${lengthText(held)} are kept.`;
    const rate = sum('bytes') / held;
    const rest = sum('free_bytes') / rate;
    return rest < 3650 * DAY ? `Full in about ${lengthText(rest)}.` : 'Full in more than ten years.';
}

function diskItem(disk) {
    if (disk.error) {
        return make('li', { className: 'bad' }, make('strong', {}, disk.dir), make('span', {}, disk.error));
    }
    const used = disk.bytes + disk.picture_bytes;
    const meter = make('meter', { min: 0, max: used + disk.free_bytes || 1, value: used });
    meter.ariaLabel = `How full ${disk.dir} is`;
    const oldest = folderDay(disk.oldest_day);
    const since = oldest === null ? 'nothing recorded' : `since ${dayText(disk.oldest_day, SHORT)}`;
    return make('li', {}, make('strong', { title: disk.dir }, disk.dir), meter,
        make('span', {}, `${bytesText(used)}, ${since} · ${disk.full ? 'full' : `${bytesText(disk.free_bytes)} free`}`));
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
    byId('disks').replaceChildren(...disks.map(diskItem));
    byId('forecast').textContent = forecastOf(disks);
    const stopped = cameras.filter(({ state }) => state === 'stopped');
    const others = cameras.filter(({ state }) => state !== 'stopped');
    byId('cameras').replaceChildren(...[...stopped, ...others].map(cameraItem));
    const failing = disks.filter(({ error }) => error).length;
    const faults = [
        stopped.length > 0 && `${count(stopped.length, 'camera has', 'cameras have')} stopped`,
        failing > 0 && `${count(failing, 'disk', 'disks')} cannot be read`,
    ].filter(Boolean);
    const summary = byId('health');
    summary.textContent = faults.join(', ') || 'All is well';
    summary.classList.toggle('bad', faults.length > 0);
}
