// A node that holds others: a card for each, clips with a thumbnail that is fetched once the card
// is near what is seen, and given up when it has been scrolled away.
import {byId, element} from "./dom.js";
import {formatAddress} from "./address.js";
import {isAbort, request} from "./api.js";
import {connection} from "./connection.js";
import {Listing, whenNear} from "./listing.js";

const AT_ONCE = 5; // of the six connections that browsers make; one is left for the rest
const WIDTH = 240;

export class Folder {
    #grid = byId("cards");
    #observer = null;
    #waiting = new Set(); // cards that are near and have no picture yet, in the order they came
    #fetching = new Map(); // of each card that is being fetched, what gives it up
    #nodes = new WeakMap();
    #forgetMore = null;
    #opened = null;

    constructor() {
        connection.addEventListener("back", () => this.#retry());
    }

    /// Shows the children of a node; ends what was shown before.
    async open(node, place) {
        this.close();
        const opened = this.#opened = new AbortController();
        this.#observer = new IntersectionObserver((entries) => this.#moved(entries),
            {root: byId("main"), rootMargin: "100px"});
        byId("folder-title").textContent = node.name || "/";
        await this.#addPart(new Listing(node.id, place), opened.signal);
    }

    close() {
        this.#opened?.abort();
        this.#observer?.disconnect();
        this.#forgetMore?.();
        this.#waiting.clear();
        for (const fetching of this.#fetching.values()) fetching.abort();
        this.#fetching.clear();
        for (const picture of this.#grid.querySelectorAll("img")) URL.revokeObjectURL(picture.src);
        this.#grid.replaceChildren();
    }

    async #addPart(listing, signal) {
        this.#forgetMore?.();
        const part = await listing.next(signal);
        for (const {node, place} of part) this.#grid.append(this.#cardOf(node, place));
        byId("folder-count").textContent = listing.total === 1 ? "1 node" : `${listing.total} nodes`;
        if (listing.isComplete) return;
        this.#forgetMore = whenNear(byId("cards-end"), byId("main"), () => this.#addPart(listing, signal).catch(() => {}));
    }

    #cardOf(node, place) {
        const isClip = node.kind === "clip";
        const name = node.name || "(no name)";
        const card = element("a", {class: isClip ? "card clip" : "card", href: formatAddress(place)},
            element("span", {class: "thumbnail", "aria-hidden": "true"}),
            element("span", {class: "name"}, name), element("span", {class: "detail"}, isClip ? "" : "folder"));
        this.#nodes.set(card, node);
        if (isClip) this.#observer.observe(card);
        return element("li", {}, card);
    }

    #moved(entries) {
        for (const {target, isIntersecting} of entries) {
            if (isIntersecting) {
                this.#waiting.add(target);
            } else {
                this.#waiting.delete(target);
                this.#fetching.get(target)?.abort();
            }
        }
        this.#fetchNext();
    }

    #fetchNext() {
        for (const card of this.#waiting) {
            if (this.#fetching.size >= AT_ONCE) return;
            this.#waiting.delete(card);
            this.#fetch(card);
        }
    }

    async #fetch(card) {
        const giveUp = new AbortController();
        this.#fetching.set(card, giveUp);
        let reply = null;
        try {
            const got = await request("image", {id: this.#nodes.get(card).id, frame: 0, width: WIDTH}, giveUp.signal);
            reply = {headers: got.headers, blob: await got.blob()};
        } catch (error) {
            if (!isAbort(error)) this.#showFailure(card, error);
        }
        if (this.#fetching.get(card) === giveUp) this.#fetching.delete(card);
        this.#fetchNext(); // on its way before the page is laid out anew
        if (reply === null) return;
        this.#observer?.unobserve(card);
        this.#show(card, reply.headers, reply.blob);
    }

    #show(card, headers, blob) {
        if (!card.isConnected) return;
        const picture = element("img", {alt: "", src: URL.createObjectURL(blob)});
        card.querySelector(".thumbnail").replaceChildren(picture);
        const frames = headers.get("Lantrix-Frames");
        card.querySelector(".detail").textContent =
            `${headers.get("Lantrix-Width")} × ${headers.get("Lantrix-Height")}, ${frames} frame${frames === "1" ? "" : "s"}`;
    }

    #showFailure(card, error) {
        card.querySelector(".detail").textContent = error.message;
        card.classList.toggle("failed", error.kind === "connection");
    }

    #retry() {
        for (const card of this.#grid.querySelectorAll(".failed")) {
            card.classList.remove("failed");
            this.#waiting.add(card);
        }
        this.#fetchNext();
    }
}
