// Whether the server answers. While it does not, a banner says so and it is asked again, after
// waits that grow; when it answers, "back" is dispatched and whoever failed asks again.
import {byId} from "./dom.js";

const FIRST_WAIT = 1000;
const LONGEST_WAIT = 15000;

class Connection extends EventTarget {
    #wait = FIRST_WAIT;
    #timer = 0;
    #second = 0;
    away = false;

    /// Takes up that a request found nobody; `text` says who, as the user reads it.
    lost(text) {
        byId("banner-text").textContent = text;
        if (this.away) return;
        this.away = true;
        this.#wait = FIRST_WAIT;
        byId("banner").hidden = false;
        document.body.classList.add("away");
        this.#retryLater();
    }

    /// Asks now rather than at the end of the wait.
    retry() {
        clearTimeout(this.#timer);
        clearInterval(this.#second);
        this.#ask();
    }

    async #ask() {
        byId("banner-wait").textContent = "Trying now.";
        const reply = await fetch("api/ping").catch(() => null);
        if (reply?.ok) return this.#found();
        this.#wait = Math.min(this.#wait * 2, LONGEST_WAIT);
        this.#retryLater();
    }

    #found() {
        this.away = false;
        byId("banner").hidden = true;
        document.body.classList.remove("away");
        this.dispatchEvent(new Event("back"));
    }

    #retryLater() {
        let seconds = Math.round(this.#wait / 1000);
        const tell = () => {
            byId("banner-wait").textContent = `Trying again in ${seconds--} s.`;
        };
        tell();
        clearInterval(this.#second);
        this.#second = setInterval(tell, 1000);
        this.#timer = setTimeout(() => this.retry(), this.#wait);
    }
}

export const connection = new Connection();
