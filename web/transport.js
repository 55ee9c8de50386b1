// The player's controls: the bar to scrub, play and step, the frame's number, marks, loop, pace.
import {byId, settled} from "./dom.js";

const PACE_PERIOD = 250; // milliseconds between two figures

export class Transport {
    #player;
    #node = null;
    #timer = 0;
    #announceLater = settled(600, () => {
        byId("announcement").textContent = `Frame ${this.#player.index} of ${this.#node.frames}`;
    });

    constructor(player) {
        this.#player = player;
        const onClick = (id, work) => byId(id).addEventListener("click", work);
        onClick("play", () => player.toggle());
        onClick("to-first", () => player.step(-Infinity));
        onClick("step-back", () => player.step(-1));
        onClick("step-on", () => player.step(1));
        onClick("to-last", () => player.step(Infinity));
        onClick("mark-first", () => player.mark("first", player.index));
        onClick("mark-last", () => player.mark("last", player.index));
        onClick("mark-none", () => this.clearMarks());
        onClick("loop", () => player.setLoop(!player.loop));
        onClick("fast", () => player.setFast(!player.fast));
        byId("scrub").addEventListener("input", (event) => player.seek(Number(event.target.value)));
        byId("number-form").addEventListener("submit", (event) => {
            event.preventDefault();
            this.#goToTyped();
        });
        byId("number").addEventListener("keydown", (event) => this.#pressedInNumber(event));
    }

    clearMarks() {
        this.#player.mark("first", null);
        this.#player.mark("last", null);
    }

    show(node) {
        this.#node = node;
        byId("scrub").max = Math.max(0, node.frames - 1);
        byId("of-frames").textContent = `of ${node.frames}`;
        byId("dropped").textContent = "";
        this.showFrame();
        this.showState();
    }

    showFrame() {
        const scrub = byId("scrub");
        scrub.value = this.#player.index;
        scrub.setAttribute("aria-valuetext", `Frame ${this.#player.index}`);
        const number = byId("number");
        if (document.activeElement !== number) number.value = this.#player.index;
        if (!this.#player.playing) this.#announceLater();
    }

    showState() {
        const {playing, loop, fast, range, marks} = this.#player;
        const press = (id, pressed) => byId(id).setAttribute("aria-pressed", pressed);
        press("play", playing);
        press("loop", loop);
        press("fast", fast);
        byId("play").textContent = playing ? "❚❚" : "▶";
        byId("play").setAttribute("aria-label", playing ? "Pause" : "Play");
        const marked = byId("marked");
        const last = Math.max(1, this.#node.frames - 1);
        marked.hidden = marks.first === null && marks.last === null;
        marked.style.left = `${range.first / last * 100}%`;
        marked.style.width = `${(range.last - range.first) / last * 100}%`;
        clearInterval(this.#timer);
        if (playing) this.#timer = setInterval(() => this.showPace(), PACE_PERIOD);
        else this.showPace();
    }

    showPace() {
        const {playing, pace, dropped} = this.#player;
        byId("pace").textContent = playing ? `${pace.toFixed(1)} frames/s` : `${this.#node.rateText ?? this.#node.rate} frames/s`;
        byId("dropped").textContent = playing || dropped ? `${dropped} dropped` : "";
    }

    #goToTyped() {
        const typed = byId("number").value.trim();
        if (/^\d+$/.test(typed)) this.#player.step(Number(typed) - this.#player.index);
        byId("number").value = this.#player.index;
    }

    #pressedInNumber(event) {
        if (event.key === "ArrowUp" || event.key === "ArrowDown") {
            event.preventDefault();
            this.#player.step(event.key === "ArrowUp" ? 1 : -1);
            byId("number").value = this.#player.index;
        } else if (event.key === "Escape") {
            byId("picture").focus();
            this.showFrame();
        }
    }
}
