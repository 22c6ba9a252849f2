// The day that is shown, and a calendar that marks the days with recordings.

import { tell } from './api.js';
import { byId, make } from './dom.js';
import { dayText, nextDay } from './time.js';

const WEEK = 7;
const ARROWS = { ArrowLeft: -1, ArrowRight: 1, ArrowUp: -WEEK, ArrowDown: WEEK };

const monthOf = (day) => day.slice(0, 7);
/** Days since Monday. */
const weekday = (day) => (new Date(day).getUTCDay() + 6) % WEEK;

export class Days {
    #recorded = new Set();
    #month = '';

    /** `onDay` is told which day was chosen. */
    constructor(onDay) {
        this.onDay = onDay;
        this.calendar = byId('calendar');
        this.button = byId('day');
        this.button.onclick = () => this.#toggle(this.calendar.hidden);
        byId('earlier').onclick = () => this.#goTo(this.#neighbour(-1));
        byId('later').onclick = () => this.#goTo(this.#neighbour(1));
        byId('today').onclick = () => this.#goTo(this.today);
        this.calendar.addEventListener('keydown', (event) => this.#key(event));
        addEventListener('pointerdown', (event) => {
            if (!byId('days').contains(event.target)) this.#toggle(false);
        });
    }

    /** The days with recordings, as the server has them. */
    async load(today) {
        this.today = today;
        this.#recorded = new Set((await tell('api/days')).map(({ day }) => day));
        this.show(this.day ?? this.newest);
    }

    get newest() {
        return [...this.#recorded].sort().at(-1) ?? this.today;
    }

    show(day) {
        this.day = day;
        this.button.textContent = dayText(day, { weekday: 'short', day: 'numeric', month: 'long', year: 'numeric' });
        byId('earlier').disabled = this.#neighbour(-1) === undefined;
        byId('later').disabled = this.#neighbour(1) === undefined;
        byId('today').disabled = day === this.today;
    }

    /** The next day with recordings, or today. */
    #neighbour(direction) {
        const days = [...new Set([...this.#recorded, this.today])].sort();
        return direction < 0 ? days.findLast((day) => day < this.day) : days.find((day) => day > this.day);
    }

    #goTo(day) {
        if (day === undefined) return;
        this.#toggle(false);
        this.show(day);
        this.onDay(day);
    }

    #toggle(open) {
        if (this.calendar.hidden !== open) return;
        this.calendar.hidden = !open;
        this.button.ariaExpanded = String(open);
        if (open) this.#draw(this.day);
        else if (this.calendar.contains(document.activeElement)) this.button.focus();
    }

    #draw(focused) {
        this.#month = monthOf(focused);
        const first = `${this.#month}-01`;
        const turn = (text, label, day) => {
            const button = make('button', { type: 'button', textContent: text, onclick: () => this.#draw(day) });
            button.ariaLabel = label;
            return button;
        };
        const head = make('div', { className: 'month' },
            turn('‹', 'The month before', `${monthOf(nextDay(first, -1))}-01`),
            make('strong', {}, dayText(first, { month: 'long', year: 'numeric' })),
            turn('›', 'The month after', `${monthOf(nextDay(first, 31))}-01`));
        const grid = make('div', { className: 'grid' }, ...['Mo', 'Tu', 'We', 'Th', 'Fr', 'Sa', 'Su'].map((name) => make('abbr', {}, name)));
        for (let day = first; monthOf(day) === this.#month; day = nextDay(day)) grid.append(this.#dayButton(day, first));
        this.calendar.replaceChildren(head, grid);
        (grid.querySelector(`[data-day="${focused}"]`) ?? grid.querySelector('button')).focus();
    }

    #dayButton(day, first) {
        const recorded = this.#recorded.has(day);
        const button = make('button', { type: 'button', textContent: Number(day.slice(8)), onclick: () => this.#goTo(day) });
        button.dataset.day = day;
        button.ariaLabel = `${dayText(day)}, ${recorded ? 'with' : 'no'} recordings`;
        button.classList.toggle('recorded', recorded);
        if (day === this.day) button.ariaCurrent = 'date';
        if (day === first) button.style.gridColumnStart = weekday(day) + 1;
        return button;
    }

    #key(event) {
        const day = event.target.dataset.day;
        if (event.key === 'Escape') this.#toggle(false);
        else if (day && ARROWS[event.key]) this.#draw(nextDay(day, ARROWS[event.key]));
        else return;
        event.preventDefault();
        event.stopPropagation();
    }
}
