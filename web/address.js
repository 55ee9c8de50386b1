// The part of the address behind '#': which place is shown, and how.
//
//     #/Library/Reel/shot@1041?with=/Library/Reel/other@1041&how=wipe
//
// Names are percent-encoded, so that '/', '@' and '?' in them are not taken for separators. A node
// that no path leads to (its name is empty, has a slash, or a sibling before it has the same) is
// addressed as id=NODE.

/// Encodes what stands between separators.
const encode = (name) => encodeURIComponent(name);

/// A place is {names, frame} or {id, frame}; `frame` is the number shown, null for none.
export function parsePlace(text) {
    const [, where, frame] = /^(.*?)(?:@(-?\d+))?$/s.exec(text);
    const place = {frame: frame === undefined ? null : Number(frame)};
    if (where.startsWith("id=")) return {...place, id: decodeURIComponent(where.slice(3))};
    return {...place, names: where.split("/").filter(Boolean).map(decodeURIComponent)};
}

export function formatPlace(place) {
    const where = place.id === undefined ? "/" + place.names.map(encode).join("/") : "id=" + encode(place.id);
    return place.frame === null || place.frame === undefined ? where : `${where}@${place.frame}`;
}

/// {place, options} of the whole address; what can't be decoded is the root.
export function parseAddress(hash) {
    const [, where, query] = /^#?([^?]*)\??(.*)$/s.exec(hash);
    try {
        return {place: parsePlace(where), options: Object.fromEntries(new URLSearchParams(query))};
    } catch {
        return {place: {names: [], frame: null}, options: {}};
    }
}

/// The address of a place; options that are empty are left out.
export function formatAddress(place, options = {}) {
    const query = Object.entries(options)
        .filter(([, value]) => value !== undefined && value !== null && value !== "")
        .map(([name, value]) => `${name}=${encode(value).replaceAll("%2F", "/").replaceAll("%40", "@")}`);
    return "#" + formatPlace(place) + (query.length ? "?" + query.join("&") : "");
}

/// The place as people read it.
export const displayPath = (place) => (place.id === undefined ? "/" + place.names.join("/") : `id=${place.id}`);

/// Whether both are the same node, whatever the frame.
export const sameNode = (a, b) => formatPlace({...a, frame: null}) === formatPlace({...b, frame: null});

/// Gives the places of the children of `parent`, asked for in their order.
export function placesBelow(parent) {
    const seen = new Set();
    return (node) => {
        const hidden = node.name === "" || node.name.includes("/") || seen.has(node.name);
        seen.add(node.name);
        return hidden || parent.id !== undefined ? {id: node.id, frame: null}
            : {names: [...parent.names, node.name], frame: null};
    };
}

/// The place of a display path, as the server tells it.
export const placeOfPath = (path) => ({names: path.split("/").filter(Boolean), frame: null});
