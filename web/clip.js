// A clip that is looked at: brings together the reel of pictures, the player that says which is due,
// the canvas they are drawn on, and what else is shown of the clip.
import {beforeRepaint, byId, clamp, settled} from "./dom.js";
import {formatAddress, formatPlace, parseAddress, sameNode} from "./address.js";
import {json} from "./api.js";
import {Comparison} from "./comparison.js";
import {connection} from "./connection.js";
import {Details} from "./details.js";
import {Look} from "./look.js";
import {Player} from "./player.js";
import {listenToPointer} from "./pointer.js";
import {Probe} from "./probe.js";
import {Reel} from "./reel.js";
import {Transport} from "./transport.js";
import {Viewer} from "./viewer.js";

const REDUCTIONS = [8, 4, 3, 2]; // by which pictures are made smaller, as far as nothing is lost on the canvas
const THUMBNAIL = 480; // columns: the server lets what is no wider wait

export class Clip {
    #canvas = byId("picture");
    #node = null;
    #place = null;
    #opening = 0; // counts what was opened, so that a late answer is known
    #pictures = []; // on the canvas
    #shown = null; // index of the frame they are of
    #width = undefined; // of the pictures asked for
    #reel = new Reel((index) => this.#arrived(index), (index, error) => this.#failed(index, error));
    #probe = new Probe(byId("probe"));
    #details = new Details();
    #writeAddressLater = settled(300, () => this.#writeAddress());
    #fitWidthLater = settled(150, () => this.#fitWidth());
    #readAroundLater = settled(100, () => this.#readAround());
    #probeAgainLater = settled(60, () => this.#pointAt(this.#probe.pixel));

    constructor() {
        this.player = new Player(this.#reel, (what) => this.#playerChanged(what));
        this.transport = new Transport(this.player);
        this.viewer = new Viewer(this.#canvas, beforeRepaint(() => this.#draw()));
        this.look = new Look(this.viewer, () => this.#refetch());
        this.comparison = new Comparison(() => this.#refetch(), (place) => this.#compareWith(place));
        listenToPointer(this.#canvas, this.viewer, (pixel) => this.#pointAt(pixel));
        connection.addEventListener("back", () => this.#wantAgain());
        document.addEventListener("visibilitychange", () => document.hidden && this.player.pause());
    }

    get isOpen() { return this.#node !== null; }

    /// Shows a clip at a place, as the options of the address say; `parent` is the node above it, if known.
    async open(found, place, options, parent, parentPlace) {
        const opening = ++this.#opening;
        this.player.pause();
        const node = found.frames === undefined ? await json("node", {id: found.id}) : found;
        if (opening !== this.#opening) return;
        const isAnother = this.#node?.id !== node.id;
        this.#node = node;
        this.#place = place;
        const index = clamp(place.frame ?? 0, 0, Math.max(0, node.frames - 1));
        if (isAnother) this.#begin(node);
        this.look.show(node.layout, options);
        const failure = await this.comparison.show(options, index).then(() => "", (error) => error.message);
        if (opening !== this.#opening) return;
        this.player.cue(index, {first: this.#markOf(options.first), last: this.#markOf(options.last)});
        this.transport.show(node);
        this.#refetch();
        byId("stage-text").textContent = node.frames ? failure : "This clip has no frames.";
        if (isAnother) await this.comparison.offer(parent, parentPlace);
    }

    close() {
        ++this.#opening;
        this.player.pause();
        this.#writeAddressLater.cancel();
        this.#node = null;
        this.#pictures = [];
        this.endProbe();
        this.#reel.clear();
    }

    /// Ends the comparison, or the marking of a pixel.
    leave() {
        if (this.viewer.cross) this.endProbe();
        else if (this.comparison.other) this.#compareWith(null);
    }

    /// Marks the pixel in the middle, or the one that lies so many pixels from the one that is marked.
    moveProbe(dx, dy) {
        const {width, height} = this.#node;
        const from = this.viewer.cross ?? {x: Math.floor(width / 2), y: Math.floor(height / 2)};
        const pixel = {x: clamp(from.x + dx, 0, width - 1), y: clamp(from.y + dy, 0, height - 1)};
        this.viewer.cross = pixel;
        this.viewer.reveal(pixel);
        this.#pointAt(pixel);
    }

    endProbe() {
        this.viewer.cross = null;
        this.#pointAt(null);
        this.viewer.pan(0, 0);
    }

    /// A mark as the address has it; null for none.
    #markOf(text) { return /^\d+$/.test(text) ? clamp(Number(text), 0, this.#node.frames - 1) : null; }

    #begin(node) {
        this.#reel.clear();
        this.#pictures = [];
        this.#shown = null;
        delete this.#canvas.dataset.frame;
        this.endProbe();
        this.viewer.measure();
        this.viewer.setFrame(node);
        this.#details.show(node);
    }

    /// Fetches pictures as they are to be looked at now.
    #refetch() {
        this.viewer.layout = this.comparison.pictureLayout;
        this.#width = this.#neededWidth();
        this.#reel.fetchFrom(this.#node, this.comparison, {...this.look.parameters, width: this.#width});
        if (!this.comparison.other || this.comparison.how !== "difference") byId("largest").hidden = true;
        if (this.#node.frames) this.player.seek(this.player.index);
    }

    /// The width of the smallest pictures that lose nothing on the canvas; undefined is that of the frame.
    #neededWidth() {
        const needed = this.viewer.neededColumns();
        const widths = REDUCTIONS.map((by) => Math.ceil(this.#node.width / by));
        return widths.find((width) => width >= needed && width > THUMBNAIL);
    }

    #fitWidth() {
        if (this.#node && this.#width !== this.#neededWidth()) this.#refetch();
    }

    #playerChanged(what) {
        if (!this.#node) return;
        if (what !== "frame") this.transport.showState();
        this.transport.showFrame();
        if (this.#reel.has(this.player.index)) this.#present(this.player.index);
        if (this.player.playing) return;
        this.#writeAddressLater();
        this.#readAroundLater();
    }

    /// A frame on the way to the one that is wanted is shown until that one is there.
    #arrived(index) {
        const {player} = this;
        if (player.playing) return;
        if (index === player.index || !this.#reel.has(player.index)) this.#present(index);
        if (index === player.index) this.#readAroundLater();
    }

    #failed(index, error) {
        if (error.kind === "connection") this.player.pause();
        if (index === this.player.index) byId("stage-text").textContent = error.message;
    }

    #wantAgain() {
        if (!this.#node) return;
        this.#reel.forgetFailures();
        byId("stage-text").textContent = "";
        this.#refetch();
    }

    #present(index) {
        const pictures = this.#reel.take(index);
        if (!pictures) return;
        this.#pictures = pictures;
        if (index !== this.#shown && this.#probe.pixel) this.#probeAgainLater();
        this.#shown = index;
        byId("stage-text").textContent = "";
        this.#draw();
        this.#canvas.dataset.frame = index; // the frame on the canvas
        this.#canvas.setAttribute("aria-label", `Frame ${index} of ${this.#node.name}`);
        this.#showLargest(pictures[0]);
        if (!this.player.playing) this.#details.showFrame(index);
    }

    #draw() {
        if (!this.#node) return;
        this.viewer.draw(this.#pictures);
        this.look.showScale();
        this.#fitWidthLater();
    }

    #showLargest(picture) {
        const isDifference = picture?.largest !== undefined && this.comparison.how === "difference";
        byId("largest").hidden = !isDifference;
        if (isDifference) byId("largest").textContent =
            `largest difference ${picture.largest}, in ${picture.differing} pixel${picture.differing === 1 ? "" : "s"}`;
    }

    /// Fetches what is likely to be asked for next.
    #readAround() {
        if (!this.#node || this.player.playing || !this.#reel.has(this.player.index)) return;
        const {index} = this.player;
        this.#reel.plan([index + 1, index + 2, index - 1, index + 3]);
    }

    #pointAt(pixel) {
        const at = pixel ?? this.viewer.cross;
        if (!this.#node || this.#shown === null || !at) return this.#probe.show(null, []);
        const frames = [{id: this.#node.id, index: this.#shown, label: "", scaleX: 1, scaleY: 1}];
        const {other} = this.comparison;
        const beside = other && this.comparison.indexBeside(this.#shown);
        if (beside !== null) frames.push({id: other.node.id, index: beside, label: other.node.name,
            scaleX: other.node.width / this.#node.width, scaleY: other.node.height / this.#node.height});
        if (frames.length > 1) frames[0].label = this.#node.name;
        return this.#probe.show(at, frames);
    }

    /// Compares with the clip at another place; null ends it.
    #compareWith(place) {
        if (place) {
            location.hash = formatAddress(this.#placeNow(), {...this.#options(), with: formatPlace(place)});
            return;
        }
        this.comparison.end();
        this.#refetch();
    }

    #placeNow() { return {...this.#place, frame: this.player.index}; }

    #options() {
        return {...this.comparison.optionsAt(this.player.index), ...this.look.parameters, ...this.player.marks};
    }

    /// So that the address can be sent to a colleague at any time.
    #writeAddress() {
        const isStillHere = this.#node && sameNode(parseAddress(location.hash).place, this.#place);
        if (isStillHere) history.replaceState(null, "", formatAddress(this.#placeNow(), this.#options()));
    }
}
