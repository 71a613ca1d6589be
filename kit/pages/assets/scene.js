// A view into space that one turns around and flies through. Positions are those of the rig: X
// right, Y down, Z forward from the left camera, as arrays of three numbers.
"use strict";

// By the place of a key, whatever is written on it: to the right, up and forward.
const flights = {
    KeyW: [0, 0, 1], ArrowUp: [0, 0, 1], KeyS: [0, 0, -1], ArrowDown: [0, 0, -1],
    KeyD: [1, 0, 0], ArrowRight: [1, 0, 0], KeyA: [-1, 0, 0], ArrowLeft: [-1, 0, 0],
    KeyE: [0, 1, 0], PageUp: [0, 1, 0], KeyQ: [0, -1, 0], PageDown: [0, -1, 0]};

// Around what one looks at: to the right and up.
const turns = {KeyL: [1, 0], KeyJ: [-1, 0], KeyI: [0, 1], KeyK: [0, -1]};

// Where a viewer of points, given as their places along the axes aside, down and forward, has nearly
// all of them on that axis in view: its place on it, and the furthest that it may be forward.
function placeToSeeAll(points, axis, tangent) {
    const edge = (side, share) => quantile(
        points.map(point => point[axis] + side * tangent * point[2]).sort((a, b) => a - b), share);
    const [lowest, highest] = [edge(1, 0.02), edge(-1, 0.98)];
    return {place: (lowest + highest) / 2, forward: (lowest - highest) / (2 * tangent)};
}

class Scene {
    // Draws on `canvas`, whose size follows its style. `reach` is how far away from the camera things
    // are that matter: it scales the speed of flights and what is near and far. `antialias` makes lines
    // smooth, and software draw half as fast. Throws where the browser can't draw in space.
    constructor(canvas, reach, antialias = true) {
        this.canvas = canvas;
        // What was drawn is kept for the printer.
        this.renderer = new THREE.WebGLRenderer(
            {canvas, antialias, alpha: true, preserveDrawingBuffer: true});
        this.camera = new THREE.PerspectiveCamera(50, 1, reach / 200);
        this.space = new THREE.Scene();
        // three.js has Y up and looks to where Z is less.
        this.rig = new THREE.Group();
        this.rig.scale.set(1, -1, -1);
        this.space.add(this.rig);
        this.reach = reach;
        this.afterDrawing = [];
        this.isDrawing = false;
        this.pressed = new Set();
        this.view = {width: 4, height: 3, focalLength: 4};
        this.addControls();
        this.showUpTo(10 * reach);
        canvas.addEventListener("webglcontextrestored", () => this.draw());
        this.followPixelRatio();
        // Before the canvas is shown, which a new size has emptied.
        new ResizeObserver(() => this.fit()).observe(canvas);
    }

    // To the size of the canvas on the screen. Paper shows what was drawn for that.
    fit() {
        if (window.matchMedia("print").matches)
            return;
        this.resize();
        this.drawNow();
    }

    // Which changes with the zoom of the browser, and from screen to screen.
    followPixelRatio() {
        const query = window.matchMedia(`(resolution: ${window.devicePixelRatio}dppx)`);
        query.addEventListener("change", () => {
            this.fit();
            this.followPixelRatio();
        }, {once: true});
    }

    addControls() {
        this.controls = new THREE.OrbitControls(this.camera, this.canvas);
        this.controls.enableKeys = false;
        this.controls.screenSpacePanning = true;
        this.controls.addEventListener("change", () => this.draw());
        this.canvas.addEventListener("keydown", event => this.press(event));
        this.canvas.addEventListener("keyup", event => {
            this.isFast = event.shiftKey;
            this.pressed.delete(event.code);
        });
        this.canvas.addEventListener("blur", () => this.pressed.clear());
    }

    // An object of three.js, in the frame of the rig.
    add(object) {
        this.rig.add(object);
        this.draw();
        return object;
    }

    // A line through `points`.
    addLine(points, colour) {
        const geometry = new THREE.BufferGeometry().setFromPoints(
            points.map(point => new THREE.Vector3(...point)));
        return this.add(new THREE.Line(geometry, new THREE.LineBasicMaterial({color: colour})));
    }

    // What is up to `depth` away from the left camera stays in sight, however far back one goes.
    showUpTo(depth) {
        this.controls.maxDistance = 5 * depth;
        this.camera.far = 10 * depth;
        this.camera.updateProjectionMatrix();
    }

    // Where to look from, and the point to turn around.
    lookFrom(position, target) {
        const toSpace = ([x, y, z]) => new THREE.Vector3(x, -y, -z);
        this.camera.position.copy(toSpace(position));
        this.controls.target.copy(toSpace(target));
        this.controls.update();
        this.draw();
    }

    // Looks at nearly all of `points` from so many radians further right and further up than the left
    // camera.
    lookAtAll(points, right, up) {
        if (points.length === 0)
            return;
        const forward = new THREE.Vector3(-Math.sin(right) * Math.cos(up), Math.sin(up),
                                          Math.cos(right) * Math.cos(up));
        const aside = new THREE.Vector3(forward.z, 0, -forward.x).normalize();
        const axes = [aside, new THREE.Vector3().crossVectors(forward, aside), forward];
        const seen = points.map(point => axes.map(axis => axis.dot(new THREE.Vector3(...point))));
        const tangent = 0.95 * Math.tan(THREE.Math.degToRad(this.camera.fov) / 2);
        const [x, y] = [this.camera.aspect, 1].map((ratio, axis) =>
            placeToSeeAll(seen, axis, tangent * ratio));
        const middle = quantile(seen.map(point => point[2]).sort((a, b) => a - b), 0.5);
        const depth = Math.min(x.forward, y.forward, middle - this.reach / 20);
        const toRig = coordinates => axes.reduce((sum, axis, i) =>
            sum.addScaledVector(axis, coordinates[i]), new THREE.Vector3()).toArray();
        this.lookFrom(toRig([x.place, y.place, depth]), toRig([x.place, y.place, middle]));
    }

    // Shows at least what a camera of this image size and focal length sees.
    showAtLeast(width, height, focalLength) {
        this.view = {width, height, focalLength};
        this.resize();
    }

    resize() {
        const {clientWidth: width, clientHeight: height} = this.canvas;
        if (width === 0 || height === 0)
            return;
        this.renderer.setPixelRatio(Math.min(2, window.devicePixelRatio));
        this.renderer.setSize(width, height, false);
        this.camera.aspect = width / height;
        const {view} = this;
        const shown = Math.max(view.height, view.width * height / width);
        this.camera.fov = THREE.Math.radToDeg(2 * Math.atan(shown / 2 / view.focalLength));
        this.camera.updateProjectionMatrix();
    }

    // Once more, soon.
    draw() {
        if (this.isDrawing)
            return;
        this.isDrawing = true;
        requestAnimationFrame(time => this.drawFrame(time));
    }

    drawFrame(time) {
        this.isDrawing = false;
        if (this.pressed.size > 0) {
            const seconds = Math.min(0.1, (time - (this.lastFrame ?? time)) / 1000);
            this.fly(seconds);
            this.turn(seconds);
            this.controls.update();
            this.draw();
        }
        this.lastFrame = this.pressed.size > 0 ? time : undefined;
        this.drawNow();
    }

    drawNow() {
        this.renderer.render(this.space, this.camera);
        for (const act of this.afterDrawing)
            act();
    }

    press(event) {
        this.isFast = event.shiftKey;
        if (!(event.code in flights || event.code in turns) || event.ctrlKey || event.altKey || event.metaKey)
            return;
        event.preventDefault();
        this.pressed.add(event.code);
        this.draw();
    }

    // For as long as `seconds`, to where the pressed keys say.
    fly(seconds) {
        const way = new THREE.Vector3();
        for (const code of this.pressed) {
            const [right, up, forward] = flights[code] ?? [0, 0, 0];
            way.add(new THREE.Vector3(right, up, -forward));
        }
        const speed = this.reach * (this.isFast ? 1 : 0.25);
        way.applyQuaternion(this.camera.quaternion).multiplyScalar(speed * seconds);
        this.camera.position.add(way);
        this.controls.target.add(way);
    }

    turn(seconds) {
        const {target} = this.controls;
        const place = new THREE.Spherical().setFromVector3(this.camera.position.clone().sub(target));
        const angle = (this.isFast ? 2 : 0.5) * seconds;
        for (const code of this.pressed) {
            const [right, up] = turns[code] ?? [0, 0];
            place.theta += right * angle;
            place.phi -= up * angle;
        }
        this.camera.position.setFromSpherical(place.makeSafe()).add(target);
    }

    // From a point in the frame of the rig to `{x, y, depth}`: pixels of the style from the canvas's
    // upper left corner, and how far it is in front of the viewer, negative behind.
    project([x, y, z]) {
        const point = new THREE.Vector3(x, -y, -z).applyMatrix4(this.camera.matrixWorldInverse);
        const depth = -point.z;
        point.applyMatrix4(this.camera.projectionMatrix);
        return {x: (point.x + 1) / 2 * this.canvas.clientWidth,
                y: (1 - point.y) / 2 * this.canvas.clientHeight, depth};
    }
}
