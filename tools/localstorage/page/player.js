// One camera on the stage: its picture, and words where there is none.

import { downloadLink, now } from './api.js';
import { make } from './dom.js';
import { Stream, Undecodable } from './stream.js';
import { clockText } from './time.js';

const DAY = 86400000;
const GAP = 2000; // ms without recording that are told
const LIVE = 15000; // ms back from now that are followed while they grow
const MINUTE = 60000;
const SOME = 1000; // ms; a stream that gave less gave nothing new
const PAUSE = 300; // ms from one opening to the next

export class Player {
    #stream = null;
    #target = 0;
    #placed = false;
    #waiting = null; // to be opened
    #opened = -Infinity;
    failed = false;
    #words = make('p', { className: 'words' });

    /** `isRecording` tells whether the camera is being recorded; `onClose`: it shall leave the stage. */
    constructor(camera, isRecording, onClose) {
        this.camera = camera;
        this.isRecording = isRecording;
        this.video = make('video', {
            muted: true,
            playsInline: true,
            disablePictureInPicture: true,
            disableRemotePlayback: true,
        });
        this.video.ariaLabel = `Picture of ${camera}`;
        const close = make('button', { type: 'button', className: 'close', textContent: '×', onclick: onClose });
        close.ariaLabel = `Close ${camera}`;
        this.#words.setAttribute('role', 'status');
        this.element = make('figure', { className: 'screen' }, this.video, this.#words,
            make('figcaption', {}, camera), close);
        this.video.addEventListener('error', () => {
            if (this.#stream && this.video.error) this.#fail(new Undecodable(`this video (${this.video.error.message})`));
        });
    }

    /** Shows a moment: out of what is there, else from the server. */
    jump(wall) {
        const place = this.#placed ? this.#stream.placeOf(wall) : null;
        if (place === null) return this.#openSoon(wall);
        this.video.currentTime = place;
        this.say('');
    }

    /** At once, but not again and again while a key is held down. */
    #openSoon(wall) {
        this.close();
        this.#target = wall;
        const wait = this.#opened + PAUSE - performance.now();
        if (wait <= 0) this.#open(wall);
        else this.#waiting = setTimeout(() => this.#open(wall), wait);
    }

    #open(wall) {
        this.close();
        this.failed = false;
        this.#target = wall;
        this.#opened = performance.now();
        const live = this.isRecording() && wall > now() - LIVE;
        const stream = new Stream(this.video, this.camera, wall, live ? null : DAY / 1000, (error) => {
            if (stream === this.#stream) this.#breakOff(error);
        });
        this.#stream = stream;
        this.say('');
    }

    close() {
        clearTimeout(this.#waiting);
        this.#waiting = null;
        this.#stream?.close();
        this.#stream = null;
        this.#placed = false;
    }

    /** What was fetched can still be shown; what cannot be shown at all is told. */
    #breakOff(error) {
        if (error instanceof Undecodable || !this.#stream.begun) return this.#fail(error);
        this.#stream.broken = true;
    }

    #fail(error) {
        const undecodable = error instanceof Undecodable;
        this.failed = true;
        this.close();
        this.say(undecodable
            ? `This browser cannot show ${error.message}, as ${this.camera} is recorded. Download it to watch it with another program:`
            : `${error.message[0].toUpperCase()}${error.message.slice(1)}.`);
        if (!undecodable) return;
        const minute = { from: this.#target, to: this.#target + MINUTE };
        this.#words.append(downloadLink(this.camera, minute, `Download a minute from ${clockText(this.#target)}`));
    }

    say(text) {
        this.element.classList.toggle('failed', this.failed);
        if ((this.#words.firstChild?.data ?? '') === text) return;
        this.#words.replaceChildren(...(text ? [text] : []));
        this.element.classList.toggle('wordy', text !== '');
    }

    /** The moment that is shown, or is about to be; null when there is nothing to wait for. */
    get time() {
        if (this.#waiting) return this.#target;
        if (!this.#stream || (this.#stream.ended && this.video.ended)) return null;
        return this.#placed ? this.#stream.wallAt(this.video.currentTime) : this.#target;
    }

    /** Goes to the asked moment as soon as that has come. */
    #place() {
        if (this.#placed || !this.#stream?.begun) return;
        const { ended, fragments } = this.#stream;
        const place = this.#stream.placeOf(this.#target);
        const comes = place === null && fragments[0].wall < this.#target;
        if (comes && !ended) return;
        // Where nothing is recorded, what comes next is shown.
        this.video.currentTime = place ?? (comes ? this.video.duration : 0);
        this.#placed = true;
    }

    get frameLength() {
        return this.#stream?.frameLength ?? 0;
    }

    /** Goes on, or waits for the others, which are at `wall`. */
    keepStep(wall, playing, speed) {
        this.#place();
        const { time } = this;
        if (time === null) return this.#end();
        if (!this.#placed) return;
        const ahead = time - wall;
        const patience = (this.video.paused ? 100 : 400) * Math.max(1, speed);
        if (ahead > GAP) this.say(`Nothing recorded until ${clockText(time)}.`);
        else if (!this.failed) this.say('');
        this.video.playbackRate = ahead > 50 * speed ? speed * 0.9 : speed;
        if (!playing || ahead > patience) this.video.pause();
        else if (this.video.paused) this.video.play().catch(() => {});
        if (this.#stream.broken && this.video.readyState < 3) this.#open(time);
    }

    /** At the end of what the server had: more may have been recorded since, or is encoded otherwise. */
    #end() {
        if (this.failed || !this.#stream) return;
        const end = this.#stream.wallAt(this.video.duration);
        if (end > this.#target + SOME) return this.#open(end);
        this.say('Nothing more is recorded.');
    }
}
