// What is drawn over a view, as sharp whatever its size: a mark, a start, and lines with a text.
"use strict";

class Overlay {
    // `svg` lies over `canvas`. `project` takes what a view shows, as it is given below, to `{x, y}`,
    // pixels of the style, and `depth`, which is negative behind the viewer.
    constructor(svg, canvas, project) {
        Object.assign(this, {svg, canvas, project, mark: null, start: null, lines: []});
    }

    // What is pointed to, or null.
    setMark(mark) {
        this.mark = mark;
        this.place();
    }

    // Each line has its ends `from` and `to`, and a `text` in its middle. One starts at `start`, unless
    // that is null.
    setLines(lines, start) {
        Object.assign(this, {lines, start});
        this.place();
    }

    place() {
        const {clientWidth, clientHeight} = this.canvas;
        this.svg.setAttribute("viewBox", `0 0 ${clientWidth} ${clientHeight}`);
        this.svg.replaceChildren(...this.lines.flatMap(line => this.makeLine(line)),
                                 ...this.makeCircle(this.start, "start", 4),
                                 ...this.makeCircle(this.mark, "mark", 8));
    }

    makeLine({from, to, text}) {
        const [start, end] = [this.project(from), this.project(to)];
        if (start.depth <= 0 || end.depth <= 0)
            return [];
        const ends = {x1: start.x, y1: start.y, x2: end.x, y2: end.y};
        return [svgElement("line", {class: "outline", ...ends}), svgElement("line", ends),
                svgElement("text", {x: (start.x + end.x) / 2, y: (start.y + end.y) / 2 - 8}, text)];
    }

    makeCircle(centre, name, radius) {
        if (centre === null)
            return [];
        const {x, y, depth} = this.project(centre);
        const circle = {cx: x, cy: y, r: radius};
        return depth <= 0 ? [] : [svgElement("circle", {class: "outline", ...circle}),
                                  svgElement("circle", {class: name, ...circle})];
    }
}
