// The page of an evaluation.
"use strict";

const number = title => ({title, isNumber: true});
const percent = value => (Number.isFinite(value) ? `${value.toFixed(2)} %` : "unknown");
const badNames = ["bad0.5", "bad1", "bad2", "bad4", "d1"];

function showFiles(report) {
    byId("files").append(makeTable("Of the pixels whose disparity is known",
        ["disparity image", number("measured"), number("error, mean"), number("off by more than 2 pixels"),
         number("the same or not measured")],
        report.evaluations.map(({disparity, all}) => [
            disparity, percent(all.density), pixels(all.averageError),
            percent(all.percentOfMeasured.bad2), percent(all.percentOfKnown.bad2)])));
    if (report.passed !== undefined)
        byId("passed").append(element("span", {class: report.passed ? "good" : "redo"},
                                      report.passed ? "passed" : "not passed"));
    if (report.failed.length > 0)
        byId("failed").append(makeTable("Not evaluated", ["file", "why"],
            report.failed.map(({name, message}) => [name, message])));
}

function numbersTable(title, numbers) {
    const row = name => [name === "d1" ? "D1" : `off by more than ${name.slice(3)}`,
                         percent(numbers.percentOfMeasured[name]), percent(numbers.percentOfKnown[name])];
    return makeTable(`${title}: ${numbers.known} pixels known, ${percent(numbers.density)} of them measured, ` +
                     `error ${pixels(numbers.averageError)} mean, ${pixels(numbers.rmsError)} root mean square`,
                     ["pixels", number("of the measured"), number("of the known, bad where not measured")],
                     badNames.map(row));
}

function showNumbers({all, nonOccluded}) {
    byId("numbers").replaceChildren(numbersTable("All", all),
        ...(nonOccluded ? [numbersTable("Seen by both cameras", nonOccluded)] : []));
}

function showHistogram({histogram: {ends, counts}}) {
    const sum = Math.max(1, counts.reduce((a, b) => a + b, 0));
    const names = counts.map((_, i) => (i < ends.length ? `≤ ${ends[i]}` : `> ${ends[i - 1]}`));
    const shares = counts.map(count => 100 * count / sum);
    byId("histogram").replaceChildren(makeBarChart({
        title: "Errors of the measured pixels", yTitle: "% with errors up to so many pixels",
        groups: counts.map((_, i) => ({name: names[i].replace("≤ ", ""), label: `${names[i]} pixels: ${percent(shares[i])}`,
                                       values: [shares[i]]}))}));
    byId("histogram-table").replaceChildren(makeTable("Errors of the measured pixels",
        ["error, pixels", number("pixels"), number("share")],
        counts.map((count, i) => [names[i], String(count), percent(shares[i])])));
}

const mapTitles = {disparity: "Measured disparity", truth: "True disparity", errors: "Error"};

async function paintMaps(index) {
    const names = Object.keys(mapTitles);
    const painted = await Promise.all(names.map(name => paintShades(`${name}-${index}`)));
    return Object.fromEntries(names.map((name, i) => [name, painted[i]]));
}

function showMaps({disparityRange: [low, high], largestShownError}, canvases) {
    byId("maps").replaceChildren(...["errors", "truth", "disparity"].map(name => element("figure", {},
        described(canvases[name], mapTitles[name]), element("figcaption", {class: "faint"}, mapTitles[name]))));
    byId("error-legend").replaceChildren(makeLegend("error (pixels)", 0, largestShownError));
    byId("disparity-legend").replaceChildren(makeLegend("disparity (pixels)", low, high));
}

function showWorst({worstPlaces, imageSize, histogram}, canvases) {
    const captionOf = ({area, meanError, measuredShare}, i) =>
        `${i + 1}: ${area[2]} x ${area[3]} pixels from ${area[0]}, ${area[1]}; error ${pixels(meanError, 2)}, ` +
        `${Math.round(100 * measuredShare)} % measured and known`;
    byId("worst").replaceChildren(...worstPlaces.map((place, i) => element("figure", {class: "crops"},
        ...(canvases ? ["disparity", "truth", "errors"] : []).map(name => described(
            cropCanvas(canvases[name], place.area, imageSize[0]), `${mapTitles[name]} there`)),
        element("figcaption", {}, captionOf(place, i)))));
    if (worstPlaces.length === 0)
        byId("worst").append(element("p", {}, histogram.counts.every(count => count === 0)
            ? "Nothing could be compared." : "There is no place with errors."));
}

// Those without pictures have no canvases.
async function showEvaluation(index) {
    const evaluation = pageData.evaluations[index];
    const {disparity, groundTruth, isPictured} = evaluation;
    byId("chosen-files").textContent = `${disparity} against ${groundTruth}`;
    showNumbers(evaluation);
    showHistogram(evaluation);
    const canvases = isPictured ? await paintMaps(index) : null;
    if (index !== Number(byId("chosen").value))
        return;  // Another one was chosen meanwhile.
    byId("pictured").hidden = !isPictured;
    if (isPictured)
        showMaps(evaluation, canvases);
    showWorst(evaluation, canvases);
    byId("maps").dataset.index = index;
}

// Pictures of very many would make the page too large.
function groupOptions(options, evaluations) {
    const those = isWanted => options.filter((_, i) => evaluations[i].isPictured === isWanted);
    const pictured = those(true);
    if (pictured.length === options.length)
        return options;
    byId("not-pictured").textContent = `Pictures are there of the worst ${pictured.length} of these ` +
        `${options.length}, those with most of the measured pixels off by more than 2.`;
    return [element("optgroup", {label: "With pictures"}, ...pictured),
            element("optgroup", {label: "Numbers alone"}, ...those(false))];
}

function addChoice(evaluations) {
    const select = byId("chosen");
    const options = evaluations.map(({disparity}, i) => element("option", {value: i}, `${i + 1}: ${disparity}`));
    select.append(...groupOptions(options, evaluations));
    select.addEventListener("change", () => showEvaluation(Number(select.value)));
    byId("choice").hidden = evaluations.length < 2;
}

showFiles(pageData);
addChoice(pageData.evaluations);
showProvenance(pageData);
showEvaluation(Number(byId("chosen").value)).then(() => {
    document.documentElement.dataset.ready = "true";
});
