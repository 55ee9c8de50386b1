// The clip that another one is compared with, and how. Its frames keep their distance from those of
// the first clip: the two that were beside each other when it began.
import {byId, element} from "./dom.js";
import {displayPath, formatPlace, parsePlace, placeOfPath} from "./address.js";
import {RequestError, json, nodesTo} from "./api.js";
import {Listing} from "./listing.js";

const WAYS = ["side", "wipe", "difference"];

export class Comparison {
    #changed;
    other = null; // {node, place, offset}: the clip, where it is, and what to add to a frame's index
    how = "side";
    gain = 1; // by which differences are made larger for the eye

    /// `changed()` is called when it is to be shown in another way; `chosen(place)` when a clip was typed, with
    /// null for none.
    constructor(changed, chosen) {
        this.#changed = changed;
        byId("compare-form").addEventListener("submit", (event) => {
            event.preventDefault();
            const typed = byId("compare-with").value.trim();
            chosen(typed === "" ? null : placeOfPath(typed));
        });
        byId("compare-with").addEventListener("change", () => byId("compare-form").requestSubmit());
        byId("compare-end").addEventListener("click", () => chosen(null));
        for (const button of document.querySelectorAll("[data-how]"))
            button.addEventListener("click", () => this.setHow(button.dataset.how));
        byId("gain").addEventListener("change", (event) => {
            this.gain = Number(event.target.value);
            changed();
        });
    }

    /// What the viewer has to draw.
    get pictureLayout() { return this.other && this.how !== "difference" ? this.how : "single"; }

    /// Takes up what the address asks for; `index` is the frame of the first clip that is shown.
    async show(options, index) {
        this.other = null;
        this.how = WAYS.includes(options.how) ? options.how : "side";
        try {
            if (options.with) this.other = await this.#find(parsePlace(options.with), index);
        } finally {
            this.#showChoice();
        }
    }

    end() {
        this.other = null;
        this.#showChoice();
    }

    setHow(how) {
        if (!this.other || this.how === how) return;
        this.how = how;
        this.#showChoice();
        this.#changed();
    }

    /// What the address says of it while this frame of the first clip is shown.
    optionsAt(index) {
        if (!this.other) return {};
        const {place, offset} = this.other;
        return {with: formatPlace({...place, frame: index + offset}), how: this.how};
    }

    /// The frame beside that of the first clip; null where there is none.
    indexBeside(index) {
        const beside = index + this.other.offset;
        return beside >= 0 && beside < this.other.node.frames ? beside : null;
    }

    /// Offers the clips beside this one by their paths.
    async offer(parent, parentPlace) {
        const choices = byId("compare-choices");
        choices.replaceChildren();
        const part = parent ? await new Listing(parent.id, parentPlace).next().catch(() => []) : [];
        choices.replaceChildren(...part.filter(({node, place}) => node.kind === "clip" && place.id === undefined)
            .map(({place}) => element("option", {value: displayPath(place)})));
    }

    async #find(place, index) {
        const found = (await nodesTo(place)).at(-1);
        if (found.kind !== "clip") throw new RequestError(`'${displayPath(place)}' is not a clip.`, "argument");
        const node = await json("node", {id: found.id});
        return {node, place, offset: place.frame === null ? 0 : place.frame - index};
    }

    #showChoice() {
        byId("compare-with").value = this.other ? displayPath(this.other.place) : "";
        byId("compare-how").hidden = !this.other;
        byId("gain").hidden = this.how !== "difference";
        for (const button of document.querySelectorAll("[data-how]"))
            button.setAttribute("aria-pressed", button.dataset.how === this.how);
    }
}
