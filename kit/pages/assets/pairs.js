// Pairs of images by their names, and pictures with marks over them.
"use strict";

// Without folders, which take the room of what tells files apart.
function fileName(path) {
    return path.split(/[/\\]/).pop();
}

function pairName(view) {
    return view.left === view.right ? fileName(view.left)
                                    : `${fileName(view.left)} and ${fileName(view.right)}`;
}

function pixels(value, digits = 3) {
    return Number.isFinite(value) ? `${value.toFixed(digits)} pixels` : "unknown";
}

// An image with room for marks whose coordinates are its pixels, as the calibration counts them:
// (0, 0) is the centre of the upper left one.
function markedPicture(address, [width, height], label) {
    const svg = svgElement("svg", {viewBox: `-0.5 -0.5 ${width} ${height}`, role: "img",
                                   "aria-label": label, class: "marked"});
    if (address)
        svg.append(svgElement("image", {href: address, x: -0.5, y: -0.5, width, height,
                                        preserveAspectRatio: "none"}));
    else
        svg.append(svgElement("rect", {class: "no-picture", x: -0.5, y: -0.5, width, height}));
    return svg;
}
