// What is known of a clip besides its pictures: its format, its metadata streams, and the files of the
// frame that is shown. Streams and files are asked for when they are unfolded.
import {byId, element, settled} from "./dom.js";
import {isAbort, json, text} from "./api.js";

const SAMPLES = {uint8: "8 bits", uint10: "10 bits", uint16: "16 bits", half: "halves", float: "floats",
    unknown: "of an unknown layout"};

function formatRows(node) {
    return [
        ["Size", `${node.width} × ${node.height}`],
        ["Pixel", `${node.ratio || 1} : 1`],
        ["Rate", `${node.rateText ?? node.rate} frames/s`],
        ["Frames", String(node.frames)],
        ["Samples", `${node.layout.name || "unknown"}, ${SAMPLES[node.layout.sample] ?? node.layout.sample}`],
        ["Tag", node.tag || "none"],
        ["Type", node.type || "none"],
        ["Node", node.id],
    ];
}

export class Details {
    #node = null;
    #index = 0;
    #asking = null;
    #showPathsLater = settled(250, () => this.#showPaths());

    constructor() {
        byId("files").addEventListener("toggle", () => this.#showPaths());
    }

    show(node) {
        this.#node = node;
        byId("format").replaceChildren(...formatRows(node).flatMap(
            ([name, value]) => [element("dt", {}, name), element("dd", {}, value)]));
        const streams = (node.streams ?? []).map((name) => this.#streamOf(name));
        byId("streams").replaceChildren(...(streams.length ? streams : ["This clip has no metadata."]));
        byId("paths").replaceChildren();
    }

    /// Shows the files of another frame, once it has been shown for a while.
    showFrame(index) {
        this.#index = index;
        this.#showPathsLater();
    }

    #streamOf(name) {
        const body = element("pre", {tabindex: "0"});
        const stream = element("details", {class: "stream"}, element("summary", {}, name), body);
        const id = this.#node.id;
        stream.addEventListener("toggle", async () => {
            if (!stream.open) return;
            body.textContent = await text("metadata", {id, name}).catch((error) => error.message);
        });
        return stream;
    }

    async #showPaths() {
        if (!byId("files").open || !this.#node) return;
        this.#asking?.abort();
        const asking = this.#asking = new AbortController();
        const tell = (...rows) => byId("paths").replaceChildren(...rows.map((row) => element("li", {}, row)));
        try {
            const {paths, frameId} = await json("paths", {id: this.#node.id, frame: this.#index}, asking.signal);
            tell(...(paths.length ? paths : ["The server tells no file."]), `frame id ${frameId}`);
        } catch (error) {
            if (!isAbort(error)) tell(error.message);
        }
    }
}
