// The bars of all cameras, one below the other, under the hours.

import { Bar } from './bar.js';
import { byId, make } from './dom.js';
import { fillOf, kindName } from './kinds.js';
import { drawRuler } from './ruler.js';
import { clockText } from './time.js';

const WHEEL = 1.002; // per px

export class Timeline {
    #rows = new Map(); // { element, box, bar } by camera
    #cameras = [];
    #days = null; // not known yet
    #drawing = false;

    constructor(view, stage, range) {
        Object.assign(this, { view, stage, range });
        this.element = byId('timeline');
        this.ruler = byId('ruler');
        this.tip = byId('tip');
        const draw = () => this.draw();
        view.addEventListener('change', draw);
        range.addEventListener('change', () => this.#placeMarks());
        stage.addEventListener('time', () => this.#placeNeedle());
        stage.addEventListener('change', () => this.#showStage());
        new ResizeObserver(draw).observe(this.element);
        matchMedia('(prefers-color-scheme: dark)').addEventListener('change', () => {
            this.#drawLegend();
            this.draw();
        });
        this.element.addEventListener('wheel', (event) => this.#turn(event), { passive: false });
        this.#listenToPinches();
    }

    bar(camera) {
        return this.#rows.get(camera)?.bar;
    }

    get #bars() {
        return [...this.#rows.values()].map(({ bar }) => bar);
    }

    /** Cameras as /api/cameras tells them. */
    setCameras(cameras) {
        this.#cameras = cameras;
        this.#fill();
    }

    /** Their day as /api/timeline tells it. */
    setDays(days) {
        this.#days = days;
        this.#fill();
    }

    #fill() {
        const [cameras, days] = [this.#cameras, this.#days];
        if (!days) return;
        const names = [...new Set([...cameras, ...days].map(({ camera }) => camera))].sort();
        for (const [camera, row] of this.#rows) {
            if (names.includes(camera)) continue;
            row.element.remove();
            this.#rows.delete(camera);
        }
        names.forEach((camera, place) => {
            if (!this.#rows.has(camera)) this.#addRow(camera);
            const { element, bar } = this.#rows.get(camera);
            element.classList.toggle('stopped', cameras.some((one) => one.camera === camera && one.state === 'stopped'));
            bar.setDay(days.find((day) => day.camera === camera));
            bar.strip.forget();
            // What has the focus would lose it by being moved.
            const there = byId('rows').children[place];
            if (there !== element) byId('rows').insertBefore(element, there ?? null);
        });
        byId('empty').hidden = names.length > 0;
        this.#drawLegend();
        this.#showStage();
        this.draw();
    }

    #addRow(camera) {
        const bar = new Bar(camera, this.view, {
            play: (time) => this.stage.show(camera, time),
            mark: (from, to) => this.range.set(from, to, camera),
            hover: (time, event) => this.#hover(bar, time, event),
        });
        const box = make('input', { type: 'checkbox', onchange: () => this.#choose(camera, box.checked) });
        box.ariaLabel = `Show ${camera} beside the others`;
        const label = make('label', { className: 'name', title: camera }, box, make('span', {}, camera));
        this.#rows.set(camera, { element: make('div', { className: 'row' }, label, bar.element), box, bar });
    }

    #choose(camera, chosen) {
        if (!chosen) return this.stage.remove(camera);
        this.stage.time ??= this.bar(camera).spans[0]?.from ?? null;
        this.stage.add(camera);
    }

    #showStage() {
        for (const [camera, { element, box, bar }] of this.#rows) {
            box.checked = this.stage.has(camera);
            box.disabled = this.stage.isFull && !box.checked;
            element.classList.toggle('chosen', box.checked);
            bar.strip.show(box.checked);
        }
    }

    /** Soon, and once for all that has changed. */
    draw() {
        if (this.#drawing) return;
        this.#drawing = true;
        requestAnimationFrame(() => {
            this.#drawing = false;
            drawRuler(this.ruler, this.view);
            for (const bar of this.#bars) bar.draw();
            this.#placeMarks();
            this.#placeNeedle();
            byId('whole').disabled = this.view.isWhole;
        });
    }

    #drawLegend() {
        const types = new Set(this.#bars.flatMap(({ spans }) => spans.map(({ type }) => type)));
        byId('legend').replaceChildren(...[...types].sort().map((type) => {
            const sample = make('canvas', { width: 16, height: 16 });
            const pen = sample.getContext('2d');
            pen.fillStyle = fillOf(type);
            pen.fillRect(0, 0, 16, 16);
            return make('li', {}, sample, kindName(type));
        }));
    }

    #place(name, moment) {
        this.element.style.setProperty(name, this.view.placeOf(moment));
    }

    #placeNeedle() {
        const { time } = this.stage;
        this.element.classList.toggle('timed', time !== null);
        if (time !== null) this.#place('--needle', time);
        for (const bar of this.#bars) bar.setTime(time);
    }

    #placeMarks() {
        const { from, to } = this.range;
        this.element.classList.toggle('ranged', from !== null || to !== null);
        this.#place('--mark-from', from ?? to ?? 0);
        this.#place('--mark-to', to ?? from ?? 0);
    }

    #hover(bar, time, event) {
        this.tip.hidden = time === null;
        if (time === null) return;
        this.tip.textContent = `${clockText(time)} · ${bar.wordsFor(time)}`;
        const { left, width } = this.element.getBoundingClientRect();
        const half = this.tip.offsetWidth / 2;
        const place = Math.min(Math.max(event.clientX - left, half), width - half);
        this.tip.style.left = `${place}px`;
        this.tip.style.top = `${bar.track.getBoundingClientRect().top - this.element.getBoundingClientRect().top}px`;
    }

    #momentAt(clientX) {
        const { left, width } = this.ruler.getBoundingClientRect();
        return this.view.momentAt((clientX - left) / width);
    }

    /** Over the hours the wheel zooms, and with Ctrl everywhere; elsewhere it scrolls the page. */
    #turn(event) {
        const zooms = event.ctrlKey || this.ruler.contains(event.target);
        const pans = Math.abs(event.deltaX) > Math.abs(event.deltaY);
        if (!zooms && !pans) return;
        event.preventDefault();
        if (pans) this.view.pan((event.deltaX / this.ruler.clientWidth) * this.view.length);
        else this.view.zoom(WHEEL ** event.deltaY, this.#momentAt(event.clientX));
    }

    #listenToPinches() {
        let apart = 0;
        const distance = ([a, b]) => Math.abs(a.clientX - b.clientX);
        this.element.addEventListener('touchmove', (event) => {
            if (event.touches.length !== 2) return;
            event.preventDefault();
            const next = Math.max(1, distance(event.touches));
            const middle = (event.touches[0].clientX + event.touches[1].clientX) / 2;
            if (apart) this.view.zoom(apart / next, this.#momentAt(middle));
            apart = next;
        }, { passive: false });
        this.element.addEventListener('touchend', () => (apart = 0));
    }
}
