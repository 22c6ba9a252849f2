// Times by the server's clock. The server gives each time with its offset; what it gave last before
// a moment holds for that moment.

const changes = []; // [ms, offset in ms], in order

const latest = (ms) => changes.findLast(([since]) => since <= ms) ?? changes[0];

const offsetAt = (ms) => latest(ms)?.[1] ?? -new Date(ms).getTimezoneOffset() * 60000;

/** What the server's clock shows then, as if it were UTC. */
const shown = (ms) => ms + offsetAt(ms);

/** Reads `2024-03-05T08:00:00.250+01:00`. */
export function parse(text) {
    const ms = Date.parse(text);
    const [, sign, hours, minutes] = text.match(/([+-])(\d\d):(\d\d)$/) ?? [0, '+', 0, 0];
    const offset = Number(`${sign}1`) * (hours * 60 + minutes * 1) * 60000;
    if (latest(ms)?.[1] !== offset || ms < changes[0][0]) {
        changes.push([ms, offset]);
        changes.sort((a, b) => a[0] - b[0]);
    }
    return ms;
}

export const clockText = (ms, digits = 0) =>
    new Date(shown(ms)).toISOString().slice(11, digits ? 20 + digits : 19);

export const shortText = (ms) => new Date(shown(ms)).toISOString().slice(11, 16);

/** The day of a moment: `2024-03-05`. */
export const dayOf = (ms) => new Date(shown(ms)).toISOString().slice(0, 10);

export const nextDay = (day, days = 1) =>
    new Date(Date.parse(day) + days * 86400000).toISOString().slice(0, 10);

/** When a day begins. */
export function midnight(day) {
    const utc = Date.parse(day);
    return utc - offsetAt(utc - offsetAt(utc));
}

/** The first moment from `ms` on that is a multiple of `step` on the clock. */
export const nextMultiple = (ms, step) => ms + ((step - (shown(ms) % step)) % step);

export const dayText = (day, form = { weekday: 'long', day: 'numeric', month: 'long', year: 'numeric' }) =>
    new Date(day).toLocaleDateString('en-GB', { ...form, timeZone: 'UTC' });

/** `1 h 5 min`, `2 min 3 s`, `12 days`. */
export function lengthText(ms) {
    const units = [['days', 86400], ['h', 3600], ['min', 60], ['s', 1]];
    let seconds = Math.round(ms / 1000);
    const first = units.findIndex(([, length]) => seconds >= length);
    if (first < 0) return '0 s';
    return units
        .slice(first, first + (first === 0 ? 1 : 2))
        .map(([name, length]) => {
            const count = Math.floor(seconds / length);
            seconds %= length;
            return count && `${count} ${count === 1 && name === 'days' ? 'day' : name}`;
        })
        .filter(Boolean)
        .join(' ');
}
