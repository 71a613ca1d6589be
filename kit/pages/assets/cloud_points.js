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

// All of `pixels`, or `most` of them that are spread evenly.
function thinOut(pixels, most) {
    if (pixels.length <= most)
        return pixels;
    return Uint32Array.from({length: most}, (_, i) => pixels[Math.floor(i * pixels.length / most)]);
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
        const seen = this.findAround(x, y, reach);
        const covering = seen.filter(point => point.distance <= Math.max(0.75, point.radius));
        if (covering.length === 0)
            return closestOf(seen);
        const nearest = Math.min(...covering.map(point => point.depth));
        return closestOf(covering.filter(point => point.depth < nearest * 1.02));
    }

    // The points that are seen within `reach` of (`x`, `y`), or drawn so large that they cover it.
    findAround(x, y, reach) {
        const {camera, canvas} = this.scene;
        const matrix = new THREE.Matrix4()
            .multiplyMatrices(camera.projectionMatrix, camera.matrixWorldInverse)
            .multiply(this.scene.rig.matrixWorld).elements;
        const {clientWidth, clientHeight} = canvas;
        const {positions} = this;
        const pixelsAtUnit = clientHeight / 2 * camera.projectionMatrix.elements[5];
        const found = [];
        for (let i = 0; i < positions.length; i += 3) {
            const [px, py, pz] = [positions[i], positions[i + 1], positions[i + 2]];
            const depth = matrix[3] * px + matrix[7] * py + matrix[11] * pz + matrix[15];
            if (depth <= camera.near)
                continue;
            const atX = matrix[0] * px + matrix[4] * py + matrix[8] * pz + matrix[12];
            const atY = matrix[1] * px + matrix[5] * py + matrix[9] * pz + matrix[13];
            const dx = (1 + atX / depth) / 2 * clientWidth - x;
            const dy = (1 - atY / depth) / 2 * clientHeight - y;
            const radius = Math.min(32, this.size * pz * pixelsAtUnit / depth / 2);
            const distance = Math.sqrt(dx * dx + dy * dy);
            if (distance <= Math.max(reach, radius))
                found.push({pixel: this.pixels[i / 3], distance, depth, radius});
        }
        return found;
    }
}

function closestOf(points) {
    let closest = null;
    for (const point of points)
        if (closest === null || point.distance < closest.distance)
            closest = point;
    return closest === null ? null : closest.pixel;
}
