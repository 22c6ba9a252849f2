// How the kinds of recordings look: a colour of the style sheet's, and a pattern for those who cannot
// tell colours apart.

const PATTERNS = ['plain', 'plain', 'rising', 'dots', 'falling', 'upright', 'level', 'rising', 'dots'];
const TILE = 8;

const SHAPES = {
    rising: (path) => {
        for (const shift of [-TILE, 0, TILE]) path.moveTo(shift, TILE), path.lineTo(shift + TILE, 0);
    },
    falling: (path) => {
        for (const shift of [-TILE, 0, TILE]) path.moveTo(shift, 0), path.lineTo(shift + TILE, TILE);
    },
    upright: (path) => (path.moveTo(TILE / 2, 0), path.lineTo(TILE / 2, TILE)),
    level: (path) => (path.moveTo(0, TILE / 2), path.lineTo(TILE, TILE / 2)),
    dots: (path) => path.rect(TILE / 2 - 0.5, TILE / 2 - 0.5, 1, 1),
};

const kindOf = (type) => Math.min(type ?? 0, PATTERNS.length - 1);
const styleOf = (name) => getComputedStyle(document.documentElement).getPropertyValue(name);

/** The desktop client's recordings know no kind. */
export const kindName = (type) => (type ? `type ${type}` : 'recorded');

/** What a canvas is filled with for recordings of a type. */
export function fillOf(type) {
    const tile = Object.assign(document.createElement('canvas'), { width: TILE, height: TILE });
    const pen = tile.getContext('2d');
    pen.fillStyle = styleOf(`--kind-${kindOf(type)}`);
    pen.fillRect(0, 0, TILE, TILE);
    const shape = SHAPES[PATTERNS[kindOf(type)]];
    if (!shape) return pen.fillStyle;
    pen.strokeStyle = styleOf('--on-kind');
    pen.beginPath();
    shape(pen);
    pen.stroke();
    return pen.createPattern(tile, 'repeat');
}
