// What a camera measured: an image of disparities, and the points that they are.
"use strict";

const unmeasured = 0xffff;

class Cloud {
    // `steps` holds a number of 16 bits for each pixel, row by row: the disparity is
    // least + step * number, and `unmeasured` where there is none.
    constructor({width, height, leastDisparity, disparityStep, camera}, steps) {
        Object.assign(this, {width, height, leastDisparity, disparityStep, camera, steps});
        this.pixels = this.findMeasured();
    }

    // The measured pixels by their indices, row by row.
    findMeasured() {
        let count = 0;
        const pixels = new Uint32Array(this.steps.length);
        for (let i = 0; i < this.steps.length; ++i)
            if (this.steps[i] !== unmeasured)
                pixels[count++] = i;
        return pixels.slice(0, count);
    }

    isMeasured(pixel) {
        return this.steps[pixel] !== unmeasured;
    }

    disparityAt(pixel) {
        return this.leastDisparity + this.disparityStep * this.steps[pixel];
    }

    depthAt(pixel) {
        const {focalLength, baseline, disparityAtInfinity} = this.camera;
        return focalLength * baseline / (this.disparityAt(pixel) - disparityAtInfinity);
    }

    columnOf(pixel) {
        return pixel % this.width;
    }

    rowOf(pixel) {
        return Math.floor(pixel / this.width);
    }

    // X right, Y down, Z forward.
    pointAt(pixel) {
        const {focalLength, centre} = this.camera;
        const depth = this.depthAt(pixel);
        return [(this.columnOf(pixel) - centre[0]) * depth / focalLength,
                (this.rowOf(pixel) - centre[1]) * depth / focalLength, depth];
    }

    distanceBetween(pixel, other) {
        const [from, to] = [this.pointAt(pixel), this.pointAt(other)];
        return Math.hypot(to[0] - from[0], to[1] - from[1], to[2] - from[2]);
    }
}
