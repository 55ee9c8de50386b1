// What frame is due: plays at the clip's rate by the clock, leaving out and counting frames that
// come too late, or as fast as frames come, leaving out none. Knows neither pictures nor elements.

const AHEAD = 8; // frames that are fetched ahead of the one that is due
const FIRST_ONES = 3; // frames that are there before the clock starts
const LONGEST_START = 1000; // milliseconds after which it starts all the same

export class Player {
    #frames;
    #changed;
    #tick = (now) => this.#play(now);
    #start = 0; // the frame that the clock started at
    #begin = null; // when it did; null while the first frames are awaited
    #asked = 0; // when play was asked for
    #shown = 0; // how many frames after #start the last one shown is
    #times = []; // when frames were shown, within the last second
    index = 0;
    playing = false;
    fast = false;
    loop = true;
    marks = {first: null, last: null};
    dropped = 0;

    /// `frames` says what can be shown: count, rate, has(index), want(index),
    /// plan(wanted, useful), latency(). `changed(what)` is told "frame", "state" or "play".
    constructor(frames, changed) {
        this.#frames = frames;
        this.#changed = changed;
    }

    get range() {
        return {first: this.marks.first ?? 0, last: this.marks.last ?? this.#frames.count - 1};
    }

    /// Frames shown within the last second.
    get pace() {
        const [first] = this.#times, last = this.#times.at(-1);
        return this.#times.length < 2 ? 0 : (this.#times.length - 1) * 1000 / (last - first);
    }

    /// Goes to a frame of another clip; nothing is fetched yet.
    cue(index, marks) {
        this.index = index;
        this.marks = marks;
        this.dropped = 0;
    }

    seek(index) {
        this.index = Math.min(Math.max(index, 0), this.#frames.count - 1);
        if (this.playing) this.#startClock();
        else this.#frames.want(this.index);
        this.#changed("frame");
    }

    step(by) {
        this.pause();
        this.seek(this.index + by);
    }

    toggle() { this.playing ? this.pause() : this.play(); }

    play() {
        const {first, last} = this.range;
        if (this.#frames.count < 1) return;
        if (this.index < first || this.index >= last) this.index = first;
        this.playing = true;
        this.dropped = 0;
        this.#times = [];
        this.#startClock();
        this.#changed("play");
        requestAnimationFrame(this.#tick);
    }

    pause() {
        if (!this.playing) return;
        this.playing = false;
        this.#frames.want(this.index);
        this.#changed("play");
    }

    setFast(fast) {
        this.fast = fast;
        if (this.playing) this.#startClock();
        this.#changed("state");
    }

    setLoop(loop) {
        this.loop = loop;
        if (this.playing) this.#startClock();
        this.#changed("state");
    }

    /// Marks the first or last frame of what is played; a mark beyond the other one moves that one away.
    mark(which, index) {
        this.marks[which] = index;
        const {first, last} = this.marks;
        if (first !== null && last !== null && first > last) this.marks[which === "first" ? "last" : "first"] = null;
        if (this.playing) this.#startClock();
        this.#changed("state");
    }

    #startClock() {
        this.#start = this.index;
        this.#begin = null;
        this.#asked = performance.now();
        this.#shown = -1; // the first one is yet to be shown
        this.#plan(0, 0);
    }

    /// The frame that is `count` after the start; null beyond the end.
    #frameAt(count) {
        const {first, last} = this.range;
        const length = last - first + 1;
        const place = this.#start - first + count;
        if (place < 0) return this.#start + count; // before the first mark: runs into the loop
        return place < length ? first + place : this.loop ? first + place % length : null;
    }

    #isReady(count) {
        const index = this.#frameAt(count);
        return index !== null && this.#frames.has(index);
    }

    /// Has the frames from `due` on fetched; those that could not come in time are passed over.
    #plan(due, late) {
        const useful = [];
        for (let count = due; count < due + late + AHEAD; ++count) {
            const index = this.#frameAt(count);
            if (index === null) break;
            useful.push(index);
        }
        this.#frames.plan(useful.slice(late), useful);
    }

    #play(now) {
        if (!this.playing) return;
        if (this.fast) this.#playFast(now);
        else if (this.#begin !== null || this.#canStart(now)) this.#playByClock(now);
        if (this.playing) requestAnimationFrame(this.#tick);
    }

    #canStart(now) {
        const first = [...Array(FIRST_ONES).keys()].map((count) => this.#frameAt(count));
        const ready = first.every((index) => index === null || this.#frames.has(index));
        if (!ready && now - this.#asked < LONGEST_START) return false;
        this.#begin = now;
        return true;
    }

    #playByClock(now) {
        const due = Math.max(0, Math.floor((now - this.#begin) * this.#frames.rate / 1000));
        let count = due;
        while (count > this.#shown && !this.#isReady(count)) --count;
        if (count > this.#shown) {
            this.dropped += count - this.#shown - 1;
            this.#show(count, now);
        }
        if (this.#frameAt(due) === null) return this.#end();
        const isLate = this.#shown < due;
        this.#plan(due + 1, isLate ? Math.ceil(this.#frames.latency() * this.#frames.rate / 1000) : 0);
    }

    #playFast(now) {
        const next = this.#frameAt(this.#shown + 1);
        if (next === null) return this.#end();
        if (this.#frames.has(next)) this.#show(this.#shown + 1, now);
        this.#plan(this.#shown + 1, 0);
    }

    #show(count, now) {
        this.#shown = count;
        this.index = this.#frameAt(count);
        this.#times = this.#times.filter((time) => now - time < 1000);
        this.#times.push(now);
        this.#changed("frame");
    }

    /// What was due after the last frame shown was dropped as well.
    #end() {
        const {last} = this.range;
        if (!this.fast) this.dropped += Math.max(0, last - this.index - 1);
        this.index = last;
        this.pause();
        this.#changed("frame");
    }
}
