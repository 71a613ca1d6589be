// Tables that a screen reader can read.
"use strict";

// `columns` are texts, or `{title, isNumber}`; `rows` are arrays of texts, numbers and elements, of
// which the first names the row.
function makeTable(caption, columns, rows) {
    const isNumber = columns.map(column => column.isNumber === true);
    const classOf = i => (isNumber[i] ? {class: "number"} : {});
    const head = columns.map((column, i) =>
        element("th", {scope: "col", ...classOf(i)}, column.title ?? column));
    const body = rows.map(row =>
        element("tr", {}, ...row.map((value, i) =>
            i === 0 ? element("th", {scope: "row", ...classOf(i)}, value)
                    : element("td", classOf(i), value))));
    // Whoever has no mouse scrolls the box by its focus.
    return element("div", {class: "table-box", tabindex: "0", role: "region", "aria-label": caption},
        element("table", {},
            element("caption", {}, caption),
            element("thead", {}, element("tr", {}, ...head)),
            element("tbody", {}, ...body)));
}
