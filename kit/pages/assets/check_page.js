// The page of a check.
"use strict";

const gradeOf = {"calibrated": "good", "not calibrated": "redo", "swapped": "redo"};

function signed(value, digits = 2) {
    return Number.isFinite(value) ? (value > 0 ? "+" : "") + value.toFixed(digits) : "-";
}

function tooMuch(value, digits, unit) {
    return `${Math.abs(value).toFixed(digits)} ${unit} too ${value > 0 ? "large" : "small"}`;
}

function showAnswer(report) {
    byId("verdict").append(element("span", {class: gradeOf[report.verdict]}, report.verdict));
    const [first, ...others] = report.reason;
    byId("reason").textContent = `${first.toUpperCase()}${others.join("")}.`;
    byId("advice").textContent = report.advice ? `What to do: ${report.advice}.` : "";
}

function showNumbers(report) {
    const {rowDifference} = report;
    byId("numbers").append(makeTable("All pairs together", ["", {title: "value", isNumber: true}], [
        ["pairs", String(report.pairs)],
        ["features found on both sides", String(report.matches)],
        ["of these consistent", String(report.consistentMatches)],
        ["row difference, median", pixels(rowDifference.median)],
        ["row difference, 95 % within", pixels(rowDifference.p95)],
        ["row difference with sign, median", `${signed(rowDifference.signedMedian, 3)} pixels`],
        ["regions judged", `${rowDifference.regionsJudged} of 9`],
        ["behind the cameras", `${significant(100 * report.shareBehindCameras, 2)} %`]]));
}

function showTurn({turn, unit}) {
    if (!turn) {
        byId("turn-text").textContent = "These images do not determine it.";
        return;
    }
    const row = (name, angle) => [name, signed(angle.degrees, 3), `± ${angle.uncertainty.toFixed(3)}`];
    byId("turn").append(makeTable("Degrees", ["about", {title: "turn", isNumber: true}, "uncertainty"], [
        row("x, + is up", turn.aboutX), row("y, + is to the right", turn.aboutY),
        row("z, + is clockwise", turn.aboutZ)]));
    byId("turn-text").textContent = !turn.isAboutYKnown
        ? "These images do not determine that about y."
        : `That about y makes disparities ${tooMuch(turn.disparityError, 2, "pixels")}, depths ` +
          `${tooMuch(100 * turn.depthErrorShare, 1, "%")} at ${withUnit(turn.medianDepth, unit, 3)}, the median.`;
}

// Lines for features, all of one pair or of all.
class PlacePicture {
    constructor(report) {
        this.report = report;
        this.pair = null;
        const [width, height] = report.imageSize;
        this.svg = markedPicture(pictureAddress("left"), report.imageSize,
                                 "Row differences over the left image of the first pair");
        this.lines = {down: svgElement("path", {class: "vector right"}),
                      up: svgElement("path", {class: "vector left"})};
        const grid = [1, 2].map(i => `M${i * width / 3} 0v${height}M0 ${i * height / 3}h${width}`);
        this.svg.append(this.lines.down, this.lines.up, svgElement("path", {class: "grid", d: grid.join("")}));
        byId("places").append(element("div", {class: "view"}, this.svg, this.makeRegions()));
        this.addControls();
        this.draw();
    }

    // Over the picture, so that texts keep their size.
    makeRegions() {
        const place = third => `${100 * (third + 0.5) / 3}%`;
        return svgElement("svg", {class: "overlay"},
            ...this.report.rowDifference.regionMedians.flatMap((row, y) => row.map((median, x) =>
                svgElement("text", {"data-region": `${y}-${x}`, x: place(x), y: place(y)},
                           median === null ? "too few" : signed(median)))));
    }

    addControls() {
        const select = byId("magnification");
        for (const factor of [1, 5, 10, 20, 50, 100])
            select.append(element("option", {value: factor}, `${factor} times`));
        const p95 = Math.max(0.01, this.report.rowDifference.p95);
        const fitting = this.report.imageSize[0] / 20 / p95;
        select.value = [1, 5, 10, 20, 50, 100].filter(factor => factor <= fitting).pop() ?? 1;
        select.addEventListener("change", () => this.draw());
        byId("shows-picture").addEventListener("change", event =>
            this.svg.classList.toggle("without-picture", !event.target.checked));
    }

    // Of a pair by its number, of all with null.
    choose(pair) {
        this.pair = pair;
        this.draw();
    }

    draw() {
        const magnification = Number(byId("magnification").value);
        const shown = this.report.places.filter(
            ([, , , pair]) => this.pair === null || pair === this.pair);
        const pathOf = isWanted => shown.filter(([, , difference]) => isWanted(difference))
            .map(([x, y, difference]) => `M${x} ${y}v${(difference * magnification).toFixed(2)}`).join("");
        this.lines.down.setAttribute("d", pathOf(difference => difference > 0));
        this.lines.up.setAttribute("d", pathOf(difference => difference <= 0));
        this.svg.dataset.shown = shown.length;
        byId("shown-pair").textContent = this.describe(shown.length);
    }

    // Of very many features only some are drawn.
    describe(shown) {
        const {consistentMatches, pairRowDifferences} = this.report;
        const all = this.pair === null ? consistentMatches
                                       : pairRowDifferences[this.pair].consistentMatches;
        return `${shown === all ? all : `${shown} of the ${all}`} features of ` +
               (this.pair === null ? "all pairs" : `pair ${this.pair + 1}`);
    }
}

function showPairs(report, picture) {
    const pairs = report.pairRowDifferences;
    const chart = makeBarChart({
        title: "Row differences of the pairs", yTitle: "pixels", classes: ["left", "right"],
        groups: pairs.map((pair, i) => ({
            name: String(i + 1),
            label: `Pair ${i + 1}, ${pairName(pair)}: median ${pixels(pair.median)}, 95 % within ${pixels(pair.p95)}`,
            values: [pair.median ?? 0, pair.p95 ?? 0]})),
        choose: index => picture.choose(index)});
    byId("pair-chart").append(chart);
    byId("all-pairs").addEventListener("click", () => {
        for (const bar of chart.querySelectorAll("[aria-pressed]"))
            bar.setAttribute("aria-pressed", "false");
        picture.choose(null);
    });
    const number = title => ({title, isNumber: true});
    const fixed = value => (Number.isFinite(value) ? value.toFixed(3) : "-");
    byId("pairs").append(makeTable("Pixels; the last one with its sign",
        [number("pair"), "left image", "right image", number("features"), number("median"),
         number("95 %"), number("median, signed")],
        pairs.map((pair, i) => [String(i + 1), fileName(pair.left), fileName(pair.right),
                                String(pair.consistentMatches), fixed(pair.median), fixed(pair.p95),
                                signed(pair.signedMedian, 3)])));
    if (report.failed.length > 0)
        byId("pairs").append(element("h3", {}, "Not used"),
            element("ul", {}, ...report.failed.map(message => element("li", {}, message))));
}

showAnswer(pageData);
showProvenance(pageData);
// Files that are exchanged are an answer without a look at the images.
if (pageData.rowDifference) {
    showNumbers(pageData);
    showTurn(pageData);
    showPairs(pageData, new PlacePicture(pageData));
} else {
    byId("seen").hidden = true;
}
document.documentElement.dataset.ready = "true";
