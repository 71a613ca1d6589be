// What mice, pens and fingers do.
"use strict";

// Has `act` called for presses that move nothing: no drags, and no gestures of more fingers than one.
function onClick(target, act) {
    let start = null;
    const forget = () => {
        start = null;
    };
    target.addEventListener("pointerdown", event => {
        start = event.isPrimary && event.button === 0 ? event : null;
    });
    target.addEventListener("pointermove", event => {
        const slop = event.pointerType === "touch" ? 10 : 4;
        if (start !== null && (event.buttons !== 1 ||
            Math.hypot(event.clientX - start.clientX, event.clientY - start.clientY) > slop))
            forget();
    });
    target.addEventListener("pointercancel", forget);
    target.addEventListener("pointerup", event => {
        if (start !== null)
            act(event);
        forget();
    });
}

// `act` with what it was last called with, once before the screen is drawn the next time.
function oncePerFrame(act) {
    let latest = null;
    return argument => {
        if (latest === null)
            requestAnimationFrame(() => {
                const {argument: last} = latest;
                latest = null;
                act(last);
            });
        latest = {argument};
    };
}
