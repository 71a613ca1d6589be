// What the page holds beside its text: data, and blocks of bytes.
"use strict";

const pageData = JSON.parse(document.getElementById("data").textContent);

// A block as a `Uint8Array`.
function blockBytes(name) {
    const text = atob(document.getElementById(`block-${name}`).textContent);
    const bytes = new Uint8Array(text.length);
    for (let i = 0; i < text.length; ++i)
        bytes[i] = text.charCodeAt(i);
    return bytes;
}

// Of a block that is a picture, for the `src` of an image.
function pictureAddress(name) {
    const block = document.getElementById(`block-${name}`);
    return `data:${block.type};base64,${block.textContent}`;
}

// Of a block that is a picture: its image, once it is decoded.
async function loadPicture(name) {
    const image = new Image();
    image.src = pictureAddress(name);
    await image.decode();
    return image;
}

// Says in the page what it can't show.
function showProblem(message) {
    const place = document.getElementById("problem");
    place.textContent = message;
    place.hidden = false;
}

// Paper shows what one would open.
const openedForPaper = new Set();
window.addEventListener("beforeprint", () => {
    for (const details of document.querySelectorAll("details:not([open])")) {
        openedForPaper.add(details);
        details.open = true;
    }
});
window.addEventListener("afterprint", () => {
    for (const details of openedForPaper)
        details.open = false;
    openedForPaper.clear();
});

window.addEventListener("error", event => showProblem(`A part of this page failed: ${event.message}`));
window.addEventListener("unhandledrejection", event =>
    showProblem(`A part of this page failed: ${event.reason}`));
