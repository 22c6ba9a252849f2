// What part of which day the bars show. All bars show the same.

const SHORTEST = 60000; // ms

export class View extends EventTarget {
    day = '';
    start = 0;
    end = 1;
    from = 0;
    to = 1;

    setDay(day, start, end) {
        const same = day === this.day && start === this.start && end === this.end;
        if (same) return;
        Object.assign(this, { day, start, end, from: start, to: end });
        this.#changed();
    }

    get length() {
        return this.to - this.from;
    }

    get isWhole() {
        return this.length >= this.end - this.start;
    }

    /** Shows so many times more of the day, or less; the moment stays where it is. */
    zoom(factor, around = (this.from + this.to) / 2) {
        const length = Math.min(this.end - this.start, Math.max(SHORTEST, this.length * factor));
        this.#show(around - ((around - this.from) / this.length) * length, length);
    }

    pan(ms) {
        this.#show(this.from + ms, this.length);
    }

    /** Moves until the moment can be seen. */
    reveal(ms) {
        if (ms < this.from || ms >= this.to) this.#show(ms - this.length / 10, this.length);
    }

    #show(from, length) {
        this.from = Math.max(this.start, Math.min(from, this.end - length));
        this.to = this.from + length;
        this.#changed();
    }

    #changed() {
        this.dispatchEvent(new Event('change'));
    }

    /** Where a moment stands, 0 to 1 for what can be seen, and which moment stands at a place. */
    placeOf = (ms) => (ms - this.from) / this.length;
    momentAt = (place) => this.from + place * this.length;
}
