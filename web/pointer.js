// What a pointer does on the picture: pointing reads a pixel, the wheel zooms, dragging moves the
// picture, or the wipe where it was taken hold of.

const DRAG = 3; // pixels that a pointer moves before it drags

/// `pointed(pixel)` is told the pixel below the pointer, or null.
export function listenToPointer(canvas, viewer, pointed) {
    let drag = null;
    canvas.addEventListener("wheel", (event) => {
        event.preventDefault();
        viewer.zoomBy(-event.deltaY / 100, viewer.placeOf(event));
    }, {passive: false});
    canvas.addEventListener("pointerdown", (event) => {
        if (!event.isPrimary || event.button !== 0) return;
        drag = {x: event.clientX, y: event.clientY, moves: false, wipes: viewer.isNearWipe(event)};
        canvas.setPointerCapture(event.pointerId);
    });
    canvas.addEventListener("pointermove", (event) => {
        if (!event.isPrimary) return;
        canvas.classList.toggle("wiping", viewer.isNearWipe(event));
        if (!drag) return pointed(viewer.pixelAt(event));
        const dx = event.clientX - drag.x, dy = event.clientY - drag.y;
        if (!drag.moves && Math.hypot(dx, dy) < DRAG) return;
        if (drag.wipes) viewer.wipeTo(event);
        else viewer.panByScreen(dx, dy);
        drag = {...drag, x: event.clientX, y: event.clientY, moves: true};
    });
    canvas.addEventListener("pointerup", (event) => {
        if (drag && !drag.moves) pointed(viewer.pixelAt(event));
        drag = null;
    });
    canvas.addEventListener("pointercancel", () => { drag = null; });
    canvas.addEventListener("pointerleave", () => pointed(null));
    canvas.addEventListener("dblclick", (event) => {
        if (viewer.isFit) viewer.zoomTo(1, viewer.placeOf(event));
        else viewer.fit();
    });
}
