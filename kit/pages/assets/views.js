// The pairs that a calibration was made of, with their corners over their pictures.
"use strict";

function crossPath([x, y], size) {
    return `M${x - size} ${y - size}l${2 * size} ${2 * size}m0 ${-2 * size}l${-2 * size} ${2 * size}`;
}

// From `from`, with a head for what is long enough to have one.
function arrowPath([x, y], [dx, dy], headSize) {
    const length = Math.hypot(dx, dy);
    const head = Math.min(headSize, length / 2);
    const [ux, uy] = length > 0 ? [dx / length * head, dy / length * head] : [0, 0];
    const [tipX, tipY] = [x + dx, y + dy];
    return `M${x} ${y}L${tipX} ${tipY}` +
        `M${tipX - ux - uy / 2} ${tipY - uy + ux / 2}L${tipX} ${tipY}L${tipX - ux + uy / 2} ${tipY - uy - ux / 2}`;
}

// From where the calibration has a corner to where it was found.
function residualOf(points, i) {
    const [found, reprojected] = [points.found[i], points.reprojected[i]];
    return [found[0] - reprojected[0], found[1] - reprojected[1]];
}

function addMarks(svg, points, imageWidth, {magnification, hasCorners, hasArrows}) {
    const size = imageWidth / 128;
    const add = (name, path) => svg.append(
        svgElement("path", {class: `corner-halo ${name}`, d: path}),
        svgElement("path", {class: `corner ${name}`, d: path}));
    if (hasCorners) {
        for (const [x, y] of points.found)
            svg.append(svgElement("circle", {class: "corner found", cx: x, cy: y, r: size}));
        add("reprojected", points.reprojected.map(point => crossPath(point, size / 2)).join(""));
    }
    if (hasArrows)
        add("residual", points.reprojected.map((point, i) => {
            const [dx, dy] = residualOf(points, i);
            return arrowPath(point, [dx * magnification, dy * magnification], size);
        }).join(""));
}

function showCamera(view, index, camera, options) {
    const points = view[`${camera}Points`];
    const label = `${camera} image: ${points.found.length} corners found, ` +
        `reprojection error ${pixels(points.error)}`;
    const address = view.whyMissing ? "" : pictureAddress(`view-${index}-${camera}`);
    const svg = markedPicture(address, pageData.imageSize, label);
    svg.dataset.camera = camera;
    addMarks(svg, points, pageData.imageSize[0], options);
    return element("figure", {}, svg, element("figcaption", {class: "faint"}, label));
}

// Shows one of the views at a time, and tells `onChoice` which.
class ViewBrowser {
    constructor(views, onChoice) {
        this.views = views;
        this.onChoice = onChoice;
        this.index = 0;
        this.addMagnifications();
        for (const id of ["magnification", "shows-corners", "shows-arrows"])
            byId(id).addEventListener("change", () => this.draw());
        byId("previous-view").addEventListener("click", () => this.step(-1));
        byId("next-view").addEventListener("click", () => this.step(1));
        this.addBars();
        this.choose(0);
    }

    // So that the largest of usual errors is some twelve times as long as a corner's mark.
    addMagnifications() {
        const select = byId("magnification");
        for (const factor of [1, 10, 20, 50, 100, 200, 500])
            select.append(element("option", {value: factor}, `${factor} times`));
        const fitting = pageData.imageSize[0] / 12 / Math.max(1e-9, 2 * pageData.pairError);
        const factors = [...select.options].map(option => Number(option.value));
        select.value = factors.filter(factor => factor <= fitting).pop() ?? 1;
    }

    addBars() {
        const groups = this.views.map((view, i) => ({
            name: String(i + 1),
            label: `Pair ${i + 1}, ${pairName(view)}: left ${pixels(view.leftPoints.error)}, ` +
                `right ${pixels(view.rightPoints.error)}`,
            values: [view.leftPoints.error, view.rightPoints.error]}));
        this.chart = makeBarChart({title: "Reprojection errors of all pairs, the worst first",
                                   yTitle: "pixels", groups, classes: ["left", "right"],
                                   choose: index => this.choose(index)});
        byId("errors").append(this.chart);
    }

    step(by) {
        this.choose((this.index + by + this.views.length) % this.views.length);
    }

    choose(index) {
        this.index = index;
        for (const bar of this.chart.querySelectorAll("[data-index]"))
            bar.setAttribute("aria-pressed", String(Number(bar.dataset.index) === index));
        this.draw();
        this.onChoice(index);
    }

    draw() {
        const view = this.views[this.index];
        const options = {magnification: Number(byId("magnification").value),
                         hasCorners: byId("shows-corners").checked,
                         hasArrows: byId("shows-arrows").checked};
        byId("view").dataset.index = this.index;
        byId("view-name").textContent = `Pair ${this.index + 1}: ${pairName(view)}`;
        byId("view-numbers").textContent =
            `Reprojection error ${pixels(view.pairError)}; mean row difference ` +
            `${pixels(view.meanRowDifference)}.` +
            (view.whyMissing ? ` No pictures: ${view.whyMissing}.` : "");
        byId("view-pictures").replaceChildren(
            ...["left", "right"].map(camera => showCamera(view, this.index, camera, options)));
    }
}
