// One camera's day as a bar, the strip of its pictures above it. It is a slider to those who cannot see it.

import { make } from './dom.js';
import { fillOf, kindName } from './kinds.js';
import { Strip } from './strip.js';
import { clockText, parse } from './time.js';

const DRAG = 5; // px that tell dragging from clicking
const TOUCH = 100; // ms, less than a picture or two

/** Recordings of one type that touch. */
function joined(spans) {
    const whole = [];
    for (const span of spans) {
        const last = whole.at(-1);
        if (last?.type === span.type && span.from <= last.to + TOUCH) last.to = Math.max(last.to, span.to);
        else whole.push(span);
    }
    return whole;
}

export class Bar {
    spans = []; // { from, to, type }
    #drag = null;

    /** `on.play(time)`, `on.mark(from, to)`, `on.hover(time)`: what the pointer does here. */
    constructor(camera, view, on) {
        Object.assign(this, { camera, view, on });
        this.canvas = make('canvas');
        this.track = make('div', { className: 'track', tabIndex: 0, role: 'slider', ariaLabel: `Recordings of ${camera}` },
            this.canvas, make('div', { className: 'marked' }), make('div', { className: 'needle' }));
        this.track.dataset.camera = camera;
        this.strip = new Strip(camera, view, on.play);
        this.element = make('div', { className: 'bar' }, this.strip.element, this.track);
        for (const name of ['down', 'move', 'up', 'cancel', 'leave']) {
            this.track.addEventListener(`pointer${name}`, (event) => this[`_${name}`](event));
        }
    }

    setDay({ recordings = [] } = {}) {
        this.spans = recordings.map(({ start, end, type }) => ({ from: parse(start), to: parse(end), type }));
        this.spans.sort((a, b) => a.from - b.from);
        this.spans = joined(this.spans);
    }

    spanAt(time) {
        return this.spans.findLast(({ from, to }) => from <= time && time < to);
    }

    /** What is there at a moment, in words. */
    wordsFor(time) {
        const span = this.spanAt(time);
        if (span) return kindName(span.type);
        const next = this.spans.find(({ from }) => from > time);
        return next ? `nothing until ${clockText(next.from)}` : 'nothing more';
    }

    draw() {
        const { clientWidth: width, clientHeight: height } = this.canvas;
        const ratio = devicePixelRatio;
        this.canvas.width = width * ratio;
        this.canvas.height = height * ratio;
        const pen = this.canvas.getContext('2d');
        pen.scale(ratio, ratio);
        const edge = (time) => Math.round(this.view.placeOf(time) * width * ratio) / ratio;
        const fills = new Map();
        for (const { from, to, type } of this.spans) {
            const left = Math.max(-1, edge(from));
            const right = Math.min(width + 1, edge(to));
            if (right <= 0 || left >= width) continue;
            if (!fills.has(type)) fills.set(type, fillOf(type));
            pen.fillStyle = fills.get(type);
            pen.fillRect(left, 0, Math.max(1, right - left), height);
        }
        this.strip.draw();
    }

    /** For those who cannot see the needle; once a second is enough. */
    setTime(time) {
        const { start, end } = this.view;
        const now = Math.floor((Math.min(Math.max(time ?? start, start), end) - start) / 1000);
        if (time !== null && this.track.ariaValueNow === String(now)) return;
        this.track.ariaValueMin = 0;
        this.track.ariaValueMax = Math.round((end - start) / 1000);
        this.track.ariaValueNow = now;
        this.track.ariaValueText = time === null ? 'no time chosen' : `${clockText(time)}, ${this.wordsFor(time)}`;
    }

    #momentOf(event) {
        const { left, width } = this.track.getBoundingClientRect();
        return this.view.momentAt((event.clientX - left) / width);
    }

    _down(event) {
        if (event.button !== 0 || !event.isPrimary) return;
        this.track.setPointerCapture(event.pointerId);
        this.#drag = { x: event.clientX, from: this.#momentOf(event), marking: event.shiftKey, moved: false };
    }

    _move(event) {
        this.on.hover(this.#momentOf(event), event);
        const drag = this.#drag;
        if (!drag || !event.isPrimary) return;
        if (Math.abs(event.clientX - drag.x) > DRAG) drag.moved = true;
        if (!drag.moved) return;
        const moment = this.#momentOf(event);
        if (drag.marking) this.on.mark(Math.min(drag.from, moment), Math.max(drag.from, moment));
        else this.view.pan(drag.from - moment);
    }

    _up(event) {
        if (this.#drag && !this.#drag.moved) this.on.play(this.#momentOf(event));
        this.#drag = null;
    }

    _cancel() {
        this.#drag = null;
    }

    _leave() {
        this.on.hover(null);
    }
}

