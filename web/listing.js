// The children of a node, a part at a time: the next part comes when its end is scrolled to.
import {json} from "./api.js";
import {placesBelow} from "./address.js";

const PART = 200;

export class Listing {
    #id;
    #placeOf;
    #from = 0;
    #total = Infinity;

    constructor(id, place) {
        this.#id = id;
        this.#placeOf = placesBelow(place);
    }

    get total() { return this.#total; }
    get isComplete() { return this.#from >= this.#total; }

    /// The next nodes with their places, as [{node, place}].
    async next(signal) {
        const part = await json("children", {id: this.#id, from: this.#from, count: PART}, signal);
        this.#total = part.nodes.length ? part.total : this.#from;
        this.#from += part.nodes.length;
        return part.nodes.map((node) => ({node, place: this.#placeOf(node)}));
    }
}

/// Calls `work` when `element` comes near what is seen of `root`; ends with the returned function.
export function whenNear(element, root, work) {
    const observer = new IntersectionObserver((entries) => {
        if (entries.some((entry) => entry.isIntersecting)) work();
    }, {root, rootMargin: "300px"});
    observer.observe(element);
    return () => observer.disconnect();
}
