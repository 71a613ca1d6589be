// What a result was made with.
"use strict";

function describeValue(value) {
    return Array.isArray(value) ? value.join(", ") : String(value);
}

function showProvenance(report) {
    byId("program").textContent = report.program;
    const rows = [["program", report.program], ["OpenCV", report.opencv], ["command", report.command],
                  ...Object.entries(report.parameters ?? {})
                      .map(([name, value]) => [name, describeValue(value)])];
    if (report.calibrationSha256)
        rows.push(["SHA-256 of the calibrations", report.calibrationSha256]);
    byId("made-with").append(makeTable("The command, its settings and versions", ["name", "value"], rows));
}
