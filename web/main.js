// The page: shows the place that the address names, a folder or a clip, and listens to keys.
import {byId, element} from "./dom.js";
import {displayPath, formatAddress, parseAddress, placeOfPath} from "./address.js";
import {RequestError, isAbort, json, nodesTo} from "./api.js";
import {Clip} from "./clip.js";
import {connection} from "./connection.js";
import {Folder} from "./folder.js";
import {listenToKeys} from "./keys.js";
import {Measures} from "./measures.js";
import {Search} from "./search.js";
import {keyTable} from "./shortcuts.js";
import {Tree} from "./tree.js";

const tree = new Tree(byId("tree"));
const folder = new Folder();
const clip = new Clip();
const measures = new Measures();
let opening = null; // what gives up the place that is being opened
let rootPlace = null;
let hasFailed = false;

/// The places of nodes from the root down; those of a node addressed by its id is its own.
const placesOf = (nodes, place) => (place.id !== undefined ? [place]
    : nodes.map((_, i) => ({names: place.names.slice(0, i), frame: null})));

function showSection(shown) {
    for (const section of ["message", "folder", "clip"]) byId(section).hidden = section !== shown;
    if (shown !== "clip") clip.close();
    if (shown !== "folder") folder.close();
}

function showTrail(nodes, places) {
    byId("trail").replaceChildren(...nodes.map((node, i) => element("li", {},
        element("a", {href: formatAddress(places[i]), "aria-current": i === nodes.length - 1 && "page"},
            i === 0 && places[i].names ? "/" : node.name || "(no name)"))));
    document.title = `${nodes.at(-1).name || displayPath(places.at(-1))} · lantrix`;
}

/// Shows the place of the address; one that can't be had leaves a text that says why.
async function openAddress() {
    opening?.abort();
    const {signal} = opening = new AbortController();
    const {place, options} = parseAddress(location.hash);
    hasFailed = false;
    document.body.classList.remove("tree-open");
    try {
        const nodes = await nodesTo(place, signal);
        if (signal.aborted) return;
        const node = nodes.at(-1), places = placesOf(nodes, place);
        showTrail(nodes, places);
        const isClip = node.kind === "clip";
        showSection(isClip ? "clip" : "folder");
        const opened = isClip ? clip.open(node, place, options, nodes.at(-2), places.at(-2)) : folder.open(node, place);
        tree.reveal(places);
        await opened;
    } catch (error) {
        if (isAbort(error) || signal.aborted) return;
        hasFailed = true;
        showSection("message");
        byId("message").textContent = error.message;
        if (!(error instanceof RequestError)) throw error; // a fault of the page: the browser logs it
    }
}

async function begin() {
    const about = await json("about");
    byId("host").textContent = about.host;
    byId("host").title = [about.vendor, about.product, about.version, `protocol ${about.protocol}`].join(" ");
    rootPlace = placeOfPath(about.path);
    if (location.hash.length < 2) history.replaceState(null, "", formatAddress(rootPlace));
    new Search(about.rootId);
    const root = {id: about.rootId, name: rootPlace.names.at(-1) ?? "", kind: "node"};
    await tree.showRoot(root, rootPlace, rootPlace.names.at(-1) ?? about.host);
    await openAddress();
}

/// Begins as soon as the server is there.
async function beginOnceThere() {
    try {
        await begin();
        addEventListener("hashchange", openAddress);
        connection.addEventListener("back", () => hasFailed && openAddress());
    } catch (error) {
        showSection("message");
        byId("message").textContent = error.message;
        connection.addEventListener("back", beginOnceThere, {once: true});
    }
}

function toggleTree() {
    const opens = document.body.classList.toggle("tree-open");
    byId("tree-toggle").setAttribute("aria-expanded", opens);
}

byId("tree-toggle").addEventListener("click", toggleTree);
byId("banner-retry").addEventListener("click", () => connection.retry());
byId("help-open").addEventListener("click", () => byId("help").showModal());
listenToKeys(keyTable({clip, measures, tree, toggleTree}));
beginOnceThere();
