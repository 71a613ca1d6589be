// A cloud in a scene, and which of its points is where one points to.
"use strict";

// A point covers what its pixel sees at its depth, however near one comes.
const pointShaders = {
    vertexShader: `
        attribute vec3 colour;
        uniform float pixelsAtUnit;
        uniform float footprint;
        varying vec3 shown;
        void main() {
            vec4 seen = modelViewMatrix * vec4(position, 1.0);
            gl_Position = projectionMatrix * seen;
            gl_PointSize = clamp(footprint * position.z * pixelsAtUnit / -seen.z, 1.0, 64.0);
            shown = colour;
        }`,
    fragmentShader: `
        varying vec3 shown;
        void main() {
            gl_FragColor = vec4(shown, 1.0);
        }`};

// A number below 2^32 that has no pattern which one sees.
function scatter(number) {
    const mixed = Math.imul(number ^ number >>> 16, 0x85ebca6b);
    const mixedAgain = Math.imul(mixed ^ mixed >>> 13, 0xc2b2ae35);
    return (mixedAgain ^ mixedAgain >>> 16) >>> 0;
}

// All of `pixels`, or about as many as `most` of them that are spread evenly over the image.
function thinOut(pixels, most) {
    if (pixels.length <= most)
        return pixels;
    const limit = most / pixels.length * 2 ** 32;
    return pixels.filter(pixel => scatter(pixel) < limit);
}

class CloudPoints {
    constructor(scene, cloud, most) {
        this.scene = scene;
        this.cloud = cloud;
        this.pixels = thinOut(cloud.pixels, most);
        this.positions = new Float32Array(3 * this.pixels.length);
        for (let i = 0; i < this.pixels.length; ++i)
            this.positions.set(cloud.pointAt(this.pixels[i]), 3 * i);
        this.colours = new THREE.BufferAttribute(new Uint8Array(3 * this.pixels.length), 3, true);
        this.material = new THREE.ShaderMaterial(
            {...pointShaders, uniforms: {pixelsAtUnit: {value: 1}, footprint: {value: 1}}});
        scene.add(this.makePoints());
    }

    makePoints() {
        const geometry = new THREE.BufferGeometry();
        geometry.setAttribute("position", new THREE.BufferAttribute(this.positions, 3));
        geometry.setAttribute("colour", this.colours);
        const points = new THREE.Points(geometry, this.material);
        points.frustumCulled = false;
        points.onBeforeRender = (renderer, space, camera) => {
            this.material.uniforms.pixelsAtUnit.value =
                renderer.domElement.height / 2 * camera.projectionMatrix.elements[5];
        };
        return points;
    }

    // A few points, evenly spread.
    sample() {
        return Array.from(thinOut(this.pixels, 4000), pixel => this.cloud.pointAt(pixel));
    }

    // 1 is the size of a pixel.
    setSize(size) {
        const thinning = Math.sqrt(this.cloud.pixels.length / Math.max(1, this.pixels.length));
        this.size = size * thinning / this.cloud.camera.focalLength;
        this.material.uniforms.footprint.value = this.size;
        this.scene.draw();
    }

    // `colours` holds red, green and blue for each pixel of the image, and a fourth byte.
    setColours(colours) {
        const target = this.colours.array;
        for (let i = 0; i < this.pixels.length; ++i)
            for (let channel = 0; channel < 3; ++channel)
                target[3 * i + channel] = colours[4 * this.pixels[i] + channel];
        this.colours.needsUpdate = true;
        this.scene.draw();
    }

    // The pixel of the point that is seen at (`x`, `y`), pixels of the style within the canvas: of
    // those drawn there the nearest ones, of these the one in the middle of which one points most
    // exactly. Where nothing is drawn, that closest to it, but for what is `reach` away; else null.
    pick(x, y, reach = 8) {
        let nearest = Infinity;
        this.forEachAround(x, y, reach, (pixel, distance, depth, isCovering) => {
            if (isCovering)
                nearest = Math.min(nearest, depth);
        });
        let picked = null, least = Infinity;
        this.forEachAround(x, y, reach, (pixel, distance, depth, isCovering) => {
            const isInFront = nearest === Infinity || (isCovering && depth < nearest * 1.02);
            if (isInFront && distance < least)
                [picked, least] = [pixel, distance];
        });
        return picked;
    }

    // Calls `act` for the points that are seen within `reach` of (`x`, `y`), or drawn so large that
    // they cover it.
    forEachAround(x, y, reach, act) {
        const {camera, canvas} = this.scene;
        const matrix = new THREE.Matrix4()
            .multiplyMatrices(camera.projectionMatrix, camera.matrixWorldInverse)
            .multiply(this.scene.rig.matrixWorld).elements;
        const {clientWidth, clientHeight} = canvas;
        const {positions} = this;
        const pixelsAtUnit = clientHeight / 2 * camera.projectionMatrix.elements[5];
        for (let i = 0; i < positions.length; i += 3) {
            const px = positions[i], py = positions[i + 1], pz = positions[i + 2];
            const depth = matrix[3] * px + matrix[7] * py + matrix[11] * pz + matrix[15];
            if (depth <= camera.near || depth >= camera.far)
                continue;
            const atX = matrix[0] * px + matrix[4] * py + matrix[8] * pz + matrix[12];
            const atY = matrix[1] * px + matrix[5] * py + matrix[9] * pz + matrix[13];
            const dx = (1 + atX / depth) / 2 * clientWidth - x;
            const dy = (1 - atY / depth) / 2 * clientHeight - y;
            const radius = Math.min(32, this.size * pz * pixelsAtUnit / depth / 2);
            const distance = Math.sqrt(dx * dx + dy * dy);
            const isCovering = distance <= Math.max(0.75, radius);
            if (isCovering || distance <= reach)
                act(this.pixels[i / 3], distance, depth, isCovering);
        }
    }
}
