// Numbers as people read them.
"use strict";

// With four significant digits, or as many as are asked for, and no needless zeros.
function significant(value, digits = 4) {
    if (!Number.isFinite(value))
        return "unknown";
    return String(Number(value.toPrecision(digits)));
}

// Of lengths: "m", "" for a unit of the user's own, undefined or null where it is not known.
function describeUnit(unit) {
    return unit || "units of the calibration";
}

// "1.25 m", which no line breaks.
function withUnit(value, unit, digits = 4) {
    return `${significant(value, digits)}\u00a0${describeUnit(unit)}`;
}

// The value below which a share of `share` of the sorted `values` lies, as the reports have it.
function quantile(values, share) {
    return values[Math.min(values.length - 1, Math.floor(share * values.length))];
}

// Round values within [`low`, `high`], at most `most`: multiples of 1, 2 or 5 times a power of ten.
function roundTicks(low, high, most) {
    const least = (high - low) / most;
    if (!(least > 0))
        return [low];
    const power = 10 ** Math.floor(Math.log10(least));
    const step = [1, 2, 5, 10].map(factor => factor * power).find(size => size >= least);
    const ticks = [];
    for (let i = Math.ceil(low / step - 1e-9); i * step <= high + 1e-9 * step; ++i)
        ticks.push(Number((i * step).toPrecision(12)));
    return ticks;
}
