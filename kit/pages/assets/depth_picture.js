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
    constructor(canvas, width, height) {
        Object.assign(canvas, {width, height});
        this.canvas = canvas;
        this.context = canvas.getContext("2d");
        this.marked = null;
        this.lines = [];
    }

    setColours(colours) {
        this.image = new ImageData(colours, this.canvas.width, this.canvas.height);
        this.draw();
    }

    // The index of the pixel under the pointer, or null.
    pixelAt(event) {
        const box = this.canvas.getBoundingClientRect();
        const x = Math.floor((event.clientX - box.left) / box.width * this.canvas.width);
        const y = Math.floor((event.clientY - box.top) / box.height * this.canvas.height);
        const isWithin = x >= 0 && y >= 0 && x < this.canvas.width && y < this.canvas.height;
        return isWithin ? y * this.canvas.width + x : null;
    }

    mark(pixel) {
        this.marked = pixel;
        this.draw();
    }

    // Each line is a pair of pixels.
    setLines(lines) {
        this.lines = lines;
        this.draw();
    }

    centreOf(pixel) {
        return [pixel % this.canvas.width + 0.5, Math.floor(pixel / this.canvas.width) + 0.5];
    }

    draw() {
        const {context, canvas} = this;
        context.putImageData(this.image, 0, 0);
        // As wide on the screen whatever the size of the image.
        const scale = canvas.width / (canvas.clientWidth || canvas.width);
        for (const [width, colour] of [[4, "#000000"], [2, "#ffffff"]]) {
            context.lineWidth = width * scale;
            context.strokeStyle = colour;
            context.beginPath();
            this.traceLines();
            this.traceMark(10 * scale);
            context.stroke();
        }
    }

    traceLines() {
        for (const [from, to] of this.lines) {
            this.context.moveTo(...this.centreOf(from));
            this.context.lineTo(...this.centreOf(to));
        }
    }

    // A cross that leaves its middle free.
    traceMark(size) {
        if (this.marked === null)
            return;
        const [x, y] = this.centreOf(this.marked);
        for (const [dx, dy] of [[1, 0], [-1, 0], [0, 1], [0, -1]]) {
            this.context.moveTo(x + dx * size / 3, y + dy * size / 3);
            this.context.lineTo(x + dx * size, y + dy * size);
        }
    }
}
