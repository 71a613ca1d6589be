#include "reports/calibration_report.hpp"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <nlohmann/json.hpp>
#include <numeric>
#include <opencv2/core.hpp>
#include <vision/stereo.hpp>

#include "base/text.hpp"
#include "reports/input_report.hpp"
#include "reports/pictures.hpp"
#include "reports/rig_report.hpp"
#include "reports/view_report.hpp"
#include "rigs/rectifier.hpp"
#include "rigs/rig_geometry.hpp"
#include "rigs/rig_model_files.hpp"

namespace tiomipra {
namespace {

using Json = nlohmann::ordered_json;

Json lensToJson(const RigSolution& solution) {
    const auto& pinholes = solution.pinholes;
    return {{"model", nameOf(lensOf(solution.model.left))},
            {"reason", solution.lensReason},
            {"pinholeResidual", pinholes ? Json(pinholes->residual) : Json()},
            {"pinholeAngleDegrees", pinholes ? Json(pinholes->angle) : Json()}};
}

Json toJson(const CameraFit& fit, const CameraModel& model) {
    return {{"reprojectionError", fit.error},
            {"focalLength", model.cameraMatrix(0, 0)},
            {"focalLengthUncertainty", fit.focalUncertainty},
            {"fieldOfViewDegrees", toJson(describeCamera(model).fieldOfView)},
            {"cameraMatrix", matrixToJson(model.cameraMatrix)},
            {"lensKind", nameOf(model.lens.kind)},
            {"coefficients", model.lens.coefficients}};
}

Json toJson(const Spread& spread) {
    return {{"mean", spread.mean},
            {"median", spread.median},
            {"p95", spread.p95},
            {"maximum", spread.maximum}};
}

Json toJson(const Coverage& coverage) {
    Json grid = Json::array();
    for (int row = 0; row < coverage.counts.rows; ++row)
        grid.push_back(std::vector<int>(coverage.counts.row(row)));
    return {{"share", coverage.share}, {"counts", grid}, {"emptyRegions", coverage.emptyRegions}};
}

Json toJson(const std::vector<Criterion>& criteria) {
    Json result = Json::array();
    for (const Criterion& criterion : criteria)
        result.push_back({{"name", criterion.name},
                          {"unit", criterion.unit},
                          {"value", criterion.value},
                          {"goodLimit", criterion.goodLimit},
                          {"usableLimit", criterion.usableLimit},
                          {"grade", nameOf(criterion.grade())},
                          {"advice", criterion.advice}});
    return result;
}

Json viewsToJson(const CalibrationReport& report) {
    const RigSolution& solution = report.solution;
    Json views = Json::array();
    for (const std::size_t i : rankedViews(solution)) {
        const PairNames& names = report.views[solution.used[i]];
        Json view{{"left", names.left},
                  {"right", names.right},
                  {"pairError", solution.pairViewErrors[i]},
                  {"leftError", solution.left.viewErrors[i]},
                  {"rightError", solution.right.viewErrors[i]},
                  {"meanRowDifference", solution.viewRowDifferences[i]},
                  {"inputs", toJson(names.inputs)},
                  {"board", toJson(solution.boards[i])}};
        view.update(toJson(report.reprojected[i]));
        views.push_back(std::move(view));
    }
    return views;
}

// Where the first view that was used stands among those of the report: its pair is shown rectified.
std::size_t placeOfFirstUsed(const RigSolution& solution) {
    const auto ranked = rankedViews(solution);
    return static_cast<std::size_t>(std::find(ranked.begin(), ranked.end(), std::size_t{0}) -
                                    ranked.begin());
}

Json toJson(const PairNames& names) {
    return {{"left", names.left}, {"right", names.right}};
}

Json toJson(const SkippedPair& skipped) {
    Json pair = toJson(skipped.names);
    pair["reason"] = skipped.reason;
    return pair;
}

template <typename Pair>
Json listOf(const std::vector<Pair>& pairs) {
    Json list = Json::array();
    for (const Pair& pair : pairs)
        list.push_back(toJson(pair));
    return list;
}

std::string shortText(const PairNames& names) {
    const auto shortened = [](const std::string& path) {
        return printable(std::filesystem::path(path).filename().string());
    };
    return fmt::format("{}  {}", shortened(names.left), shortened(names.right));
}

std::string viewsText(const CalibrationReport& report) {
    const RigSolution& solution = report.solution;
    std::string text = fmt::format(
        "Views, worst first: reprojection error of the pair and of each camera alone, mean row\n"
        "difference (pixels)\n{:>8}{:>8}{:>8}{:>8}\n",
        "pair", "left", "right", "rows");
    for (const std::size_t i : rankedViews(solution))
        text +=
            fmt::format(" {:>7.3f} {:>7.3f} {:>7.3f} {:>7.3f}  {}\n", solution.pairViewErrors[i],
                        solution.left.viewErrors[i], solution.right.viewErrors[i],
                        solution.viewRowDifferences[i], shortText(report.views[solution.used[i]]));
    return text;
}

std::string skippedText(const CalibrationReport& report) {
    constexpr std::size_t most = 20;
    const std::size_t listed = std::min(most, report.skipped.size());
    std::string text;
    for (std::size_t i = 0; i < listed; ++i)
        text +=
            fmt::format("  {}: {}\n", shortText(report.skipped[i].names), report.skipped[i].reason);
    if (listed < report.skipped.size())
        text +=
            fmt::format("  {} more that the JSON report lists\n", report.skipped.size() - listed);
    if (!report.alike.empty())
        text += fmt::format(
            "  {} more that show the board, in views that differ less than the {} above; the JSON "
            "report lists them\n",
            report.alike.size(), report.views.size());
    return text.empty() ? "" : "Left out:\n" + text;
}

std::string cameraText(const CameraFit& fit, const CameraModel& model) {
    const FieldOfView seen = describeCamera(model).fieldOfView;
    const std::string uncertainty =
        fit.focalUncertainty > 0 ? fmt::format(" (+-{:.2f} %)", 100 * fit.focalUncertainty) : "";
    return fmt::format(
        "{:.3f} pixels; focal length {:.1f} pixels{}, field of view {:.1f} x {:.1f} degrees",
        fit.error, model.cameraMatrix(0, 0), uncertainty, seen.horizontal, seen.vertical);
}

std::string lensText(const RigSolution& solution) {
    return fmt::format(
        "Lenses: {} ({})\n{}", nameOf(lensOf(solution.model.left)), solution.lensReason,
        solution.pinholes ? fmt::format("  In the calibrations {}\n", describe(*solution.pinholes))
                          : "");
}

// Without a corner that both cameras see there are none.
std::string rowsText(const Spread& rows) {
    if (!std::isfinite(rows.mean))
        return "no corner is seen by both cameras";
    return fmt::format("mean {:.3f}, 95 % up to {:.3f}, largest {:.3f} pixels", rows.mean, rows.p95,
                       rows.maximum);
}

std::string numbersText(const RigSolution& solution) {
    const std::string& unit = solution.model.unit;
    return fmt::format(
        "Reprojection error (root mean square):\n"
        "  left camera   {}\n"
        "  right camera  {}\n"
        "  pair          {:.3f} pixels\n"
        "Row difference after rectification: {}\n"
        "Baseline: {} {}\n",
        cameraText(solution.left, solution.model.left),
        cameraText(solution.right, solution.model.right), solution.pairError,
        rowsText(solution.rowDifferences), significant(solution.baseline(), 4),
        unit.empty() ? "(in the unit of the board's squares)" : unit);
}

std::string coverageText(const std::string& camera, const Coverage& coverage) {
    const std::string regions = coverage.emptyRegions.empty()
                                    ? "all nine regions"
                                    : "nothing in: " + joined(coverage.emptyRegions);
    return fmt::format("  {} image: {:.0f} % of {} cells, {}\n", camera, 100 * coverage.share,
                       describe(coverage.counts.size()), regions);
}

std::string criterionText(const Criterion& criterion, bool isAdviceWanted) {
    const std::string value =
        std::isfinite(criterion.value)
            ? fmt::format("{} {}", significant(criterion.value, 3), criterion.unit)
            : "unknown";
    const std::string direction = criterion.smallIsGood() ? "up to" : "from";
    std::string text =
        fmt::format("  {:<8}{:<32}{:<13} (good {} {}, usable {} {})\n", nameOf(criterion.grade()),
                    criterion.name, value, direction, significant(criterion.goodLimit, 3),
                    direction, significant(criterion.usableLimit, 3));
    if (criterion.grade() != Grade::good && isAdviceWanted)
        text += fmt::format("          What to do: {}.\n", criterion.advice);
    return text;
}

// A fault may be the reason for numbers that are not good.
std::string verdictText(const CalibrationVerdict& verdict) {
    std::string text = fmt::format("Verdict: {}\n", nameOf(verdict.grade));
    for (const Criterion& criterion : verdict.criteria)
        text += criterionText(criterion, verdict.faults.empty());
    for (const Fault& fault : verdict.faults)
        text +=
            fmt::format("  redo    {}.\n          What to do: {}.\n", fault.problem, fault.remedy);
    return text;
}

double largestCount(const Coverage& coverage) {
    double largest = 0;
    cv::minMaxLoc(coverage.counts, nullptr, &largest);
    return largest;
}

cv::Mat drawCoverage(const Coverage& coverage, const cv::Size& size, double largest,
                     const std::string& camera) {
    cv::Mat cells;
    coverage.counts.convertTo(cells, CV_32F);
    cells.setTo(std::numeric_limits<float>::quiet_NaN(), coverage.counts == 0);
    return drawGrid(cells, size, {camera + " image: corners per cell", 0, largest}, 0);
}

}  // namespace

std::vector<std::size_t> rankedViews(const RigSolution& solution) {
    std::vector<std::size_t> ranked(solution.used.size());
    std::iota(ranked.begin(), ranked.end(), std::size_t{0});
    std::stable_sort(ranked.begin(), ranked.end(), [&](std::size_t a, std::size_t b) {
        return solution.pairViewErrors[a] > solution.pairViewErrors[b];
    });
    return ranked;
}

CalibrationReport makeReport(RigSolution solution, const BoardSearch& search) {
    CalibrationReport report;
    report.verdict = judge(solution, search.detections());
    report.views = search.names();
    report.skipped = search.skipped();
    report.alike = search.alike();
    report.board = search.board();
    report.reprojected = reproject(solution, search.detections(), report.board);
    for (const auto& [index, error] : solution.rejected)
        report.skipped.push_back(
            {report.views[index],
             fmt::format("pair error {:.3f} pixels is above the limit", error)});
    report.solution = std::move(solution);
    return report;
}

Json toJson(const CalibrationReport& report) {
    const RigSolution& solution = report.solution;
    const CalibrationVerdict& verdict = report.verdict;
    const RigModel& model = solution.model;
    return {{"verdict", nameOf(verdict.grade)},
            {"criteria", toJson(verdict.criteria)},
            {"faults", toJson(verdict.faults)},
            {"imageSize", {model.left.imageSize.width, model.left.imageSize.height}},
            {"pairsUsed", solution.used.size()},
            {"pairError", solution.pairError},
            {"lens", lensToJson(solution)},
            {"left", toJson(solution.left, model.left)},
            {"right", toJson(solution.right, model.right)},
            {"rowDifference", toJson(solution.rowDifferences)},
            {"baseline", solution.baseline()},
            {"unit", model.unit},
            {"coverage", {{"left", toJson(verdict.left)}, {"right", toJson(verdict.right)}}},
            {"board", toJson(report.board)},
            {"rightFromLeft",
             {{"rotation", matrixToJson(model.rightFromLeftRotation)},
              {"translation", vectorToJson(model.rightFromLeftTranslation)}}},
            {"views", viewsToJson(report)},
            {"rectifiedView", placeOfFirstUsed(solution)},
            {"leftOut", listOf(report.skipped)},
            {"leftOutAlike", listOf(report.alike)}};
}

std::string toText(const CalibrationReport& report) {
    return viewsText(report) + skippedText(report) + lensText(report.solution) +
           numbersText(report.solution) + "Coverage:\n" +
           coverageText("left", report.verdict.left) + coverageText("right", report.verdict.right) +
           verdictText(report.verdict);
}

cv::Mat drawCoverage(const CalibrationReport& report) {
    constexpr int width = 640;
    constexpr int gapWidth = 16;
    const CalibrationVerdict& verdict = report.verdict;
    const cv::Size& imageSize = report.solution.model.left.imageSize;
    const cv::Size size(width, width * imageSize.height / imageSize.width);
    const double largest = std::max(largestCount(verdict.left), largestCount(verdict.right));
    const cv::Mat left = drawCoverage(verdict.left, size, largest, "left");
    const cv::Mat right = drawCoverage(verdict.right, size, largest, "right");
    const cv::Mat gap(left.rows, gapWidth, CV_8UC3, cv::Scalar::all(255));
    cv::Mat picture;
    cv::hconcat(std::vector<cv::Mat>{left, gap, right}, picture);
    return picture;
}

StereoImages rectifyPair(const RectifiedRig& rig, const StereoImages& images) {
    const auto rectifier = makeRectifier(rig.left, rig.right);
    return {rectifier->rectifyImageLeft(images.left), rectifier->rectifyImageRight(images.right)};
}

}  // namespace tiomipra
