// The panel of measurements: round trip, frames/s and MB/s over the last two minutes, as curves.
import {byId, element} from "./dom.js";
import {json} from "./api.js";
import {connection} from "./connection.js";

const PERIOD = 1000; // milliseconds between two measurements
const KEPT = 120;

const CURVES = [
    {name: "round trip", unit: "ms", digits: 2, color: "--curve-1"},
    {name: "frames", unit: "frames/s", digits: 1, color: "--curve-2"},
    {name: "data", unit: "MB/s", digits: 1, color: "--curve-3"},
];

class Curve {
    #values = [];
    #of;

    constructor(of) {
        this.#of = of;
        this.value = element("output", {"aria-label": of.name});
        this.canvas = element("canvas", {"aria-hidden": "true"});
        this.figure = element("figure", {}, element("figcaption", {}, of.name, this.value), this.canvas);
    }

    add(value) {
        this.#values = [...this.#values, value].slice(-KEPT);
        this.value.textContent = `${value.toFixed(this.#of.digits)} ${this.#of.unit}`;
        this.#draw();
    }

    #draw() {
        const {canvas} = this;
        const width = canvas.width = Math.round(canvas.clientWidth * devicePixelRatio);
        const height = canvas.height = Math.round(canvas.clientHeight * devicePixelRatio);
        const largest = Math.max(...this.#values, 1e-9);
        const at = (i) => [width - (this.#values.length - 1 - i) * width / (KEPT - 1),
            height - 2 - this.#values[i] / largest * (height - 6)];
        const context = canvas.getContext("2d");
        context.strokeStyle = getComputedStyle(canvas).getPropertyValue(this.#of.color);
        context.lineWidth = 1.5 * devicePixelRatio;
        context.beginPath();
        this.#values.forEach((_, i) => context.lineTo(...at(i)));
        context.stroke();
        this.value.title = `at most ${largest.toFixed(this.#of.digits)} ${this.#of.unit} in ${KEPT * PERIOD / 60000} minutes`;
    }
}

export class Measures {
    #panel = byId("measures");
    #toggle = byId("measures-toggle");
    #curves = CURVES.map((of) => new Curve(of));
    #memory = element("p", {class: "memory"});
    #before = null;
    #timer = 0;

    constructor() {
        this.#panel.append(element("h2", {}, "Measurements"), ...this.#curves.map(({figure}) => figure), this.#memory);
        this.#toggle.addEventListener("click", () => this.toggle());
    }

    toggle() {
        const opens = this.#panel.hidden;
        this.#panel.hidden = !opens;
        this.#toggle.setAttribute("aria-expanded", opens);
        clearInterval(this.#timer);
        this.#before = null;
        if (!opens) return;
        this.#timer = setInterval(() => this.#measure(), PERIOD);
        this.#measure();
    }

    async #measure() {
        if (document.hidden || connection.away) return;
        try {
            const [{milliseconds}, totals] = await Promise.all([json("ping"), json("statistics")]);
            this.#take(milliseconds, {...totals, time: performance.now()});
        } catch {
            this.#before = null; // the banner tells why
        }
    }

    #take(milliseconds, totals) {
        const before = this.#before;
        this.#before = totals;
        this.#memory.textContent = `${(totals.memory / 1e6).toFixed(1)} MB of memory in frames`;
        if (!before) return;
        const seconds = (totals.time - before.time) / 1000;
        const values = [milliseconds, (totals.frames - before.frames) / seconds, (totals.bytes - before.bytes) / seconds / 1e6];
        this.#curves.forEach((curve, i) => curve.add(values[i]));
    }
}
