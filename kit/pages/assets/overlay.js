// What is drawn over a scene, as sharp whatever its size: a mark, and lines with a text.
"use strict";

class SceneOverlay {
    // `svg` lies over the canvas of the scene.
    constructor(scene, svg) {
        this.scene = scene;
        this.svg = svg;
        this.mark = null;
        this.lines = [];
        scene.afterDrawing.push(() => this.place());
    }

    // A point in the frame of the rig, or null.
    setMark(point) {
        this.mark = point;
        this.place();
    }

    // Each has points `from` and `to`, and a `text` in its middle.
    setLines(lines) {
        this.lines = lines;
        this.place();
    }

    place() {
        const {clientWidth, clientHeight} = this.scene.canvas;
        this.svg.setAttribute("viewBox", `0 0 ${clientWidth} ${clientHeight}`);
        this.svg.replaceChildren(...this.lines.flatMap(line => this.makeLine(line)),
                                 ...this.makeMark());
    }

    makeLine({from, to, text}) {
        const [start, end] = [this.scene.project(from), this.scene.project(to)];
        if (start.depth <= 0 || end.depth <= 0)
            return [];
        const ends = {x1: start.x, y1: start.y, x2: end.x, y2: end.y};
        return [svgElement("line", {class: "outline", ...ends}), svgElement("line", ends),
                svgElement("text", {x: (start.x + end.x) / 2, y: (start.y + end.y) / 2 - 8}, text)];
    }

    makeMark() {
        if (this.mark === null)
            return [];
        const {x, y, depth} = this.scene.project(this.mark);
        const circle = {cx: x, cy: y, r: 8};
        return depth <= 0 ? [] : [svgElement("circle", {class: "outline", ...circle}),
                                  svgElement("circle", {class: "mark", ...circle})];
    }
}
