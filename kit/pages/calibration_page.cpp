#include "pages/calibration_page.hpp"

#include <nlohmann/json.hpp>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "files/input_files.hpp"
#include "pages/former_page.hpp"

namespace tiomipra {
namespace {

using Json = nlohmann::ordered_json;

// Throws as `remakeCalibrationPage`, and `Json::exception` for what is no such report.
Json readReport(const std::string& path, const Rig& rig) {
    Json report = Json::parse(readFile(path));
    if (report.at("command") != "calibrate")
        throw InputError(
            fmt::format("{} comes from {}: only what is calibrated with pictures of a "
                        "board has views to show",
                        quote(path), quote(report.at("command").get<std::string>())));
    if (report.at("calibrationSha256") != rig.hash)
        throw InputError(quote(path) + " is about other calibrations than those beside it");
    if (!report.contains("rectifiedView"))
        throw InputError(
            fmt::format("{} was written by {}, which did not keep the corners yet: "
                        "calibrate again for a page to look at",
                        quote(path), report.at("program").get<std::string>()));
    return report;
}

std::vector<std::string> imagesIn(const Json& report) {
    std::vector<std::string> files;
    for (const Json& view : report.at("views")) {
        for (const Json& input : view.at("inputs"))
            files.push_back(input.at("path").get<std::string>());
    }
    return files;
}

// Throws `Json::exception` unless all that the page's scripts rely on is there.
void requireViews(const Json& report) {
    report.at("board");
    report.at("rightFromLeft");
    report.at("views").at(report.at("rectifiedView").get<std::size_t>());
    for (const Json& view : report.at("views")) {
        for (const char* name : {"board", "leftPoints", "rightPoints"})
            view.at(name);
    }
}

}  // namespace

// Where the files are is nobody's business who gets the page.
std::string makeCalibrationPage(Json report, const CalibrationPictures& pictures) {
    Page page{calibrationTitle,
              "calibration_page.html",
              {"provenance.js", "pairs.js", "views.js", "residuals.js", "boards.js", "rectified.js",
               "calibration_page.js"},
              true,
              {},
              {}};
    for (std::size_t i = 0; i < pictures.views.size(); ++i) {
        Json& view = report["views"][i];
        view.erase("inputs");
        view["whyMissing"] = pictures.views[i].whyMissing;
        addPictures(page, fmt::format("view-{}", i), pictures.views[i]);
    }
    report["whyNotRectified"] = pictures.rectified.whyMissing;
    addPictures(page, "rectified", pictures.rectified);
    page.data = std::move(report);
    return composePage(page);
}

RemadePage remakeCalibrationPage(const std::string& reportFile, const Rig& rig,
                                 std::size_t maxPixels) {
    try {
        const Json report = readReport(reportFile, rig);
        requireViews(report);
        const CalibrationPictures pictures = readPictures(report, {rig.left, rig.right}, maxPixels);
        return {makeCalibrationPage(report, pictures), imagesIn(report)};
    } catch (const Json::exception&) {
        throw InputError(quote(reportFile) + " is not the report of a calibration");
    }
}

}  // namespace tiomipra
