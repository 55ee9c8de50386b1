// Draws one picture, two beside each other, or two with a wipe between them, at a scale that fits
// or is chosen; tells which pixel of the frame is at a place on the canvas.
import {clamp} from "./dom.js";

const LARGEST_SCALE = 64; // device pixels for a pixel of the frame
const STEP = Math.SQRT2;
const SMOOTH_BELOW = 2; // above it pixels are shown as squares

export class Viewer {
    #canvas;
    #context;
    #changed;
    #frame = {width: 1, height: 1, ratio: 1};
    #scale = null; // null fits; device pixels for the height of a pixel of the frame
    #centre = {x: 0, y: 0}; // what lies in the middle, in pixels of the frame
    layout = "single"; // or "side", "wipe"
    wipe = 0.5; // where the wipe is, as a share of the frame's width
    cross = null; // the pixel that is marked

    /// `changed` is called when it has to be drawn again.
    constructor(canvas, changed) {
        this.#canvas = canvas;
        this.#context = canvas.getContext("2d", {alpha: false});
        this.#changed = changed;
        new ResizeObserver(() => this.measure()).observe(canvas);
    }

    /// Takes up the size that the canvas has on the page.
    measure() {
        this.#canvas.width = Math.max(1, Math.round(this.#canvas.clientWidth * devicePixelRatio));
        this.#canvas.height = Math.max(1, Math.round(this.#canvas.clientHeight * devicePixelRatio));
        this.#changed();
    }

    setFrame({width, height, ratio}) {
        this.#frame = {width: Math.max(1, width), height: Math.max(1, height), ratio: ratio > 0 ? ratio : 1};
        this.fit();
    }

    get isFit() { return this.#scale === null; }
    get scale() { return this.#scale ?? this.#fittingScale(); }

    fit() {
        this.#scale = null;
        this.#centre = {x: this.#frame.width / 2, y: this.#frame.height / 2};
        this.#changed();
    }

    /// Shows the frame at this scale; what lies `at` this place of the canvas stays there.
    zoomTo(scale, at = this.#middle()) {
        const before = this.#toFrame(at);
        this.#scale = clamp(scale, Math.min(this.#fittingScale(), 1) / 4, LARGEST_SCALE);
        const after = this.#toFrame(at);
        this.pan(before.x - after.x, before.y - after.y);
    }

    zoomBy(steps, at) { this.zoomTo(this.scale * STEP ** steps, at); }

    /// Moves what is seen, by pixels of the frame.
    pan(dx, dy) {
        this.#centre.x = clamp(this.#centre.x + dx, 0, this.#frame.width);
        this.#centre.y = clamp(this.#centre.y + dy, 0, this.#frame.height);
        this.#changed();
    }

    panByScreen(dx, dy) {
        const scale = this.scale / devicePixelRatio;
        this.pan(-dx / (scale * this.#frame.ratio), -dy / scale);
    }

    /// Moves what is seen so that a pixel is within it.
    reveal({x, y}) {
        const pane = this.#paneSize();
        const halfWidth = pane.width / 2 / (this.scale * this.#frame.ratio), halfHeight = pane.height / 2 / this.scale;
        const outside = (value, centre, half) => (Math.abs(value - centre) > half ? value - centre : 0);
        this.pan(outside(x, this.#centre.x, halfWidth), outside(y, this.#centre.y, halfHeight));
    }

    /// How many columns a picture needs so that nothing is lost on the canvas.
    neededColumns() {
        return Math.min(this.#frame.width, Math.ceil(this.#frame.width * this.scale * Math.max(1, this.#frame.ratio)));
    }

    /// The pixel of the frame below a pointer, or null beside it.
    pixelAt(event) {
        const {x, y} = this.#toFrame(this.#fromPointer(event));
        const inside = x >= 0 && y >= 0 && x < this.#frame.width && y < this.#frame.height;
        return inside ? {x: Math.floor(x), y: Math.floor(y)} : null;
    }

    /// Where a pointer is on the canvas, for zoomTo.
    placeOf(event) { return this.#fromPointer(event); }

    wipeTo(event) {
        this.wipe = clamp(this.#toFrame(this.#fromPointer(event)).x / this.#frame.width, 0, 1);
        this.#changed();
    }

    isNearWipe(event) {
        const at = this.#fromPointer(event);
        return this.layout === "wipe" && Math.abs(at.x - this.#wipeColumn()) < 12 * devicePixelRatio;
    }

    /// Draws these pictures; one that is missing leaves its place empty.
    draw([first, second]) {
        const {width, height} = this.#canvas;
        this.#context.fillStyle = getComputedStyle(this.#canvas).getPropertyValue("--behind");
        this.#context.fillRect(0, 0, width, height);
        this.#context.imageSmoothingEnabled = this.scale < SMOOTH_BELOW;
        this.#context.imageSmoothingQuality = "medium";
        if (this.layout === "side") {
            this.#drawIn(first, 0, width / 2, 0);
            this.#drawIn(second, width / 2, width / 2, width / 2);
            this.#line(Math.round(width / 2));
        } else if (this.layout === "wipe") {
            const column = clamp(this.#wipeColumn(), 0, width);
            this.#drawIn(first, 0, column, 0);
            this.#drawIn(second, column, width - column, 0);
            this.#line(column);
        } else {
            this.#drawIn(first, 0, width, 0);
        }
    }

    /// Draws a picture where it is cut to `width` from `left` on; its pane begins at `pane`.
    #drawIn(picture, left, width, pane) {
        if (!picture?.bitmap.width) return; // not there, or closed since
        const {x, y} = this.#toCanvas({x: 0, y: 0});
        const context = this.#context;
        context.save();
        context.beginPath();
        context.rect(left, 0, width, this.#canvas.height);
        context.clip();
        context.drawImage(picture.bitmap, x + pane, y, this.#frame.width * this.scale * this.#frame.ratio,
            this.#frame.height * this.scale);
        if (this.cross) this.#drawCross(pane);
        context.restore();
    }

    #drawCross(pane) {
        const corner = this.#toCanvas(this.cross);
        const size = Math.max(this.scale, 3), arm = 12 * devicePixelRatio;
        const x = corner.x + pane, y = corner.y;
        for (const [style, width] of [["#000", 3], ["#fff", 1]]) {
            this.#context.strokeStyle = style;
            this.#context.lineWidth = width * devicePixelRatio;
            this.#context.strokeRect(x - 1, y - 1, size + 2, size + 2);
            this.#context.beginPath();
            for (const way of [-1, 1]) {
                const from = way < 0 ? -2 : size + 2;
                this.#context.moveTo(x + from, y + size / 2);
                this.#context.lineTo(x + from + way * arm, y + size / 2);
                this.#context.moveTo(x + size / 2, y + from);
                this.#context.lineTo(x + size / 2, y + from + way * arm);
            }
            this.#context.stroke();
        }
    }

    #line(column) {
        this.#context.fillStyle = "#fff";
        this.#context.fillRect(column - devicePixelRatio / 2, 0, devicePixelRatio, this.#canvas.height);
    }

    #wipeColumn() { return Math.round(this.#toCanvas({x: this.wipe * this.#frame.width, y: 0}).x); }

    #paneSize() {
        const {width, height} = this.#canvas;
        return {width: this.layout === "side" ? width / 2 : width, height};
    }

    #fittingScale() {
        const pane = this.#paneSize();
        return Math.min(pane.width / (this.#frame.width * this.#frame.ratio), pane.height / this.#frame.height) || 1;
    }

    #middle() {
        const pane = this.#paneSize();
        return {x: pane.width / 2, y: pane.height / 2};
    }

    /// Places of the canvas are those of the first pane.
    #toCanvas({x, y}) {
        const middle = this.#middle();
        return {x: middle.x + (x - this.#centre.x) * this.scale * this.#frame.ratio,
            y: middle.y + (y - this.#centre.y) * this.scale};
    }

    #toFrame({x, y}) {
        const middle = this.#middle();
        return {x: this.#centre.x + (x - middle.x) / (this.scale * this.#frame.ratio),
            y: this.#centre.y + (y - middle.y) / this.scale};
    }

    #fromPointer(event) {
        const box = this.#canvas.getBoundingClientRect();
        const x = (event.clientX - box.left) * devicePixelRatio, y = (event.clientY - box.top) * devicePixelRatio;
        const pane = this.#paneSize();
        return {x: x >= pane.width && this.layout === "side" ? x - pane.width : x, y};
    }

}
