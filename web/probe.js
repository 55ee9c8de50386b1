// The exact samples of the pixel that is pointed at, of one frame or of two that are compared. They
// are fetched in blocks, so that a pointer that moves on finds its neighbours there.
import {element} from "./dom.js";
import {isAbort, json} from "./api.js";

const BLOCK = 32; // pixels of a side
const KEPT = 64; // blocks

export class Probe {
    #output;
    #blocks = new Map();
    #asking = null;
    #pixel = null;

    constructor(output) { this.#output = output; }

    /// Shows the samples of `pixel` in `frames`, [{id, index, label, scaleX, scaleY}], where the scales
    /// lead from the pixels of the first frame to those of this one; null shows nothing.
    async show(pixel, frames) {
        this.#asking?.abort();
        this.#pixel = pixel;
        this.#output.hidden = pixel === null;
        if (pixel === null) return;
        const asking = this.#asking = new AbortController();
        try {
            const samples = await Promise.all(frames.map((frame) => this.#samplesAt(pixel, frame, asking.signal)));
            if (this.#asking === asking) this.#tell(pixel, frames, samples);
        } catch (error) {
            if (!isAbort(error)) this.#output.replaceChildren(error.message);
        }
    }

    get pixel() { return this.#pixel; }

    async #samplesAt(pixel, frame, signal) {
        const x = Math.floor(pixel.x * frame.scaleX), y = Math.floor(pixel.y * frame.scaleY);
        const block = await this.#blockAt(frame, x - x % BLOCK, y - y % BLOCK, signal);
        const values = block.values[(y - block.y) * block.width + x - block.x];
        return values && block.channels.map((channel, i) => ({channel, value: values[i]}));
    }

    async #blockAt({id, index}, x, y, signal) {
        const key = `${id} ${index} ${x} ${y}`;
        const known = this.#blocks.get(key);
        if (known) return known;
        const block = await json("samples", {id, frame: index, x, y, width: BLOCK, height: BLOCK}, signal);
        this.#blocks.set(key, block);
        if (this.#blocks.size > KEPT) this.#blocks.delete(this.#blocks.keys().next().value);
        return block;
    }

    #tell(pixel, frames, samples) {
        const line = ({label}, values) => element("span", {class: "samples"}, label,
            ...(values ?? []).flatMap(({channel, value}) =>
                [" ", element("span", {class: `sample ${channel}`}, `${channel.toUpperCase()} ${value}`)]));
        this.#output.replaceChildren(element("span", {class: "position"}, `${pixel.x}, ${pixel.y}`),
            ...frames.map((frame, i) => line(frame, samples[i])));
    }
}
