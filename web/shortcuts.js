// What each key does.
import {byId} from "./dom.js";

const PROBE_LEAP = 32; // pixels
const PAN = 48; // pixels of the screen
const WIPE_STEP = 0.02;

/// The rows for listenToKeys.
export function keyTable({clip, measures, tree, toggleTree}) {
    const {player, transport, viewer, look, comparison} = clip;
    const onClip = (work) => (event) => (clip.isOpen ? void work(event) : false);
    const row = (keys, text, work) => ({keys: keys.split(" or "), text, run: onClip(work)});
    const everywhere = (keys, text, work) => ({keys: keys.split(" or "), text, run: () => void work()});
    const focus = (id) => () => {
        byId(id).focus();
        byId(id).select?.();
    };
    const toSearch = () => {
        if (!byId("search").offsetParent) toggleTree();
        focus("search")();
    };
    const toTree = () => {
        if (!byId("search").offsetParent) toggleTree();
        tree.focus();
    };
    const wipeBy = (step) => () => {
        viewer.wipe = Math.min(Math.max(viewer.wipe + step, 0), 1);
        viewer.pan(0, 0);
    };
    const arrow = (event, leap) => {
        const way = {ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1]}[event.key];
        if (viewer.cross) clip.moveProbe(way[0] * leap, way[1] * leap);
        else viewer.panByScreen(-way[0] * PAN, -way[1] * PAN);
    };
    const arrows = (modifier) => ["Left", "Right", "Up", "Down"].map((way) => `${modifier}Arrow${way}`).join(" or ");
    return [
        everywhere("?", "These keys", () => byId("help").showModal()),
        everywhere("/", "Search by name", toSearch),
        everywhere("e", "To the tree", toTree),
        everywhere("u", "To the node above", () => byId("trail").querySelector("li:nth-last-child(2) a")?.click()),
        everywhere("m", "Measurements", () => measures.toggle()),
        row(" ", "Play, pause", () => player.toggle()),
        row("ArrowLeft", "One frame back", () => player.step(-1)),
        row("ArrowRight", "One frame on", () => player.step(1)),
        row("PageUp", "Ten frames back", () => player.step(-10)),
        row("PageDown", "Ten frames on", () => player.step(10)),
        row("Home", "First frame", () => player.step(-Infinity)),
        row("End", "Last frame", () => player.step(Infinity)),
        row("j", "Type a frame's number", focus("number")),
        row("i", "Play from here on", () => player.mark("first", player.index)),
        row("o", "Play up to here", () => player.mark("last", player.index)),
        row("x", "No marks", () => transport.clearMarks()),
        row("l", "Loop", () => player.setLoop(!player.loop)),
        row("t", "As fast as frames come", () => player.setFast(!player.fast)),
        row("f", "Fit", () => viewer.fit()),
        row("1", "One pixel to one", () => viewer.zoomTo(1)),
        row("+ or =", "Larger", () => viewer.zoomBy(1)),
        row("-", "Smaller", () => viewer.zoomBy(-1)),
        row(arrows("Shift+"), "Move the picture, or the marked pixel by one", (event) => arrow(event, 1)),
        row(arrows("Ctrl+Shift+"), `Move the marked pixel by ${PROBE_LEAP}`, (event) => arrow(event, PROBE_LEAP)),
        row("p", "Mark a pixel and read it", () => (viewer.cross ? clip.endProbe() : clip.moveProbe(0, 0))),
        row("c", "All channels", () => look.setChannel("rgb")),
        row("r", "Red", () => look.setChannel("r")),
        row("g", "Green", () => look.setChannel("g")),
        row("b", "Blue", () => look.setChannel("b")),
        row("a", "Alpha", () => look.setChannel("a")),
        row("y", "Luma", () => look.setChannel("luma")),
        row("[", "Half a stop less", () => look.expose(-1)),
        row("]", "Half a stop more", () => look.expose(1)),
        row("v", "Compare with a clip", focus("compare-with")),
        row("s", "Side by side", () => comparison.setHow("side")),
        row("w", "Wipe", () => comparison.setHow("wipe")),
        row("d", "Difference", () => comparison.setHow("difference")),
        row(",", "Move the wipe left", wipeBy(-WIPE_STEP)),
        row(".", "Move the wipe right", wipeBy(WIPE_STEP)),
        row("Escape", "End the marking, then the comparison", () => clip.leave()),
    ];
}
