// The boards as they stood before the cameras.
"use strict";

// `matrix` times `vector`.
function turned(matrix, vector) {
    return matrix.map(row => row[0] * vector[0] + row[1] * vector[1] + row[2] * vector[2]);
}

function added(a, b) {
    return a.map((value, i) => value + b[i]);
}

// The rotation about `axis` by its length in radians (Rodrigues).
function rotationAbout(axis) {
    const angle = Math.hypot(...axis);
    const [x, y, z] = angle > 0 ? axis.map(value => value / angle) : [0, 0, 0];
    const [c, s] = [Math.cos(angle), Math.sin(angle)];
    return [
        [c + x * x * (1 - c), x * y * (1 - c) - z * s, x * z * (1 - c) + y * s],
        [y * x * (1 - c) + z * s, c + y * y * (1 - c), y * z * (1 - c) - x * s],
        [z * x * (1 - c) - y * s, z * y * (1 - c) + x * s, c + z * z * (1 - c)]];
}

// The board's points in the left camera's frame.
function placedBoard(view, points) {
    const rotation = rotationAbout(view.board.turn);
    return points.map(([x, y]) => added(turned(rotation, [x, y, 0]), view.board.shift));
}

// The points along its edge, the first one again at the end.
function outlineOf(points) {
    const xs = points.map(point => point[0]);
    const ys = points.map(point => point[1]);
    const [left, right, top, bottom] =
        [Math.min(...xs), Math.max(...xs), Math.min(...ys), Math.max(...ys)];
    return [[left, top], [right, top], [right, bottom], [left, bottom], [left, top]];
}

// Centre and corners of a camera's image, `depth` before it, in the left camera's frame. `toLeft`
// takes points there from the camera's own.
function frustumOf(camera, [width, height], depth, toLeft) {
    const [[fx, , cx], [, fy, cy]] = camera.cameraMatrix;
    const corner = (u, v) => toLeft([(u - cx) / fx * depth, (v - cy) / fy * depth, depth]);
    return {centre: toLeft([0, 0, 0]),
            corners: [corner(0, 0), corner(width, 0), corner(width, height), corner(0, height)]};
}

// The inverse of "a point at p in the left camera's frame is at R p + t in the right one's".
function leftFromRight({rotation, translation}) {
    const transposed = rotation.map((_, i) => rotation.map(row => row[i]));
    return point => turned(transposed, point.map((value, i) => value - translation[i]));
}

function styleColour(name) {
    return getComputedStyle(document.documentElement).getPropertyValue(name).trim();
}

class BoardScene {
    constructor(report) {
        this.report = report;
        this.boards = report.views.map(view => placedBoard(view, report.board.points));
        this.outlines = report.views.map(view => placedBoard(view, outlineOf(report.board.points)));
        const centres = this.boards.map(points => points[Math.floor(points.length / 2)]);
        this.depth = centres.map(centre => Math.hypot(...centre)).sort((a, b) => a - b)
            [Math.floor(centres.length / 2)];
        this.target = [report.rightFromLeft.translation[0] / -2, 0, this.depth * 0.6];
        this.scene = new Scene(byId("boards"), this.depth);
        this.addCameras();
        this.marks = this.outlines.map(outline => this.scene.addLine(outline, styleColour("--faint")));
        this.points = this.boards.map(points => this.addPoints(points));
        this.face = this.addFace();
        byId("boards-aside").addEventListener("click", () => this.lookFromAside());
        byId("boards-above").addEventListener("click", () => this.lookFromAbove());
        byId("boards-camera").addEventListener("click", () => this.lookFromCamera());
        this.lookFromAside();
    }

    addCameras() {
        const {left, right, imageSize, rightFromLeft} = this.report;
        const depth = this.depth / 5;
        const cameras = [["--left", frustumOf(left, imageSize, depth, point => point)],
                         ["--right", frustumOf(right, imageSize, depth, leftFromRight(rightFromLeft))]];
        for (const [colour, {centre, corners}] of cameras) {
            this.scene.addLine([...corners, corners[0]], styleColour(colour));
            for (const corner of corners)
                this.scene.addLine([centre, corner], styleColour(colour));
        }
        this.scene.addLine([cameras[0][1].centre, cameras[1][1].centre], styleColour("--ink"));
    }

    addPoints(points) {
        const geometry = new THREE.BufferGeometry().setFromPoints(
            points.map(point => new THREE.Vector3(...point)));
        return this.scene.add(new THREE.Points(
            geometry, new THREE.PointsMaterial({color: styleColour("--faint"), size: 3, sizeAttenuation: false})));
    }

    // Of the chosen board, as lines alone would hardly show among others.
    addFace() {
        const face = this.scene.add(new THREE.Mesh(
            new THREE.BufferGeometry(), new THREE.MeshBasicMaterial({
                color: styleColour("--redo"), transparent: true, opacity: 0.4, side: THREE.DoubleSide,
                depthTest: false})));
        face.frustumCulled = false;
        return face;
    }

    // Has one stand out.
    choose(index) {
        const corners = this.outlines[index].map(corner => new THREE.Vector3(...corner));
        this.face.geometry.dispose();
        this.face.geometry = new THREE.BufferGeometry().setFromPoints(
            [0, 1, 2, 0, 2, 3].map(i => corners[i]));
        for (const marks of [this.marks, this.points])
            marks.forEach((mark, i) => mark.material.color.set(
                styleColour(i === index ? "--redo" : "--faint")));
        this.scene.draw();
    }

    lookFromAside() {
        const {depth} = this;
        this.scene.lookFrom([depth * 1.3, -depth * 0.8, -depth * 0.8], this.target);
    }

    lookFromAbove() {
        this.scene.lookFrom([this.target[0], -this.depth * 1.8, this.target[2] - this.depth * 1e-3],
                            this.target);
    }

    lookFromCamera() {
        this.scene.lookFrom([0, 0, 0], [0, 0, this.depth]);
    }
}
