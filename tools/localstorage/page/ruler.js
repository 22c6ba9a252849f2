// The hours, minutes or seconds above the bars.

import { make } from './dom.js';
import { clockText, nextMultiple, shortText } from './time.js';

const MINUTE = 60000;
const HOUR = 60 * MINUTE;
const STEPS = [1000, 5000, 10000, 30000, MINUTE, 2 * MINUTE, 5 * MINUTE, 10 * MINUTE, 15 * MINUTE, 30 * MINUTE,
    HOUR, 2 * HOUR, 3 * HOUR, 6 * HOUR, 12 * HOUR];
const room = (step) => (step < MINUTE ? 84 : 58); // px for a label

/** Makes the marks anew for what the view shows. */
export function drawRuler(element, view) {
    const pixel = view.length / Math.max(1, element.clientWidth);
    const step = STEPS.find((length) => length >= room(length) * pixel) ?? STEPS.at(-1);
    const textOf = step < MINUTE ? clockText : shortText;
    const marks = [];
    for (let time = nextMultiple(view.from, step); time <= view.to; time += step) {
        const mark = make('span', {}, time === view.end ? '24:00' : textOf(time));
        mark.style.left = `${view.placeOf(time) * 100}%`;
        marks.push(mark);
    }
    element.replaceChildren(...marks);
}
