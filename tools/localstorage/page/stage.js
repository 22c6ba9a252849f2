// Up to four cameras side by side, in step: the one that is furthest behind leads, those ahead of it
// wait. One that has a gap is ahead, and where all of them have, the next recording is shown at once.

import { Player } from './player.js';

const MOST = 4;
const TICK = 100; // ms

export class Stage extends EventTarget {
    #players = new Map();
    time = null; // shown, in ms
    playing = false;
    speed = 1;
    sound = false;

    /** `isRecording(camera)` tells whether it is being recorded. */
    constructor(element, isRecording) {
        super();
        this.element = element;
        this.isRecording = isRecording;
        setInterval(() => this.#tick(), TICK);
    }

    get cameras() {
        return [...this.#players.keys()];
    }

    get isFull() {
        return this.#players.size >= MOST;
    }

    has(camera) {
        return this.#players.has(camera);
    }

    add(camera) {
        if (this.has(camera) || this.isFull) return;
        const player = new Player(camera, () => this.isRecording(camera), () => this.remove(camera));
        this.#players.set(camera, player);
        this.element.append(player.element);
        if (this.time !== null) player.jump(this.time);
        this.#changed();
    }

    remove(camera) {
        const player = this.#players.get(camera);
        if (!player) return;
        player.close();
        player.element.remove();
        this.#players.delete(camera);
        if (this.#players.size === 0) this.playing = false;
        this.#changed();
    }

    /** Plays from a moment on; a camera that is not there takes the stage alone. */
    show(camera, time) {
        if (!this.has(camera)) this.cameras.forEach((other) => this.remove(other));
        this.playing = true;
        this.jump(time);
        this.add(camera);
        this.element.parentElement.scrollIntoView({ block: 'nearest' }); // far below it may have been asked for
    }

    jump(time) {
        this.time = time;
        for (const player of this.#players.values()) player.jump(time);
        this.#changed();
    }

    toggle() {
        if (this.playing) return this.#pause();
        this.playing = this.#players.size > 0;
        this.#tick();
        this.#changed();
    }

    /** All of them at one moment: of the one that is furthest behind. */
    #pause() {
        const players = [...this.#players.values()].filter(({ failed }) => !failed);
        this.playing = false;
        for (const player of players) player.video.pause();
        this.time = this.#earliest(players) ?? this.time;
        for (const player of players) player.jump(this.time);
        this.#changed();
    }

    /** Which moment the players show; undefined when none does. */
    #earliest(players) {
        const times = players.map((player) => player.time).filter((time) => time !== null);
        return times.length > 0 ? Math.min(...times) : undefined;
    }

    setSpeed(speed) {
        this.speed = speed;
        this.#changed();
    }

    /** One picture on or back, by those of the first camera. */
    step(direction) {
        const [first] = this.#players.values();
        if (!first || this.time === null) return;
        if (this.playing) this.#pause();
        this.jump(this.time + direction * first.frameLength * 1000);
    }

    /** The first camera's; of several nothing could be understood. */
    toggleSound() {
        this.sound = !this.sound;
        this.#changed();
    }

    #tick() {
        const players = [...this.#players.values()];
        if (this.playing) this.time = this.#earliest(players) ?? this.time;
        for (const player of players) player.keepStep(this.time, this.playing, this.speed);
        if (this.playing && players.every((player) => player.time === null)) {
            this.playing = false;
            this.#changed();
        }
        this.dispatchEvent(new Event('time'));
    }

    #changed() {
        this.element.dataset.count = this.#players.size;
        [...this.#players.values()].forEach((player, index) => {
            player.video.muted = !this.sound || index > 0;
        });
        this.dispatchEvent(new Event('change'));
        this.dispatchEvent(new Event('time'));
    }
}
