// The page: what is recorded, by day and camera, and what it shows.

import { now, tell } from './api.js';
import { listenToControls, showState, showTime } from './controls.js';
import { Days } from './days.js';
import { byId } from './dom.js';
import { showHealth } from './health.js';
import { listenToKeys } from './keys.js';
import { Range } from './range.js';
import { Stage } from './stage.js';
import { dayOf, midnight, nextDay, parse } from './time.js';
import { Timeline } from './timeline.js';
import { View } from './view.js';

const REFRESH = 10000; // ms
const SECOND = 1000;
const MINUTE = 60 * SECOND;
const HOUR = 60 * MINUTE;
const LIVE_DELAY = 3 * SECOND;
const SPEEDS = [0.5, 1, 2, 4, 8, 16];

let cameras = [];

const cameraOf = (name) => cameras.find(({ camera }) => camera === name);
const isRecording = (name) => cameraOf(name)?.state === 'recording';

const view = new View();
const range = new Range();
const stage = new Stage(byId('screens'), isRecording);
const timeline = new Timeline(view, stage, range);
const days = new Days((day) => showDay(day).catch(report));

function report(error) {
    byId('trouble').textContent = error ? `Cannot ask the server: ${error.message}.` : '';
    byId('trouble').hidden = !error;
}

async function showDay(day) {
    days.show(day);
    const rows = await tell('api/timeline', { day });
    if (days.day !== day) return; // another one was chosen meanwhile
    timeline.setDays(rows);
    view.setDay(day, midnight(day), midnight(nextDay(day)));
}

async function loadHealth() {
    const [disks, list] = await Promise.all([tell('api/status'), tell('api/cameras')]);
    cameras = list;
    for (const { last } of cameras) if (last) parse(last);
    showHealth(disks, cameras);
    timeline.setCameras(cameras);
    byId('live').disabled = !cameras.some(({ state }) => state === 'recording');
}

/** Today's bars grow. */
async function refresh() {
    try {
        await loadHealth();
        const today = dayOf(now());
        if (today !== days.today) await days.load(today);
        if (days.day === today) await showDay(today);
        report(null);
    } catch (error) {
        report(error);
    }
    setTimeout(refresh, REFRESH);
}

/** The pictures that come in just now: of the stage, or of the first camera that is recorded. */
function goLive() {
    const live = cameras.find(({ camera, state }) => state === 'recording' && (stage.cameras.length === 0 || stage.has(camera)));
    if (live) stage.show(live.camera, Math.min(now(), parse(live.last)) - LIVE_DELAY);
}

const controls = listenToControls(stage, view, range, goLive);

stage.addEventListener('time', () => {
    showTime(stage);
    if (!stage.playing || stage.time === null) return;
    if (dayOf(stage.time) !== days.day) showDay(dayOf(stage.time)).catch(report);
    else view.reveal(stage.time);
});
stage.addEventListener('change', () => {
    showState(stage);
    range.show(stage.cameras);
});
range.addEventListener('change', () => range.show(stage.cameras));

/** From the moment that is shown, or else from where a camera's recordings begin. */
function move(ms, camera) {
    const first = timeline.bar(camera)?.spans[0]?.from;
    const time = stage.time === null ? first : stage.time + ms;
    if (time === undefined) return;
    stage.jump(time);
    view.reveal(time);
}

function moveTo(camera, which) {
    const span = timeline.bar(camera).spans.at(which);
    if (span) stage.jump(which === 0 ? span.from : span.to - SECOND);
}

function focusBeside(camera, direction) {
    const bars = [...document.querySelectorAll('.track')];
    bars[bars.findIndex((bar) => bar.dataset.camera === camera) + direction]?.focus();
}

function playFrom(camera) {
    if (stage.time === null) move(0, camera);
    if (stage.has(camera)) stage.toggle();
    else if (stage.time !== null) stage.show(camera, stage.time);
}

function changeSpeed(direction) {
    const next = SPEEDS[SPEEDS.indexOf(stage.speed) + direction];
    if (next) stage.setSpeed(next);
}

listenToKeys({
    ' ': () => stage.toggle(),
    ',': () => stage.step(-1),
    '.': () => stage.step(1),
    '[': () => changeSpeed(-1),
    ']': () => changeSpeed(1),
    'ArrowLeft': (camera) => move(-SECOND, camera),
    'ArrowRight': (camera) => move(SECOND, camera),
    'Shift+ArrowLeft': (camera) => move(-MINUTE, camera),
    'Shift+ArrowRight': (camera) => move(MINUTE, camera),
    '+': () => controls.zoom(0.5),
    '-': () => controls.zoom(2),
    '0': () => view.zoom(Infinity),
    'i': () => range.markFrom(stage.time),
    'o': () => range.markTo(stage.time),
    'Escape': () => range.clear(),
    'd': () => byId('downloads').querySelectorAll('a').forEach((link) => link.click()),
    'l': goLive,
    'm': () => stage.toggleSound(),
    '?': () => byId('keys').showModal(),
}, {
    'PageUp': (camera) => move(-HOUR, camera),
    'PageDown': (camera) => move(HOUR, camera),
    'Home': (camera) => moveTo(camera, 0),
    'End': (camera) => moveTo(camera, -1),
    'ArrowUp': (camera) => focusBeside(camera, -1),
    'ArrowDown': (camera) => focusBeside(camera, 1),
    'Enter': playFrom,
});

async function showNewest() {
    await days.load(dayOf(now()));
    await showDay(days.day);
}

/** The bars do not wait for what takes a walk through all that is recorded. */
const begin = () => Promise.all([showNewest(), loadHealth()]);

showState(stage);
begin().catch(report).finally(() => setTimeout(refresh, REFRESH));
