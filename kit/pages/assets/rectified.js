// A rectified pair, one image over the other, under a line along a row.
"use strict";

class RectifiedPair {
    constructor(imageSize) {
        this.size = imageSize;
        const [width, height] = imageSize;
        this.svg = markedPicture(pictureAddress("rectified-left"), imageSize,
                                 "The rectified pair: the left image left of the slider, the right one right of it");
        this.clip = svgElement("rect", {y: -0.5, width, height});
        this.line = svgElement("path", {class: "row-line"});
        this.seam = svgElement("path", {class: "seam"});
        this.svg.append(
            svgElement("defs", {}, svgElement("clipPath", {id: "right-part"}, this.clip)),
            svgElement("image", {href: pictureAddress("rectified-right"), x: -0.5, y: -0.5, width, height,
                                 preserveAspectRatio: "none", "clip-path": "url(#right-part)"}),
            this.seam, this.line);
        byId("rectified").append(this.svg);
        this.addControls();
    }

    addControls() {
        this.row = byId("rectified-row");
        this.row.max = this.size[1] - 1;
        this.row.value = Math.round(this.size[1] / 2);
        this.share = byId("rectified-share");
        for (const input of [this.row, this.share])
            input.addEventListener("input", () => this.draw());
        this.svg.addEventListener("pointermove", event => {
            const box = this.svg.getBoundingClientRect();
            this.row.value = Math.floor((event.clientY - box.top) / box.height * this.size[1]);
            this.draw();
        });
        this.draw();
    }

    draw() {
        const [width, height] = this.size;
        const seam = this.share.value / 100 * width - 0.5;
        const row = Number(this.row.value);
        this.clip.setAttribute("x", seam);
        this.seam.setAttribute("d", `M${seam} -0.5v${height}`);
        this.line.setAttribute("d", `M-0.5 ${row}h${width}`);
        this.svg.dataset.row = row;
    }
}

function showRectified(report) {
    if (!report.whyNotRectified)
        return new RectifiedPair(report.imageSize);
    byId("rectified-text").textContent = `No picture: ${report.whyNotRectified}.`;
    byId("rectified-controls").hidden = true;
    return null;
}
