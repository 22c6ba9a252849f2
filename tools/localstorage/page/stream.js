// The video of one camera on its way from the server into a <video>: fragment by fragment, some way
// ahead of what is shown and no further. Each fragment tells when it was filmed; what was not
// recorded is not in the stream, so its places and the times jump apart there.

import { ask, videoOf } from './api.js';
import { Boxes, frameLengthOf, readReference, readTracks } from './mp4.js';

const AHEAD = 30; // seconds, at speed 1
const BEHIND = 20;

// Telephones have the other one only.
const Media = globalThis.MediaSource ?? globalThis.ManagedMediaSource;

/** As people call it. */
const codecName = (type) => (/hvc1/.test(type) ? 'H.265' : /avc1/.test(type) ? 'this kind of H.264' : type);

/** The browser cannot show what is in the stream. */
export class Undecodable extends Error {}

const once = (target, event) => new Promise((done) => target.addEventListener(event, done, { once: true }));

export class Stream {
    fragments = []; // { wall in ms, media in seconds }
    frameLength = 0.04; // seconds from one picture to the next
    ended = false;
    #ending = new AbortController();
    #media = new Media();
    #buffer;
    #scale = 1;
    #head;

    /** `onFailure` is told why it broke off, if it does. */
    constructor(video, camera, from, seconds, onFailure) {
        this.video = video;
        const url = URL.createObjectURL(this.#media);
        video.src = url;
        this.#run(videoOf(camera, from, seconds), url).catch((error) => {
            if (!this.#ending.signal.aborted) onFailure(error);
        });
    }

    close() {
        this.#ending.abort();
        this.video.removeAttribute('src');
        this.video.load();
    }

    async #run(parameters, url) {
        const { signal } = this.#ending;
        const [response] = await Promise.all([ask('get', parameters, { signal }), once(this.#media, 'sourceopen')]);
        URL.revokeObjectURL(url);
        const reader = response.body.getReader();
        const boxes = new Boxes();
        for (;;) {
            await this.#waitForRoom();
            const { value, done } = await reader.read();
            if (done) break;
            for (const box of boxes.take(value)) await this.#take(box);
        }
        this.ended = true;
        if (this.#media.readyState === 'open') this.#media.endOfStream();
    }

    async #take({ type, bytes }) {
        if (type === 'ftyp') this.#head = bytes;
        if (type === 'moov') await this.#begin(bytes);
        if (type === 'prft') this.fragments.push(readReference(bytes, this.#scale));
        if (type === 'moof') this.frameLength = frameLengthOf(bytes, this.#scale) || this.frameLength;
        if (type === 'moof' || type === 'mdat') await this.#append(bytes);
    }

    async #begin(moov) {
        const { type, scale } = readTracks(moov);
        if (!Media.isTypeSupported(type)) throw new Undecodable(codecName(type));
        this.#scale = scale;
        this.#buffer = this.#media.addSourceBuffer(type);
        await this.#append(this.#head);
        await this.#append(moov);
    }

    async #append(bytes) {
        this.#ending.signal.throwIfAborted();
        this.#buffer.appendBuffer(bytes);
        await once(this.#buffer, 'updateend');
    }

    async #waitForRoom() {
        const ahead = () => AHEAD + 2 * this.video.playbackRate;
        while (this.#end() - this.video.currentTime > ahead()) {
            await new Promise((done) => setTimeout(done, 200));
            this.#ending.signal.throwIfAborted();
        }
        const behind = this.video.currentTime - BEHIND;
        if (this.#buffer?.buffered.length && behind - this.#buffer.buffered.start(0) > BEHIND) {
            this.#buffer.remove(0, behind);
            await once(this.#buffer, 'updateend');
            const first = this.fragments.findLastIndex(({ media }) => media <= behind);
            this.fragments.splice(0, Math.max(0, first));
        }
    }

    #end() {
        const buffered = this.#buffer?.buffered;
        return buffered?.length ? buffered.end(buffered.length - 1) : 0;
    }

    /** Whether anything can be shown. */
    get begun() {
        return this.#end() > 0 && this.fragments.length > 0;
    }

    /** When the picture at a place was filmed. */
    wallAt(place) {
        const fragment = this.fragments.findLast(({ media }) => media <= place + 0.001) ?? this.fragments[0];
        return fragment.wall + (place - fragment.media) * 1000;
    }

    /** Where the picture of a moment is, or the next one; null when that has not come or has gone. */
    placeOf(wall) {
        const index = Math.max(0, this.fragments.findLastIndex((fragment) => fragment.wall <= wall));
        const fragment = this.fragments[index];
        const next = this.fragments[index + 1];
        const place = fragment.media + Math.max(0, wall - fragment.wall) / 1000;
        const found = next ? Math.min(place, next.media) : place;
        const { buffered } = this.#buffer;
        const held = buffered.length > 0 && found >= buffered.start(0) - this.frameLength && found < this.#end();
        return held && wall >= this.fragments[0].wall - 1000 ? found : null;
    }
}
