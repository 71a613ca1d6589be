// Charts as SVG.
"use strict";

// Where a chart draws: values of y from 0 to `top`, with a round scale on the left, and shares of the
// width, which is whatever there is room for, while texts keep their size.
class ChartFrame {
    constructor(title, yTitle, top, height = 220) {
        this.top = 24;
        this.bottom = height - 28;
        this.highest = top > 0 ? top : 1;
        this.svg = svgElement("svg", {class: "chart", height, role: "group", "aria-label": title});
        this.svg.append(svgElement("text", {x: -44, y: 14}, yTitle));
        for (const value of roundTicks(0, this.highest, 4))
            this.addTick(value);
    }

    y(value) {
        return this.bottom - value / this.highest * (this.bottom - this.top);
    }

    addTick(value) {
        const y = this.y(value);
        this.svg.append(
            svgElement("line", {class: "axis", x1: 0, x2: "100%", y1: y, y2: y}),
            svgElement("text", {x: -6, y: y + 4, "text-anchor": "end"}, significant(value)));
    }
}

// A group of bars side by side for each of `groups`: `{name, label, values}`, of which `label` says
// it all for a screen reader. `classes` are those of the bars within a group. With `choose`, groups
// are buttons, and `choose(index)` is called for the one that is pressed.
function makeBarChart({title, yTitle, groups, classes = ["bar"], choose = null}) {
    const frame = new ChartFrame(title, yTitle, Math.max(...groups.flatMap(group => group.values)));
    const percent = share => `${100 * share}%`;
    const pitch = 1 / groups.length;
    const barWidth = pitch * 0.8 / classes.length;
    // As many names as have room on a phone.
    const nameEvery = Math.ceil(groups.length / 8);
    const made = groups.map((group, index) => {
        const start = index * pitch;
        const bars = group.values.map((value, i) =>
            svgElement("rect", {class: `bar ${classes[i]}`, x: percent(start + pitch * 0.1 + i * barWidth),
                                y: frame.y(value), width: percent(barWidth),
                                height: frame.bottom - frame.y(value)}));
        const names = index % nameEvery !== 0 ? [] :
            [svgElement("text", {x: percent(start + pitch / 2), y: frame.bottom + 16,
                                 "text-anchor": "middle"}, group.name)];
        // The whole height is there to click on.
        const area = svgElement("rect", {x: percent(start), y: frame.top, width: percent(pitch),
                                         height: frame.bottom - frame.top, fill: "transparent"});
        return svgElement("g", {"data-index": index, role: "img", "aria-label": group.label},
                          svgElement("title", {}, group.label), ...bars, ...names, area);
    });
    frame.svg.append(...made);
    if (choose)
        makeChoice(made, choose);
    return frame.svg;
}

// Has one of the `elements` pressed at a time.
function makeChoice(elements, choose) {
    for (const [index, one] of elements.entries()) {
        one.setAttribute("role", "button");
        one.setAttribute("tabindex", "0");
        one.setAttribute("aria-pressed", "false");
        onPress(one, () => {
            for (const other of elements)
                other.setAttribute("aria-pressed", String(other === one));
            choose(index);
        });
    }
}
