// The page of a calibration.
"use strict";

function gradeText(grade) {
    return element("span", {class: grade}, grade);
}

function limitText(criterion) {
    const direction = criterion.goodLimit < criterion.usableLimit ? "up to" : "from";
    return `${direction} ${significant(criterion.goodLimit, 3)}, usable ${direction} ` +
        significant(criterion.usableLimit, 3);
}

function showVerdict(report) {
    byId("verdict").append(gradeText(report.verdict));
    byId("criteria").append(makeTable("What decides on it",
        ["criterion", "grade", "value", "good"],
        report.criteria.map(criterion => [
            criterion.name, gradeText(criterion.grade),
            `${significant(criterion.value, 3)} ${criterion.unit}`.trim(), limitText(criterion)])));
    for (const fault of report.faults)
        byId("faults").append(element("p", {class: "notice"},
            `${fault.problem}. What to do: ${fault.remedy}.`));
    const open = report.criteria.filter(criterion => criterion.grade !== "good" && criterion.advice);
    if (open.length > 0 && report.faults.length === 0)
        byId("advice").append(element("h3", {}, "What to do"),
            element("ul", {}, ...open.map(criterion => element("li", {}, `${criterion.name}: ${criterion.advice}.`))));
}

function uncertaintyText(camera) {
    const share = camera.focalLengthUncertainty;
    return share > 0 ? ` ± ${significant(share * camera.focalLength, 2)} (${significant(100 * share, 2)} %)` : "";
}

function showCameras(report) {
    const {left, right, rowDifference, imageSize} = report;
    const both = (name, describe) => [name, describe(left), describe(right)];
    const angles = camera => camera.fieldOfViewDegrees;
    byId("cameras").append(makeTable(`Images of ${imageSize.join(" x ")} pixels`,
        ["", "left", "right"], [
            both("focal length, pixels", camera => significant(camera.focalLength, 5) + uncertaintyText(camera)),
            both("principal point, pixels", camera =>
                `${camera.cameraMatrix[0][2].toFixed(1)}, ${camera.cameraMatrix[1][2].toFixed(1)}`),
            both("field of view, degrees", camera =>
                `${angles(camera).horizontal.toFixed(1)} x ${angles(camera).vertical.toFixed(1)}`),
            both("reprojection error alone", camera => pixels(camera.reprojectionError))]));
    byId("cameras").append(makeTable("The pair", ["", {title: "value", isNumber: true}], [
        ["baseline", withUnit(report.baseline, report.unit)],
        ["reprojection error", pixels(report.pairError)],
        ["row difference, mean", pixels(rowDifference.mean)],
        ["row difference, 95 % within", pixels(rowDifference.p95)]]));
    byId("lens").textContent = `Lenses: ${report.lens.model} (${report.lens.reason}).`;
}

// Cells as dark as `report.json` counts corners in them, each with its number.
function drawCoverage(coverage, camera, imageSize, largest) {
    const {counts} = coverage;
    const width = 320;
    const height = width * imageSize[1] / imageSize[0];
    const label = `${camera} image: corners in ${Math.round(100 * coverage.share)} % of the cells` +
        (coverage.emptyRegions.length > 0 ? `, nothing in: ${coverage.emptyRegions.join(", ")}` : "");
    const svg = svgElement("svg", {viewBox: `0 0 ${width} ${height}`, role: "img", "aria-label": label,
                                   class: "marked"});
    const [cellWidth, cellHeight] = [width / counts[0].length, height / counts.length];
    counts.forEach((row, y) => row.forEach((count, x) => {
        const share = count / largest;
        const cell = {x: x * cellWidth, y: y * cellHeight, width: cellWidth, height: cellHeight};
        svg.append(
            svgElement("rect", count > 0 ? {...cell, fill: cssColour(viridis(share))}
                                         : {...cell, class: "no-picture"}),
            svgElement("text", {x: cell.x + cellWidth / 2, y: cell.y + cellHeight / 2 + 4,
                                "text-anchor": "middle",
                                class: count === 0 ? "on-nothing" : share > 0.6 ? "on-light" : "on-dark"},
                       String(count)));
    }));
    return element("figure", {}, svg, element("figcaption", {class: "faint"}, label));
}

function showCoverage({coverage, imageSize}) {
    const all = ["left", "right"].flatMap(camera => coverage[camera].counts.flat());
    const largest = Math.max(1, ...all);
    byId("coverage").append(...["left", "right"].map(
        camera => drawCoverage(coverage[camera], camera, imageSize, largest)));
    byId("coverage-legend").append(makeLegend("corners in a cell", 0, largest));
}

function showPairs(report) {
    const number = title => ({title, isNumber: true});
    const fixed = value => (Number.isFinite(value) ? value.toFixed(3) : "unknown");
    byId("views").append(makeTable("Errors in pixels, the worst pair first: of both cameras with one " +
        "position of the board, of each camera alone, and the mean row difference once it is rectified",
        [number("pair"), "left image", "right image", number("both"), number("left alone"),
         number("right alone"), number("rows")],
        report.views.map((view, i) => [
            String(i + 1), fileName(view.left), fileName(view.right), fixed(view.pairError),
            fixed(view.leftError), fixed(view.rightError), fixed(view.meanRowDifference)])));
    const alike = report.leftOutAlike.map(pair => ({...pair, reason: "shows the board much as another pair does"}));
    const leftOut = [...report.leftOut, ...alike];
    if (leftOut.length > 0)
        byId("left-out").append(makeTable("Left out", ["left image", "right image", "why"],
            leftOut.map(pair => [fileName(pair.left), fileName(pair.right), pair.reason])));
}

function showBoards(report) {
    const depths = report.views.map(view => view.board.shift[2]);
    byId("distances").append(makeTable("Depths of the boards' first corners", ["", {title: "depth", isNumber: true}],
        [["nearest", withUnit(Math.min(...depths), report.unit, 3)],
         ["farthest", withUnit(Math.max(...depths), report.unit, 3)]]));
    const canvas = byId("boards");
    canvas.setAttribute("aria-label", `${report.views.length} boards before two cameras`);
    try {
        return new BoardScene(report);
    } catch (error) {
        canvas.replaceWith(element("p", {class: "notice"},
            `This browser does not draw in space: ${error.message}`));
        return null;
    }
}

showVerdict(pageData);
showCameras(pageData);
showCoverage(pageData);
showResiduals(pageData.views, pageData.imageSize);
const boardScene = showBoards(pageData);
const viewBrowser = new ViewBrowser(pageData.views, index => boardScene?.choose(index));
showRectified(pageData);
showPairs(pageData);
showProvenance(pageData);
document.documentElement.dataset.ready = "true";
