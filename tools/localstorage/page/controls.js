// The buttons below the picture, and the time that is shown.

import { byId } from './dom.js';
import { clockText } from './time.js';

export function listenToControls(stage, view, range, goLive) {
    const click = (id, act) => (byId(id).onclick = act);
    click('play', () => stage.toggle());
    click('back', () => stage.step(-1));
    click('forward', () => stage.step(1));
    click('sound', () => stage.toggleSound());
    click('live', goLive);
    click('mark-from', () => range.markFrom(stage.time));
    click('mark-to', () => range.markTo(stage.time));
    click('unmark', () => range.clear());
    click('closer', () => zoom(0.5));
    click('wider', () => zoom(2));
    click('whole', () => view.zoom(Infinity));
    click('help', () => byId('keys').showModal());
    byId('speed').onchange = ({ target }) => {
        stage.setSpeed(Number(target.value));
        target.blur(); // keys are for the page again
    };

    function zoom(factor) {
        const { time } = stage;
        const seen = time !== null && time >= view.from && time < view.to;
        view.zoom(factor, seen ? time : undefined);
    }
    return { zoom };
}

/** What changes with every picture. */
export function showTime({ time, playing }) {
    byId('clock').textContent = time === null ? '--:--:--' : clockText(time, playing ? 0 : 3);
}

/** What changes when somebody acts. */
export function showState(stage) {
    const idle = stage.cameras.length === 0;
    for (const id of ['play', 'back', 'forward', 'sound']) byId(id).disabled = idle;
    for (const id of ['mark-from', 'mark-to']) byId(id).disabled = stage.time === null;
    byId('play').ariaLabel = stage.playing ? 'Pause' : 'Play';
    byId('play').classList.toggle('playing', stage.playing);
    byId('sound').ariaPressed = String(stage.sound);
    byId('speed').value = String(stage.speed);
}
