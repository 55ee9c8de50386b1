// The tree of nodes, unfolded as needed. Follows the pattern of a tree for keyboards and screen
// readers: one item can be reached by Tab, arrows move among those that are seen.
import {element} from "./dom.js";
import {formatAddress, formatPlace, sameNode} from "./address.js";
import {isAbort} from "./api.js";
import {connection} from "./connection.js";
import {Listing, whenNear} from "./listing.js";

const PARTS_TO_LOOK_THROUGH = 10; // for a node that is to be shown among many siblings

export class Tree {
    #list;
    #items = new WeakMap(); // of each <li>: {place, listing, group, loading, forget}
    #selected = null;

    constructor(list) {
        this.#list = list;
        list.addEventListener("click", (event) => this.#clicked(event));
        list.addEventListener("keydown", (event) => this.#pressed(event));
        connection.addEventListener("back", () => this.#loadWhatFailed());
    }

    /// Begins anew at this node and unfolds it.
    async showRoot(node, place, label) {
        const item = this.#itemOf(node, place, 1, label);
        item.tabIndex = 0;
        this.#list.replaceChildren(item);
        await this.#unfold(item);
    }

    /// Unfolds what leads to the last of these places, and marks it.
    async reveal(places) {
        let item = this.#list.firstElementChild;
        if (!item) return;
        const from = places.findIndex((place) => sameNode(place, this.#items.get(item).place));
        for (const place of from < 0 ? [] : places.slice(from + 1)) {
            await this.#unfold(item);
            const next = await this.#childAt(item, place);
            if (!next) break;
            item = next;
        }
        const last = places.at(-1);
        this.#mark(sameNode(this.#items.get(item).place, last) ? item
            : this.#list.querySelector(`[data-place="${CSS.escape(formatPlace(last))}"]`));
    }

    focus() { this.#list.querySelector("[tabindex='0']")?.focus(); }

    #itemOf(node, place, level, label = node.name || "(no name)") {
        const isClip = node.kind === "clip";
        const row = element("div", {class: "row"}, element("span", {class: "twist", "aria-hidden": "true"}),
            element("span", {class: isClip ? "name clip" : "name"}, label));
        const item = element("li", {role: "treeitem", tabindex: "-1", "aria-level": level, "aria-selected": "false",
            "aria-label": isClip ? `${label}, clip` : label, "data-place": formatPlace(place)}, row);
        if (!isClip && node.children !== 0) item.setAttribute("aria-expanded", "false");
        this.#items.set(item, {place, listing: new Listing(node.id, place)});
        return item;
    }

    /// Shows the children of an item, which are asked for the first time.
    async #unfold(item) {
        if (!item.hasAttribute("aria-expanded")) return;
        item.setAttribute("aria-expanded", "true");
        const entry = this.#items.get(item);
        if (!entry.group) {
            entry.group = element("ul", {role: "group"});
            item.append(entry.group);
        }
        entry.group.hidden = false;
        if (!entry.group.childElementCount) await this.#loadMore(item);
    }

    #fold(item) {
        item.setAttribute("aria-expanded", "false");
        this.#items.get(item).group.hidden = true;
    }

    /// Adds the next part of an item's children; one part at a time.
    #loadMore(item) {
        const entry = this.#items.get(item);
        entry.loading ??= this.#load(item, entry).finally(() => { entry.loading = null; });
        return entry.loading;
    }

    async #load(item, entry) {
        const level = Number(item.getAttribute("aria-level")) + 1;
        entry.failed = false;
        try {
            const part = await entry.listing.next();
            entry.forget?.();
            entry.group.querySelector(":scope > .more")?.remove();
            entry.group.append(...part.map(({node, place}) => this.#itemOf(node, place, level)));
        } catch (error) {
            if (!isAbort(error)) this.#showFailure(entry, error);
            return;
        }
        if (!entry.listing.isComplete) this.#offerMore(item, entry);
    }

    #offerMore(item, entry) {
        const more = element("li", {class: "more", role: "none"}, `of ${entry.listing.total}`);
        entry.group.append(more);
        entry.forget = whenNear(more, this.#list.parentElement, () => this.#loadMore(item));
    }

    #showFailure(entry, error) {
        entry.failed = true;
        entry.group.querySelector(":scope > .more")?.remove();
        entry.group.append(element("li", {class: "more", role: "none"}, error.message));
    }

    #loadWhatFailed() {
        for (const item of this.#list.querySelectorAll("[role=treeitem]"))
            if (this.#items.get(item).failed) this.#loadMore(item);
    }

    async #childAt(item, place) {
        const entry = this.#items.get(item);
        for (let part = 0; part < PARTS_TO_LOOK_THROUGH; ++part) {
            const found = [...entry.group?.children ?? []].find(
                (child) => this.#items.has(child) && sameNode(this.#items.get(child).place, place));
            if (found || !entry.group || entry.failed || entry.listing.isComplete) return found;
            await this.#loadMore(item);
        }
        return undefined;
    }

    #mark(item) {
        this.#selected?.setAttribute("aria-selected", "false");
        this.#selected = item;
        if (!item) return;
        item.setAttribute("aria-selected", "true");
        this.#makeCurrent(item);
        item.firstElementChild.scrollIntoView({block: "nearest"});
    }

    #makeCurrent(item) {
        for (const other of this.#list.querySelectorAll("[tabindex='0']")) other.tabIndex = -1;
        item.tabIndex = 0;
    }

    #moveTo(item) {
        if (!item) return;
        this.#makeCurrent(item);
        item.focus();
    }

    #open(item) { location.hash = formatAddress(this.#items.get(item).place); }

    #toggle(item) {
        if (item.getAttribute("aria-expanded") === "true") this.#fold(item);
        else this.#unfold(item);
    }

    #clicked(event) {
        const item = event.target.closest("[role=treeitem]");
        if (!item || !event.target.closest(".row")) return;
        this.#makeCurrent(item);
        if (event.target.classList.contains("twist")) this.#toggle(item);
        else this.#open(item);
    }

    #pressed(event) {
        const item = event.target.closest("[role=treeitem]");
        if (!item || event.ctrlKey || event.altKey || event.metaKey) return;
        const seen = [...this.#list.querySelectorAll("[role=treeitem]")].filter((each) => each.offsetParent);
        const at = seen.indexOf(item);
        const expanded = item.getAttribute("aria-expanded");
        const actions = {
            ArrowDown: () => this.#moveTo(seen[at + 1]),
            ArrowUp: () => this.#moveTo(seen[at - 1]),
            Home: () => this.#moveTo(seen[0]),
            End: () => this.#moveTo(seen.at(-1)),
            ArrowRight: () => (expanded === "true" ? this.#moveTo(seen[at + 1]) : this.#unfold(item)),
            ArrowLeft: () => (expanded === "true" ? this.#fold(item)
                : this.#moveTo(item.parentElement.closest("[role=treeitem]"))),
            Enter: () => this.#open(item),
            " ": () => this.#open(item),
        };
        if (!(event.key in actions)) return;
        event.preventDefault();
        event.stopPropagation();
        actions[event.key]();
    }
}
