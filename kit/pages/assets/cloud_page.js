// The page of a cloud: what it shows, and what one does with it.
"use strict";

// More are hardly told apart on a screen, and would not turn fluently.
const mostPoints = 1e6;

function readCloud() {
    const bytes = blockBytes("disparities");
    return new Cloud(pageData, new Uint16Array(bytes.buffer));
}

// A power of two.
function describeStep(step) {
    return step < 1 ? `1/${1 / step} pixel` : withUnit(step, "pixels");
}

class CloudPage {
    constructor(cloud, photograph) {
        this.cloud = cloud;
        this.unit = pageData.unit;
        this.depths = Float64Array.from(cloud.pixels, pixel => cloud.depthAt(pixel)).sort();
        this.colours = {picture: photographColours(photograph, cloud.width, cloud.height),
                        depth: depthColours(cloud, pageData.colours)};
        this.picture = new DepthPicture(
            byId("picture"), byId("picture-overlay"), cloud.width, cloud.height);
        this.distances = new Distances(cloud, this.unit, () => this.showDistances());
        this.showTexts();
        this.addPointerTable();
        this.addPicture();
        if (this.depths.length > 0)
            this.addCloud();
        this.hideUseless();
        this.showPointer(null);
        this.showDistances();
    }

    showTexts() {
        const {cloud, depths, unit} = this;
        const share = 100 * depths.length / cloud.steps.length;
        byId("summary").textContent = depths.length === 0 ? "Nothing was measured." :
            `${depths.length} of ${cloud.steps.length} pixels measured (${significant(share, 3)} %), ` +
            `depths ${significant(depths[0])} to ${withUnit(depths[depths.length - 1], unit)}, ` +
            `median ${withUnit(quantile(depths, 0.5), unit)}.`;
        showProvenance(pageData.madeWith);
        byId("made-with").append(element("p", {},
            `This page holds disparities in steps of ${describeStep(cloud.disparityStep)}.`));
    }

    // Whose cells change.
    addPointerTable() {
        const columns = ["disparity (pixels)", "depth", "X", "Y"].map(title => ({title, isNumber: true}));
        byId("pointer").append(makeTable(
            `Under the pointer, lengths in ${describeUnit(this.unit)}; the upper left pixel is 0, 0`,
            ["pixel", ...columns], [["", "", "", "", ""]]));
        this.pointerCells = byId("pointer").querySelectorAll("tbody th, tbody td");
    }

    addPicture() {
        const canvas = byId("picture");
        const [low, high] = pageData.colours;
        if (high > low)
            byId("legend").append(makeLegend(`depth (${describeUnit(this.unit)})`, low, high, true));
        const choose = () => this.picture.setColours(this.colours[byId("picture-colour").value]);
        byId("picture-colour").value = this.depths.length > 0 ? "depth" : "picture";
        byId("picture-colour").addEventListener("change", choose);
        choose();
        canvas.addEventListener("pointermove", oncePerFrame(event =>
            this.showPointer(this.picture.pixelAt(event))));
        onClick(canvas, event => this.take(this.picture.pixelAt(event)));
        canvas.addEventListener("keydown", event => this.moveMark(event));
    }

    addCloud() {
        const {cloud, depths} = this;
        const middle = quantile(depths, 0.5);
        try {
            this.scene = new Scene(byId("cloud"), middle, false);
        } catch (error) {
            showProblem("This browser does not draw in space (WebGL); the image shows the depths.");
            return;
        }
        this.scene.showUpTo(depths[depths.length - 1]);
        this.points = new CloudPoints(this.scene, cloud, mostPoints);
        this.showThinning();
        this.addViews(middle);
        this.addCloudControls();
        this.addCloudPointer();
        this.overlay = new Overlay(byId("overlay"), byId("cloud"), pixel =>
            this.scene.project(cloud.pointAt(pixel)));
        this.scene.afterDrawing.push(() => this.overlay.place());
    }

    hideUseless() {
        const isNothingMeasured = this.depths.length === 0;
        byId("cloud-panel").hidden = this.scene === undefined;
        byId("picture-controls").hidden = isNothingMeasured;
        byId("distances-panel").hidden = isNothingMeasured;
    }

    showThinning() {
        const [shown, all] = [this.points.pixels.length, this.cloud.pixels.length];
        byId("thinned").hidden = shown === all;
        byId("thinned").textContent =
            `Of ${all} points, ${shown} are drawn, evenly spread; the image has all of them.`;
    }

    addViews(middle) {
        const {width, height, camera} = this.cloud;
        const {focalLength: f, centre: [cx, cy]} = camera;
        // As much to all sides of the axis.
        this.scene.showAtLeast(2 * Math.max(cx, width - cx), 2 * Math.max(cy, height - cy), f);
        const sample = this.points.sample();
        const lookAlong = (right, up) => () => this.scene.lookAtAll(sample, right, up);
        const views = {"view-aside": lookAlong(0.25, 0.17), "view-above": lookAlong(0, 1.2),
                       "view-camera": () => this.scene.lookFrom([0, 0, 0], [0, 0, middle])};
        for (const [id, look] of Object.entries(views))
            byId(id).addEventListener("click", look);
        views["view-aside"]();
    }

    addCloudControls() {
        const {points} = this;
        const colour = byId("cloud-colour"), size = byId("point-size");
        const setColours = () => points.setColours(this.colours[colour.value]);
        const setSize = () => points.setSize(Number(size.value));
        colour.addEventListener("change", setColours);
        size.addEventListener("input", setSize);
        setColours();
        setSize();
        byId("fullscreen").hidden = !document.fullscreenEnabled;
        byId("fullscreen").addEventListener("click", () =>
            byId("cloud").parentElement.requestFullscreen());
    }

    addCloudPointer() {
        const canvas = byId("cloud");
        const pick = event => {
            const box = canvas.getBoundingClientRect();
            return this.points.pick(event.clientX - box.left, event.clientY - box.top);
        };
        const showPicked = oncePerFrame(event => this.showPointer(pick(event)));
        canvas.addEventListener("pointermove", event => {
            if (event.buttons === 0)
                showPicked(event);
        });
        onClick(canvas, event => this.take(pick(event)));
    }

    // Of what is under the pointer, in either view; null for nothing.
    showPointer(pixel) {
        this.marked = pixel;
        this.picture.overlay.setMark(pixel);
        this.overlay?.setMark(pixel !== null && this.cloud.isMeasured(pixel) ? pixel : null);
        const texts = this.describePoint(pixel);
        this.pointerCells.forEach((cell, i) => {
            cell.textContent = texts[i];
        });
    }

    describePoint(pixel) {
        if (pixel === null)
            return ["none", "", "", "", ""];
        const name = this.distances.describePixel(pixel);
        if (!this.cloud.isMeasured(pixel))
            return [name, "not measured", "", "", ""];
        const [x, y, depth] = this.cloud.pointAt(pixel);
        return [name, significant(this.cloud.disparityAt(pixel), 6),
                ...[depth, x, y].map(value => significant(value, 5))];
    }

    take(pixel) {
        this.showPointer(pixel);
        if (pixel === null || !this.cloud.isMeasured(pixel)) {
            byId("distance-status").textContent =
                `Nothing was measured there. ${this.distances.status()}`;
            return;
        }
        this.distances.take(pixel);
    }

    // By the keyboard, from the middle on.
    moveMark(event) {
        const steps = {ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1]};
        const {width, height} = this.cloud;
        if (event.key === "Enter" && this.marked !== null)
            this.take(this.marked);
        if (!(event.key in steps))
            return;
        event.preventDefault();
        const from = this.marked ?? Math.floor(height / 2) * width + Math.floor(width / 2);
        const [dx, dy] = steps[event.key].map(step => step * (event.shiftKey ? 10 : 1));
        const x = Math.min(width - 1, Math.max(0, this.cloud.columnOf(from) + dx));
        const y = Math.min(height - 1, Math.max(0, this.cloud.rowOf(from) + dy));
        this.showPointer(y * width + x);
        this.speakPointer();
    }

    speakPointer() {
        const {cloud, marked} = this;
        byId("pointer-status").textContent = `pixel ${this.distances.describePixel(marked)}: ` +
            (cloud.isMeasured(marked) ? `depth ${withUnit(cloud.depthAt(marked), this.unit)}`
                                      : "not measured");
    }

    showDistances() {
        const {pairs, first} = this.distances;
        byId("distance-status").textContent = this.distances.status();
        byId("distances").replaceChildren(...(pairs.length > 0 ? [this.distances.makeTable()] : []));
        byId("clear-distances").disabled = pairs.length === 0 && first === null;
        const lines = pairs.map(([from, to]) =>
            ({from, to, text: this.distances.describe([from, to])}));
        this.picture.overlay.setLines(lines, first);
        this.overlay?.setLines(lines, first);
    }
}

loadPicture("left").then(photograph => {
    const cloudPage = new CloudPage(readCloud(), photograph);
    byId("clear-distances").addEventListener("click", () => cloudPage.distances.clear());
    document.addEventListener("keydown", event => {
        if (event.key === "Escape")
            cloudPage.distances.forgetFirst();
    });
    document.documentElement.dataset.ready = "true";
});
