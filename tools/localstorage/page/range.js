// The range that is marked, and its download.

import { downloadLink } from './api.js';
import { clockText, lengthText } from './time.js';
import { byId } from './dom.js';

export class Range extends EventTarget {
    from = null;
    to = null;
    #camera = null;

    /** For `camera`, or else for those on the stage. */
    set(from, to, camera = null) {
        if (from !== null && to !== null && from > to) [from, to] = [to, from];
        Object.assign(this, { from, to });
        this.#camera = camera ?? this.#camera;
        this.dispatchEvent(new Event('change'));
    }

    markFrom(time) {
        if (time !== null) this.set(time, this.to !== null && this.to > time ? this.to : null);
    }

    markTo(time) {
        if (time !== null) this.set(this.from !== null && this.from < time ? this.from : null, time);
    }

    clear() {
        this.#camera = null;
        this.set(null, null);
    }

    /** Tells the range beside the controls, with a link for each camera. */
    show(cameras) {
        const { from, to } = this;
        const complete = from !== null && to !== null && to > from;
        const wanted = cameras.length > 0 ? cameras : this.#camera ? [this.#camera] : [];
        byId('range').hidden = from === null && to === null;
        byId('range-text').textContent = complete
            ? `${clockText(from)} – ${clockText(to)} · ${lengthText(to - from)}`
            : from !== null ? `from ${clockText(from)}` : `to ${clockText(to ?? 0)}`;
        byId('downloads').replaceChildren(...(complete ? wanted : []).map((camera) =>
            downloadLink(camera, this, `Download ${camera}`)));
    }
}
