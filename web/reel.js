// The pictures that a clip shows: those of its frames, with those of another clip beside them, or of
// the differences between the two. What the player takes frames from.
import {FrameSource} from "./frames.js";

export class Reel {
    #sources = [];
    #retired = []; // their pictures are seen until the first of the new ones is there
    #arrived;
    #failed;
    count = 0;
    rate = 25;

    /// `arrived(index)` is called when all pictures of a frame are there, `failed(index, error)` when
    /// one can't be had.
    constructor(arrived, failed) {
        this.#arrived = arrived;
        this.#failed = failed;
    }

    /// Takes the pictures of this clip from now on, with these parameters of a request.
    fetchFrom(node, comparison, parameters) {
        this.count = node.frames;
        this.rate = node.rate > 0 ? node.rate : 25;
        this.#retire();
        this.#sources = this.#requests(node, comparison, parameters).map((requestOf) => new FrameSource(requestOf,
            (index) => this.has(index) && this.#arrived(index), this.#failed));
    }

    has(index) { return this.#sources.every((source) => source.has(index)); }
    want(index) { for (const source of this.#sources) source.want(index); }
    plan(wanted, useful) { for (const source of this.#sources) source.plan([...wanted], useful); }
    latency() { return Math.max(...this.#sources.map((source) => source.latency)); }
    forgetFailures() { for (const source of this.#sources) source.forgetFailures(); }

    /// The pictures of a frame, to be shown instead of those before, undefined for one that is not
    /// there; null when none is, and those before are to stay.
    take(index) {
        const pictures = this.#sources.map((source) => source.get(index));
        if (!pictures.some(Boolean)) return null;
        this.#dropRetired();
        return pictures;
    }

    clear() {
        this.#dropRetired();
        for (const source of this.#sources) source.clear();
        this.#sources = [];
    }

    /// Sources of which something was taken are kept for as long as that is shown.
    #retire() {
        const unseen = this.#retired.length > 0;
        for (const source of this.#sources) unseen ? source.clear() : source.plan([]);
        if (!unseen) this.#retired = this.#sources;
    }

    #dropRetired() {
        for (const source of this.#retired) source.clear();
        this.#retired = [];
    }

    /// For each picture that a frame takes: what gives its request.
    #requests(node, comparison, {width, ...look}) {
        const isThere = (index) => index >= 0 && index < node.frames;
        const first = (index) => (isThere(index) ? ["image", {id: node.id, frame: index, width, ...look}] : null);
        if (!comparison.other) return [first];
        const other = comparison.other.node;
        const beside = (index) => comparison.indexBeside(index);
        if (comparison.how === "difference") return [(index) => (isThere(index) && beside(index) !== null
            ? ["difference", {id: node.id, frame: index, other: other.id, otherFrame: beside(index), width,
                gain: comparison.gain}] : null)];
        return [first, (index) => (beside(index) !== null
            ? ["image", {id: other.id, frame: beside(index), width, ...look}] : null)];
    }
}
