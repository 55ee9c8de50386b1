// Search by name below the node that is shown: results come as they are found, and a new search
// ends the one before.
import {byId, element, settled} from "./dom.js";
import {formatAddress, placeOfPath} from "./address.js";
import {isAbort, lines} from "./api.js";

const LIMIT = 200;

export class Search {
    #rootId;
    #running = null;

    constructor(rootId) {
        this.#rootId = rootId;
        const input = byId("search");
        const later = settled(250, () => this.#find(input.value.trim()));
        input.addEventListener("input", later);
        byId("search-form").addEventListener("submit", (event) => {
            event.preventDefault();
            byId("found").querySelector("a")?.focus();
        });
        input.addEventListener("keydown", (event) => {
            if (event.key !== "Escape") return;
            input.value = "";
            later.cancel();
            this.#find("");
        });
    }

    async #find(words) {
        this.#running?.abort();
        this.#running = null;
        const found = byId("found");
        found.replaceChildren();
        byId("tree-pane").hidden = words !== "";
        byId("found-pane").hidden = words === "";
        if (words === "") return;
        const running = this.#running = new AbortController();
        const tell = (text) => { byId("found-count").textContent = text; };
        tell("Searching …");
        try {
            const parameters = {id: this.#rootId, name: words, limit: LIMIT};
            for await (const {path, node, error} of lines("search", parameters, running.signal)) {
                if (error) return tell(error);
                found.append(this.#resultOf(path, node));
                tell(`Searching … ${found.childElementCount} found`);
            }
            const count = found.childElementCount;
            tell(count === LIMIT ? `The first ${LIMIT}; a longer name finds fewer` : `${count} found`);
        } catch (error) {
            if (!isAbort(error)) tell(error.message);
        }
    }

    #resultOf(path, node) {
        const parent = path.slice(0, path.lastIndexOf("/")) || "/";
        const place = node.name.includes("/") || node.name === "" ? {id: node.id} : placeOfPath(path);
        return element("li", {}, element("a", {href: formatAddress(place)},
            element("span", {class: node.kind === "clip" ? "name clip" : "name"}, node.name || "(no name)"),
            element("span", {class: "where"}, parent)));
    }
}
