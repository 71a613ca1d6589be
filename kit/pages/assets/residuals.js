// Where in the images a calibration errs, and in which direction.
"use strict";

const residualGrid = {columns: 16, rows: 12};
const fewestResiduals = 3;

// For each cell with enough corners `{place, mean, count}`: the centre of the corners in it and the
// mean residual.
function residualsByCell(views, camera, [width, height]) {
    const {columns, rows} = residualGrid;
    const cells = Array.from({length: columns * rows},
                             () => ({place: [0, 0], mean: [0, 0], count: 0}));
    for (const view of views) {
        const points = view[`${camera}Points`];
        points.found.forEach(([x, y], i) => {
            const column = Math.min(columns - 1, Math.max(0, Math.floor((x + 0.5) / width * columns)));
            const row = Math.min(rows - 1, Math.max(0, Math.floor((y + 0.5) / height * rows)));
            const cell = cells[row * columns + column];
            const residual = residualOf(points, i);
            for (const axis of [0, 1]) {
                cell.place[axis] += points.found[i][axis];
                cell.mean[axis] += residual[axis];
            }
            ++cell.count;
        });
    }
    return cells.filter(cell => cell.count >= fewestResiduals)
        .map(({place, mean, count}) => ({place: place.map(sum => sum / count),
                                         mean: mean.map(sum => sum / count), count}));
}

function residualLength(cell) {
    return Math.hypot(...cell.mean);
}

function drawResiduals(cells, camera, [width, height], magnification) {
    const largest = cells.length === 0 ? 0 : Math.max(...cells.map(residualLength));
    const label = cells.length === 0 ? `${camera} image: too few corners` :
        `${camera} image: mean residuals in ${cells.length} parts, the largest ${pixels(largest)}`;
    const svg = svgElement("svg", {viewBox: `-0.5 -0.5 ${width} ${height}`, role: "img",
                                   "aria-label": label, class: "marked"});
    svg.append(svgElement("rect", {class: "no-picture", x: -0.5, y: -0.5, width, height}));
    for (const {place, mean} of cells)
        svg.append(
            svgElement("circle", {class: `dot ${camera}`, cx: place[0], cy: place[1], r: width / 300}),
            svgElement("path", {class: `vector ${camera}`,
                                d: arrowPath(place, mean.map(value => value * magnification), width / 80)}));
    return element("figure", {}, svg, element("figcaption", {class: "faint"}, label));
}

// The longest arrow comes to one and a half cells.
function showResiduals(views, imageSize) {
    const byCamera = ["left", "right"].map(
        camera => [camera, residualsByCell(views, camera, imageSize)]);
    const lengths = byCamera.flatMap(([, cells]) => cells.map(residualLength));
    const largest = lengths.length === 0 ? 1 : Math.max(...lengths);
    const magnification = Number((1.5 * imageSize[0] / residualGrid.columns / largest).toPrecision(1));
    byId("residuals").append(...byCamera.map(
        ([camera, cells]) => drawResiduals(cells, camera, imageSize, magnification)));
    byId("residual-scale").textContent = `Arrows are ${magnification} times as long as the errors; ` +
        `parts with fewer than ${fewestResiduals} corners are left empty.`;
}
