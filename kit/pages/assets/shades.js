// Pictures in shades of grey that stand for values: 0 for none, 1 to 255 from the smallest to the
// largest.
"use strict";

const colourOfNothing = [128, 128, 128];

// The shades as colours, on a canvas of the picture's size.
async function paintShades(name) {
    const image = await loadPicture(name);
    const canvas = element("canvas", {width: image.naturalWidth, height: image.naturalHeight});
    const context = canvas.getContext("2d", {willReadFrequently: true});
    context.drawImage(image, 0, 0);
    const shown = context.getImageData(0, 0, canvas.width, canvas.height);
    for (let i = 0; i < shown.data.length; i += 4) {
        const shade = shown.data[i];
        shown.data.set(shade === 0 ? colourOfNothing : viridis((shade - 1) / 254), i);
    }
    context.putImageData(shown, 0, 0);
    return canvas;
}

// A part of such a canvas, enlarged without mixing pixels. `area` is x, y, width and height in an
// image of the width `fullWidth`.
function cropCanvas(canvas, [x, y, width, height], fullWidth) {
    const scale = canvas.width / fullWidth;
    const side = 160;
    const crop = element("canvas", {width: side, height: Math.round(side * height / width)});
    const context = crop.getContext("2d");
    context.imageSmoothingEnabled = false;
    context.drawImage(canvas, x * scale, y * scale, width * scale, height * scale,
                      0, 0, crop.width, crop.height);
    return crop;
}

// With a text for who does not see it.
function described(canvas, label) {
    canvas.setAttribute("role", "img");
    canvas.setAttribute("aria-label", label);
    return canvas;
}
