// Distances between pairs of points that one has taken.
"use strict";

class Distances {
    // `changed` is called whenever there are others.
    constructor(cloud, unit, changed) {
        Object.assign(this, {cloud, unit, changed});
        this.pairs = [];
        this.first = null;
    }

    take(pixel) {
        if (this.first === null) {
            this.first = pixel;
        } else {
            this.pairs.push([this.first, pixel]);
            this.first = null;
        }
        this.changed();
    }

    clear() {
        this.pairs = [];
        this.forgetFirst();
    }

    forgetFirst() {
        this.first = null;
        this.changed();
    }

    describe([from, to]) {
        return withUnit(this.cloud.distanceBetween(from, to), this.unit);
    }

    describePixel(pixel) {
        return `${this.cloud.columnOf(pixel)},\u00a0${this.cloud.rowOf(pixel)}`;
    }

    // What to do, or what came out.
    status() {
        if (this.first !== null)
            return `From pixel ${this.describePixel(this.first)} to where? Click the second point, or ` +
                "press Esc for another first one.";
        const last = this.pairs[this.pairs.length - 1];
        return last ? `Distance ${this.pairs.length}: ${this.describe(last)}`
                    : "Click two points.";
    }

    makeTable() {
        const numbers = ["distance", "in X", "in Y", "in Z"];
        const columns = ["", "from pixel", "to pixel",
                         ...numbers.map(title => ({title, isNumber: true}))];
        const rows = this.pairs.map(([from, to], i) => {
            const [start, end] = [this.cloud.pointAt(from), this.cloud.pointAt(to)];
            return [i + 1, this.describePixel(from), this.describePixel(to),
                    significant(this.cloud.distanceBetween(from, to)),
                    ...end.map((value, axis) => significant(value - start[axis]))];
        });
        return makeTable(`Distances in ${describeUnit(this.unit)}`, columns, rows);
    }
}
