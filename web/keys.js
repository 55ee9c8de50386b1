// The keys: one table, which the help shows and which listens. Keys that are typed into a field stay there.
import {byId, element} from "./dom.js";

const NAMES = {" ": "Space", ArrowLeft: "←", ArrowRight: "→", ArrowUp: "↑", ArrowDown: "↓", PageUp: "Page up",
    PageDown: "Page down"};

/// Whether a key that is pressed there belongs to the element.
function belongsTo(target, key) {
    if (target.matches("input:not([type=range]), textarea, select")) return true;
    return (key === " " || key === "Enter") && target.matches("button, a, summary");
}

/// The key with its modifiers; a character has Shift in it already, and Caps Lock changes nothing.
function chordOf({key, ctrlKey, shiftKey}) {
    const isCharacter = key.length === 1 && key !== " ";
    const name = isCharacter && !shiftKey ? key.toLowerCase() : key;
    return (ctrlKey ? "Ctrl+" : "") + (shiftKey && !isCharacter ? "Shift+" : "") + name;
}

const nameOf = (chord) => chord.split(/\+(?=.)/).map((part) => NAMES[part] ?? part).join(" + ");

/// `table` has rows of {keys, text, run}; a row whose run gives false leaves the key to the browser.
export function listenToKeys(table) {
    const rows = new Map(table.flatMap((row) => row.keys.map((key) => [key, row])));
    document.addEventListener("keydown", (event) => {
        if (event.altKey || event.metaKey || byId("help").open || belongsTo(event.target, event.key)) return;
        const row = rows.get(chordOf(event));
        if (row && row.run(event) !== false) event.preventDefault();
    });
    byId("keys").replaceChildren(...table.flatMap(({keys, text}) => [
        element("dt", {}, ...keys.map((key) => element("kbd", {}, nameOf(key)))), element("dd", {}, text)]));
}
