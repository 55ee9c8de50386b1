// How a picture is looked at: scale, channel and exposure, and the controls for them.
import {byId, clamp, element} from "./dom.js";

const CHANNELS = {rgb: "All", r: "Red", g: "Green", b: "Blue", a: "Alpha", luma: "Luma"};
const EXPOSURE = 10; // stops, either way
const STEP = 0.5;

export class Look {
    #viewer;
    #changed;
    #hasExposure = false;
    channel = "rgb";
    exposure = 0;

    /// `changed` is called when pictures have to be fetched anew.
    constructor(viewer, changed) {
        this.#viewer = viewer;
        this.#changed = changed;
        byId("fit").addEventListener("click", () => viewer.fit());
        byId("one-to-one").addEventListener("click", () => viewer.zoomTo(1));
        byId("zoom-in").addEventListener("click", () => viewer.zoomBy(1));
        byId("zoom-out").addEventListener("click", () => viewer.zoomBy(-1));
        byId("channel").addEventListener("change", (event) => this.setChannel(event.target.value));
        byId("exposure").addEventListener("input", (event) => this.setExposure(Number(event.target.value)));
    }

    /// Offers what the clip's layout has, and takes up what the address asks for.
    show(layout, {channel, exposure}) {
        const has = (name) => layout.channels.includes(name);
        const offered = Object.keys(CHANNELS).filter((name) => name === "rgb" || has(name) || (name === "luma" && has("g")));
        byId("channel").replaceChildren(...offered.map((name) => element("option", {value: name}, CHANNELS[name])));
        this.#hasExposure = ["half", "float"].includes(layout.sample);
        this.channel = offered.includes(channel) ? channel : "rgb";
        this.exposure = this.#hasExposure ? clamp(Number(exposure) || 0, -EXPOSURE, EXPOSURE) : 0;
        this.#showChoice();
    }

    /// What goes into a request for a picture.
    get parameters() {
        return {channel: this.channel === "rgb" ? undefined : this.channel, exposure: this.exposure || undefined};
    }

    setChannel(name) {
        const offered = [...byId("channel").options].map((option) => option.value);
        if (!offered.includes(name)) return;
        this.channel = name === this.channel ? "rgb" : name;
        this.#showChoice();
        this.#changed();
    }

    expose(steps) { this.setExposure(this.exposure + steps * STEP); }

    setExposure(stops) {
        if (!this.#hasExposure) return;
        this.exposure = clamp(stops, -EXPOSURE, EXPOSURE);
        this.#showChoice();
        this.#changed();
    }

    showScale() {
        const {scale, isFit} = this.#viewer;
        byId("zoom").textContent = `${(scale * 100).toFixed(scale < 0.1 ? 1 : 0)} %`;
        byId("fit").setAttribute("aria-pressed", isFit);
        byId("one-to-one").setAttribute("aria-pressed", !isFit && scale === 1);
    }

    #showChoice() {
        byId("channel").value = this.channel;
        byId("exposure-label").hidden = !this.#hasExposure;
        byId("exposure").value = this.exposure;
        byId("exposure-value").textContent = `${this.exposure > 0 ? "+" : ""}${this.exposure}`;
    }
}
