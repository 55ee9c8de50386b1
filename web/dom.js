// What every module needs to make and find elements.

export const byId = (id) => document.getElementById(id);

/// An element with these attributes and children; an attribute that is a function listens to the
/// event of its name, one that is undefined or false is left out.
export function element(tag, attributes = {}, ...children) {
    const made = document.createElement(tag);
    for (const [name, value] of Object.entries(attributes)) {
        if (typeof value === "function") made.addEventListener(name, value);
        else if (value !== undefined && value !== false) made.setAttribute(name, value === true ? "" : value);
    }
    made.append(...children);
    return made;
}

/// Calls `work` once there has been no call for `milliseconds`; `cancel` forgets one that waits.
export function settled(milliseconds, work) {
    let timer = 0;
    const call = (...words) => {
        clearTimeout(timer);
        timer = setTimeout(() => work(...words), milliseconds);
    };
    call.cancel = () => clearTimeout(timer);
    return call;
}

/// Calls `work` before the next repaint, however often it was asked to.
export function beforeRepaint(work) {
    let asked = false;
    return () => {
        if (asked) return;
        asked = true;
        requestAnimationFrame(() => {
            asked = false;
            work();
        });
    };
}

export const clamp = (value, low, high) => Math.min(Math.max(value, low), high);
