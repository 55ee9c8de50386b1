// Requests to the program that serves this page; docs/web.md lists them. Failures are RequestErrors
// with the text of the library; those of the connection are told to connection.js as well.
import {connection} from "./connection.js";

const BUSY_WAIT = 200;
const BUSY_TRIES = 6;

export class RequestError extends Error {
    /// `kind`: connection, refused, not-found, argument or busy
    constructor(text, kind) {
        super(text);
        this.kind = kind;
    }
}

/// Whether a request was given up by the page itself.
export const isAbort = (error) => error.name === "AbortError";

const pause = (milliseconds) => new Promise((resolve) => setTimeout(resolve, milliseconds));

export function address(name, parameters = {}) {
    const given = Object.entries(parameters).filter(([, value]) => value !== undefined && value !== null);
    const query = new URLSearchParams(given).toString();
    return `api/${name}${query && "?" + query}`;
}

/// What a reply that is not 200 says.
async function failure(reply) {
    const told = await reply.json().catch(() => ({}));
    const text = told.error ?? `The request was answered with status ${reply.status}.`;
    return new RequestError(text, told.kind ?? (reply.status === 503 ? "busy" : "refused"));
}

/// The Response of a request; waits while the program is busy.
export async function request(name, parameters, signal) {
    for (let attempt = 1; ; ++attempt) {
        let reply;
        try {
            reply = await fetch(address(name, parameters), {signal});
        } catch (error) {
            if (isAbort(error)) throw error;
            const away = new RequestError("The program that serves this page does not answer.", "connection");
            connection.lost(away.message);
            throw away;
        }
        if (reply.ok) return reply;
        const error = await failure(reply);
        if (error.kind === "busy" && attempt < BUSY_TRIES) {
            await pause(BUSY_WAIT * attempt);
            signal?.throwIfAborted();
            continue;
        }
        if (error.kind === "connection") connection.lost(error.message);
        throw error;
    }
}

export const json = async (name, parameters, signal) => (await request(name, parameters, signal)).json();
export const text = async (name, parameters, signal) => (await request(name, parameters, signal)).text();

/// Objects of a reply of one a line, as they arrive.
export async function* lines(name, parameters, signal) {
    const reply = await request(name, parameters, signal);
    const reader = reply.body.pipeThrough(new TextDecoderStream()).getReader();
    let rest = "";
    for (;;) {
        const {done, value} = await reader.read();
        const complete = (rest + (value ?? "")).split("\n");
        rest = done ? "" : complete.pop();
        for (const line of complete) if (line) yield JSON.parse(line);
        if (done) return;
    }
}

/// The node of a place and those above it, the root first. A node addressed by its id comes alone.
export async function nodesTo(place, signal) {
    if (place.id !== undefined) return [await json("node", {id: place.id}, signal)];
    return (await json("resolve", {path: "/" + place.names.join("/")}, signal)).nodes;
}
