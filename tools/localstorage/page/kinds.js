// How the kinds of recordings look: a colour of the style sheet's, and a pattern for those who cannot
// tell colours apart.

import { make } from './dom.js';

const TILE = 8;

// Lines on a tile: from x, y to x, y.
const PLAIN = [];
const RISING = [[-8, 8, 0, 0], [0, 8, 8, 0], [8, 8, 16, 0]];
const FALLING = [[-8, 0, 0, 8], [0, 0, 8, 8], [8, 0, 16, 8]];
const UPRIGHT = [[4, 0, 4, 8]];
const LEVEL = [[0, 4, 8, 4]];
const DOTS = [[3, 4, 5, 4]];
const PATTERNS = [PLAIN, PLAIN, RISING, DOTS, FALLING, UPRIGHT, LEVEL, RISING, DOTS];

const kindOf = (type) => Math.min(type ?? 0, PATTERNS.length - 1);
const styleOf = (name) => getComputedStyle(document.documentElement).getPropertyValue(name);

/** The desktop client's recordings know no kind. */
export const kindName = (type) => (type ? `type ${type}` : 'recorded');

/** What a canvas is filled with for recordings of a type. */
export function fillOf(type) {
    const tile = make('canvas', { width: TILE, height: TILE });
    const pen = tile.getContext('2d');
    pen.fillStyle = styleOf(`--kind-${kindOf(type)}`);
    pen.fillRect(0, 0, TILE, TILE);
    pen.strokeStyle = styleOf('--on-kind');
    for (const [fromX, fromY, toX, toY] of PATTERNS[kindOf(type)]) {
        pen.beginPath();
        pen.moveTo(fromX, fromY);
        pen.lineTo(toX, toY);
        pen.stroke();
    }
    return pen.createPattern(tile, 'repeat');
}
