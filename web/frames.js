// Pictures of frames: fetched, decoded and kept, what is wanted most before what may be wanted next.
import {isAbort, request} from "./api.js";

const AT_ONCE = 4; // requests that run beside each other
const SCRUBBED_AT_ONCE = 2; // of frames that somebody waits for
const KEPT_BYTES = 192 << 20; // of decoded pictures, four bytes a pixel
const KEPT_ALWAYS = 10; // pictures: what is shown, and what the player reads ahead

/// The numbers of a reply's head that go with its picture.
function pictureOf(bitmap, headers) {
    const number = (name) => (headers.has(name) ? Number(headers.get(name)) : undefined);
    return {bitmap, largest: number("Lantrix-Largest"), differing: number("Lantrix-Differing")};
}

export class FrameSource {
    #requestOf;
    #arrived;
    #failed;
    #pictures = new Map(); // by index; those used last are at the end
    #bytes = 0;
    #running = new Map(); // by index: {giveUp, isAwaited}; the oldest first
    #failures = new Set();
    #wanted = [];
    latency = 50; // milliseconds from a request to its picture, lately

    /// `requestOf(index)` gives [name, parameters], or null for a frame that is not there.
    /// `arrived(index)` and `failed(index, error)` are told what became of each.
    constructor(requestOf, arrived, failed) {
        this.#requestOf = requestOf;
        this.#arrived = arrived;
        this.#failed = failed;
    }

    /// Whether there is no use in waiting for this frame.
    has(index) {
        return this.#pictures.has(index) || this.#failures.has(index) || this.#requestOf(index) === null;
    }

    get(index) {
        const picture = this.#pictures.get(index);
        if (!picture) return undefined;
        this.#pictures.delete(index);
        this.#pictures.set(index, picture);
        return picture;
    }

    /// Fetches this frame before all else. While one scrubs, the oldest request may end, so that
    /// there is something to see on the way; those between it and the newest are given up.
    want(index) {
        this.#wanted = [];
        this.#failures.delete(index);
        for (const [other, {isAwaited}] of [...this.#running])
            if (!isAwaited && other !== index) this.#giveUp(other);
        if (this.has(index)) return;
        const running = this.#running.get(index);
        if (running) {
            running.isAwaited = true;
            return;
        }
        const [, ...younger] = this.#running.keys();
        if (this.#running.size >= SCRUBBED_AT_ONCE) for (const other of younger) this.#giveUp(other);
        this.#fetch(index, {isAwaited: true});
    }

    /// Fetches `wanted` in this order as requests end; of what runs, only `useful` goes on.
    plan(wanted, useful = wanted) {
        const kept = new Set(useful);
        for (const index of [...this.#running.keys()]) if (!kept.has(index)) this.#giveUp(index);
        this.#wanted = wanted;
        this.#fetchWanted();
    }

    /// Lets frames that could not be had be asked for again.
    forgetFailures() { this.#failures.clear(); }

    /// Gives up all that runs, and forgets all that was fetched.
    clear() {
        this.#wanted = [];
        for (const index of [...this.#running.keys()]) this.#giveUp(index);
        for (const picture of this.#pictures.values()) picture.bitmap.close();
        this.#pictures.clear();
        this.#failures.clear();
        this.#bytes = 0;
    }

    #giveUp(index) {
        this.#running.get(index).giveUp.abort();
        this.#running.delete(index);
    }

    #fetchWanted() {
        while (this.#running.size < AT_ONCE && this.#wanted.length) {
            const index = this.#wanted.shift();
            if (!this.has(index) && !this.#running.has(index)) this.#fetch(index, {isAwaited: false});
        }
    }

    async #fetch(index, {isAwaited}) {
        const giveUp = new AbortController();
        const begin = performance.now();
        this.#running.set(index, {giveUp, isAwaited});
        try {
            const reply = await request(...this.#requestOf(index), giveUp.signal);
            const bitmap = await createImageBitmap(await reply.blob());
            if (giveUp.signal.aborted) return bitmap.close();
            this.latency += (performance.now() - begin - this.latency) / 8;
            this.#keep(index, pictureOf(bitmap, reply.headers));
        } catch (error) {
            if (isAbort(error) || giveUp.signal.aborted) return;
            this.#failures.add(index);
            this.#running.delete(index);
            this.#failed(index, error);
            return;
        }
        this.#running.delete(index);
        this.#fetchWanted();
        this.#arrived(index);
    }

    #keep(index, picture) {
        const bytesOf = ({bitmap}) => bitmap.width * bitmap.height * 4;
        this.#pictures.set(index, picture);
        this.#bytes += bytesOf(picture);
        for (const [oldest, old] of this.#pictures) {
            if (this.#bytes <= KEPT_BYTES || this.#pictures.size <= KEPT_ALWAYS) break;
            this.#bytes -= bytesOf(old);
            old.bitmap.close();
            this.#pictures.delete(oldest);
        }
    }
}
