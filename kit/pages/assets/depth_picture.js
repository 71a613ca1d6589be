// The image of the left camera: what it saw, or how far away that is.
"use strict";

// Where nothing was measured, as in the pictures that are files.
const unmeasuredColour = [48, 48, 48];

// Red, green, blue and opacity for each pixel of the cloud's image; what is near is light.
function depthColours(cloud, [low, high]) {
    const colours = new Uint8ClampedArray(4 * cloud.steps.length);
    for (let pixel = 0; pixel < cloud.steps.length; ++pixel) {
        let colour = unmeasuredColour, start = 0;
        if (cloud.isMeasured(pixel)) {
            const share = (cloud.depthAt(pixel) - low) / (high - low || 1);
            colour = viridisTable;
            start = 3 * Math.round(255 * (1 - Math.min(1, Math.max(0, share))));
        }
        for (let channel = 0; channel < 3; ++channel)
            colours[4 * pixel + channel] = colour[start + channel];
        colours[4 * pixel + 3] = 255;
    }
    return colours;
}

// The same of a photograph, which must have the size of the cloud's image.
function photographColours(photograph, width, height) {
    const context = Object.assign(document.createElement("canvas"), {width, height})
        .getContext("2d", {willReadFrequently: true});
    context.drawImage(photograph, 0, 0);
    return context.getImageData(0, 0, width, height).data;
}

class DepthPicture {
    // `svg` lies over `canvas`, for marks.
    constructor(canvas, svg, width, height) {
        Object.assign(canvas, {width, height});
        this.canvas = canvas;
        this.overlay = new Overlay(svg, canvas, pixel => this.project(pixel));
        new ResizeObserver(() => this.overlay.place()).observe(canvas);
    }

    setColours(colours) {
        const {width, height} = this.canvas;
        this.canvas.getContext("2d").putImageData(new ImageData(colours, width, height), 0, 0);
    }

    // The index of the pixel under the pointer, or null.
    pixelAt(event) {
        const box = this.canvas.getBoundingClientRect();
        const x = Math.floor((event.clientX - box.left) / box.width * this.canvas.width);
        const y = Math.floor((event.clientY - box.top) / box.height * this.canvas.height);
        const isWithin = x >= 0 && y >= 0 && x < this.canvas.width && y < this.canvas.height;
        return isWithin ? y * this.canvas.width + x : null;
    }

    // Where the middle of a pixel is shown.
    project(pixel) {
        const {width, height, clientWidth, clientHeight} = this.canvas;
        return {x: (pixel % width + 0.5) / width * clientWidth,
                y: (Math.floor(pixel / width) + 0.5) / height * clientHeight, depth: 1};
    }
}
