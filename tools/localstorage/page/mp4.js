// As much of MP4 as playing takes: boxes out of a stream, what the tracks are encoded with, and when
// each fragment was filmed.

const UNIX_IN_NTP = 2208988800; // seconds from 1900 to 1970

const viewOf = (bytes) => new DataView(bytes.buffer, bytes.byteOffset, bytes.byteLength);
const typeOf = (bytes) => String.fromCharCode(...bytes.subarray(4, 8));
const hex = (byte) => byte.toString(16).padStart(2, '0');

function joined(parts, length) {
    if (parts.length === 1) return parts[0];
    const bytes = new Uint8Array(length);
    let place = 0;
    for (const part of parts) {
        bytes.set(part, place);
        place += part.length;
    }
    return bytes;
}

/** Cuts a stream into its outermost boxes. */
export class Boxes {
    #parts = [];
    #length = 0;
    #needed = 8;

    /** The boxes that are complete with these bytes, as { type, bytes }. */
    take(chunk) {
        const boxes = [];
        this.#parts.push(chunk);
        this.#length += chunk.length;
        while (this.#length >= this.#needed) {
            const bytes = joined(this.#parts, this.#length);
            const size = viewOf(bytes).getUint32(0);
            if (size < 8) throw new Error('the video is damaged');
            const whole = bytes.length >= size;
            if (whole) boxes.push({ type: typeOf(bytes), bytes: bytes.subarray(0, size) });
            const rest = whole ? bytes.subarray(size) : bytes;
            this.#parts = [rest];
            this.#length = rest.length;
            this.#needed = whole ? 8 : size;
        }
        return boxes;
    }
}

function* children(bytes, start = 8) {
    for (let place = start; place + 8 <= bytes.length;) {
        const size = viewOf(bytes).getUint32(place);
        if (size < 8) return;
        const box = bytes.subarray(place, place + size);
        yield [typeOf(box), box];
        place += size;
    }
}

/** The first box of these names, one within the other. */
function find(bytes, names, start) {
    for (const name of names.split('/')) {
        for (const [type, box] of children(bytes, start)) {
            bytes = box;
            if (type === name) break;
        }
        if (typeOf(bytes) !== name) return null;
        start = 8;
    }
    return bytes;
}

/** As RFC 6381 and ISO/IEC 14496-15 write it: hvc1.1.6.L93.B0. */
function hevcName(hvcc) {
    const [profile] = hvcc.subarray(9);
    const compatible = viewOf(hvcc).getUint32(10);
    const reversed = Number.parseInt(compatible.toString(2).padStart(32, '0').split('').reverse().join(''), 2);
    const constraints = [...hvcc.subarray(14, 20)];
    while (constraints.at(-1) === 0) constraints.pop();
    return [
        'hvc1',
        ['', 'A', 'B', 'C'][profile >> 6] + (profile & 31),
        reversed.toString(16),
        (profile & 32 ? 'H' : 'L') + hvcc[20],
        ...constraints.map((byte) => byte.toString(16)),
    ].join('.');
}

/** What the decoder's descriptor tells: mp4a.40.2. */
function audioName(esds) {
    let place = 12;
    const enter = () => {
        const tag = esds[place++];
        while (esds[place++] & 128);
        return tag;
    };
    if (enter() === 3) place += 3;
    enter();
    const kind = esds[place];
    place += 13;
    if (kind !== 0x40) return `mp4a.${hex(kind)}`;
    enter();
    return `mp4a.40.${esds[place] >> 3}`;
}

function codecOf(entry) {
    const type = typeOf(entry);
    const avcc = find(entry, 'avcC', 86);
    if (avcc) return `avc1.${[...avcc.subarray(9, 12)].map(hex).join('')}`;
    const hvcc = find(entry, 'hvcC', 86);
    if (hvcc) return hevcName(hvcc);
    const esds = find(entry, 'esds', 36);
    return esds ? audioName(esds) : type;
}

/** What a box `moov` tells: the type as browsers are asked for it, and ticks per second of video. */
export function readTracks(moov) {
    const tracks = [...children(moov)].filter(([type]) => type === 'trak').map(([, trak]) => trak);
    const codecs = tracks.map((trak) => codecOf(find(trak, 'mdia/minf/stbl/stsd').subarray(16)));
    const header = find(tracks[0], 'mdia/mdhd');
    return {
        type: `video/mp4; codecs="${codecs.join(', ')}"`,
        scale: viewOf(header).getUint32(header[8] === 1 ? 28 : 20),
    };
}

/** What a box `prft` tells of the fragment behind it: when it was filmed, in ms, and its place. */
export function readReference(prft, scale) {
    const view = viewOf(prft);
    const wall = (view.getUint32(16) - UNIX_IN_NTP + view.getUint32(20) / 2 ** 32) * 1000;
    return { wall: Math.round(wall), media: Number(view.getBigUint64(24)) / scale };
}

/** Seconds from one picture to the next in a fragment; undefined when it does not tell. */
export function frameLengthOf(moof, scale) {
    const header = viewOf(find(moof, 'traf/tfhd'));
    const run = viewOf(find(moof, 'traf/trun'));
    const [inHeader, inRun] = [header.getUint32(8), run.getUint32(8)];
    if (inRun & 0x100) {
        const first = 16 + (inRun & 1 ? 4 : 0) + (inRun & 4 ? 4 : 0);
        return run.getUint32(first) / scale;
    }
    const place = 16 + (inHeader & 1 ? 8 : 0) + (inHeader & 2 ? 4 : 0);
    return inHeader & 8 ? header.getUint32(place) / scale : undefined;
}
