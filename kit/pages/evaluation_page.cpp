#include "pages/evaluation_page.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <opencv2/imgproc.hpp>

#include "base/text.hpp"
#include "files/image_files.hpp"
#include "matching/error_map.hpp"
#include "matching/measured_pixels.hpp"
#include "pages/page.hpp"

namespace tiomipra {
namespace {

using Json = nlohmann::ordered_json;

constexpr double largestShownError = 8;  // pixels

// Whether a disparity is one, as `evaluate` has it.
cv::Mat knownOf(const cv::Mat& disparity) {
    cv::Mat known;
    cv::bitwise_and(disparity > 0, disparity < std::numeric_limits<double>::infinity(), known);
    return known;
}

// `low` to `high` in shades from 1 to 255, 0 where `known` is 0. Nothing is mixed where it is made
// smaller, so that every shade is one of the image.
std::string encodeShades(const cv::Mat& values, const cv::Mat& known, double low, double high) {
    constexpr int largest = 1024;
    constexpr double steps = 254;
    cv::Mat shades;
    values.convertTo(shades, CV_8U, steps / (high - low), -low * steps / (high - low));
    shades += 1;
    shades.setTo(0, known == 0);
    const double scale = std::min(1., double{largest} / std::max(shades.cols, shades.rows));
    if (scale < 1)
        cv::resize(shades, shades, {}, scale, scale, cv::INTER_NEAREST);
    return encodeImage("a.png", shades);
}

Json placesToJson(const cv::Mat& errors) {
    constexpr std::size_t most = 6;
    Json places = Json::array();
    for (const auto& [area, mean, share] : findWorstPlaces(errors, most))
        places.push_back({{"area", {area.x, area.y, area.width, area.height}},
                          {"meanError", mean},
                          {"measuredShare", share}});
    return places;
}

bool isPictured(const ErrorPictures& pictures) {
    return !pictures.errors.empty();
}

// Where nothing was measured there is nothing to see.
double shareOfBad(const FileEvaluation& evaluation) {
    const double share = evaluation.all.amongMeasured.above[2];
    return std::isfinite(share) ? share : -1;
}

}  // namespace

ErrorPictures makeErrorPictures(const EvaluatedImages& images) {
    const cv::Mat known = knownOf(images.truth);
    const cv::Mat measured = knownOf(images.disparity);
    const cv::Mat errors = errorSizes(images.disparity, images.truth);
    const Statistics shown = cv::countNonZero(known) > 0 ? summarise(images.truth, known)
                                                         : summarise(images.disparity, measured);
    const double low = shown.percentile1;
    const double high = std::max(shown.percentile99, low + 1);
    return {{{"imageSize", {errors.cols, errors.rows}},
             {"disparityRange", {low, high}},
             {"largestShownError", largestShownError},
             {"histogram", {{"ends", errorBinEnds}, {"counts", countErrors(errors)}}},
             {"worstPlaces", placesToJson(errors)}},
            encodeShades(images.disparity, measured, low, high),
            encodeShades(images.truth, known, low, high),
            encodeShades(errors, errors >= 0, 0, largestShownError)};
}

void keepWorstPictures(const std::vector<FileEvaluation>& evaluations,
                       std::vector<ErrorPictures>& pictures) {
    std::vector<std::size_t> pictured;
    for (std::size_t i = 0; i < pictures.size(); ++i) {
        if (isPictured(pictures[i]))
            pictured.push_back(i);
    }
    std::stable_sort(pictured.begin(), pictured.end(), [&](std::size_t a, std::size_t b) {
        return shareOfBad(evaluations[a]) > shareOfBad(evaluations[b]);
    });
    for (std::size_t i = mostPictured; i < pictured.size(); ++i) {
        ErrorPictures& best = pictures[pictured[i]];
        best.disparity = best.truth = best.errors = "";
    }
}

std::string makeEvaluationPage(Json report, const std::vector<ErrorPictures>& pictures) {
    Page page{"Disparities against ground truth",
              "evaluation_page.html",
              {"provenance.js", "pairs.js", "shades.js", "evaluation_page.js"},
              false,
              {},
              {}};
    for (std::size_t i = 0; i < pictures.size(); ++i) {
        report["evaluations"][i].update(pictures[i].numbers);
        report["evaluations"][i]["isPictured"] = isPictured(pictures[i]);
        if (!isPictured(pictures[i]))
            continue;
        const auto add = [&](const char* name, const std::string& bytes) {
            page.blocks.push_back({fmt::format("{}-{}", name, i), "image/png", bytes});
        };
        add("disparity", pictures[i].disparity);
        add("truth", pictures[i].truth);
        add("errors", pictures[i].errors);
    }
    page.data = std::move(report);
    return composePage(page);
}

}  // namespace tiomipra
