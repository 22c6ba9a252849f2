// A camera's snapshots of a day, each above the moment when it was taken, as many as there is room for.

import { address, tell } from './api.js';
import { make } from './dom.js';
import { clockText, parse } from './time.js';

const WIDTH = 104; // px that one takes

export class Strip {
    #pictures = []; // { time, url }
    #day = '';
    #wanted = false;
    #shown = ''; // so that they are not made again for nothing

    /** `onPlay(time)`: one was clicked. */
    constructor(camera, view, onPlay) {
        Object.assign(this, { camera, view, onPlay });
        this.element = make('div', { className: 'strip', hidden: true });
    }

    /** Shows those of the view's day, or none. */
    async show(wanted) {
        const { day } = this.view;
        this.#wanted = wanted;
        this.draw();
        if (!wanted || this.#day === day) return;
        this.#day = day;
        const pictures = await tell('api/pictures', { camera: this.camera, day }).catch(() => []);
        if (this.#day !== day) return; // another one was chosen meanwhile
        this.#pictures = pictures.map(({ time }) => ({
            time: parse(time),
            url: address('api/picture', { camera: this.camera, time }),
        }));
        this.draw();
    }

    /** More may have been taken. */
    forget() {
        this.#day = '';
    }

    draw() {
        this.element.hidden = !this.#wanted || this.#pictures.length === 0;
        const width = this.element.clientWidth;
        let free = 0;
        const shown = this.#pictures.filter(({ time }) => {
            const left = this.view.placeOf(time) * width;
            const fits = left >= free && left <= width - WIDTH;
            if (fits) free = left + WIDTH;
            return fits;
        });
        const key = shown.map(({ url, time }) => `${url} ${this.view.placeOf(time)}`).join();
        if (key === this.#shown) return;
        this.#shown = key;
        this.element.replaceChildren(...shown.map(({ time, url }) => this.#button(time, url)));
    }

    #button(time, url) {
        const image = make('img', { src: url, alt: '' });
        const button = make('button', { type: 'button', onclick: () => this.onPlay(time) }, image, clockText(time));
        button.style.left = `${this.view.placeOf(time) * 100}%`;
        button.ariaLabel = `Picture of ${this.camera} at ${clockText(time)}`;
        return button;
    }
}
