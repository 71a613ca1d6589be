// Colours for values, which people tell apart however they see colours: viridis, whose lightness
// grows evenly.
"use strict";

const viridisStops = [
    [68, 1, 84], [72, 36, 117], [65, 68, 135], [53, 95, 141], [42, 120, 142], [33, 145, 140],
    [34, 168, 132], [68, 191, 112], [122, 209, 81], [189, 223, 38], [253, 231, 37]];

// The red, green and blue, 0 to 255, of a share of 0 (dark) to 1 (light).
function viridis(share) {
    const place = Math.min(1, Math.max(0, share)) * (viridisStops.length - 1);
    const index = Math.min(viridisStops.length - 2, Math.floor(place));
    const [from, to] = [viridisStops[index], viridisStops[index + 1]];
    return from.map((value, i) => Math.round(value + (place - index) * (to[i] - value)));
}

// 256 colours, one after the other, for many values.
const viridisTable = Uint8Array.from(
    Array.from({length: 256}, (_, i) => viridis(i / 255)).flat());

function cssColour([red, green, blue]) {
    return `rgb(${red} ${green} ${blue})`;
}

let legendCount = 0;

// A bar with round values below it. Colours are those of `viridis`, light for `low` if
// `isLightLow`.
function makeLegend(title, low, high, isLightLow = false) {
    const width = 320, left = 24, right = 24;
    const gradient = `viridis-${++legendCount}`;
    const stops = Array.from({length: 11}, (_, i) => svgElement("stop", {
        offset: i / 10,
        "stop-color": cssColour(viridis(isLightLow ? 1 - i / 10 : i / 10))}));
    const x = value => left + (value - low) / (high - low) * (width - left - right);
    const ticks = roundTicks(low, high, 5).map(value =>
        svgElement("g", {},
            svgElement("line", {class: "axis", x1: x(value), x2: x(value), y1: 32, y2: 38}),
            svgElement("text", {x: x(value), y: 50, "text-anchor": "middle"}, significant(value))));
    const label = `${title}, colours from ${significant(low)} to ${significant(high)}`;
    return svgElement("svg", {viewBox: `0 0 ${width} 54`, width, role: "img", "aria-label": label},
        svgElement("defs", {}, svgElement("linearGradient", {id: gradient}, ...stops)),
        svgElement("text", {x: left, y: 12}, title),
        svgElement("rect", {x: left, y: 18, width: width - left - right, height: 14,
                            fill: `url(#${gradient})`}),
        ...ticks);
}
