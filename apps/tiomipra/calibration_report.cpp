#include "calibration_report.hpp"

#include <algorithm>
#include <array>
#include <filesystem>
#include <iomanip>
#include <limits>
#include <numeric>
#include <sstream>

#include "pictures.hpp"
#include "text.hpp"

namespace tiomipra {
namespace {

constexpr int coverageColumns = 8;
constexpr int coverageRows = 6;

constexpr double usablePairError = 1;  // pixels

cv::Mat countPoints(const std::vector<cv::Point2f>& points, const cv::Size& imageSize,
                    const cv::Size& grid) {
    cv::Mat counts = cv::Mat::zeros(grid, CV_32SC1);
    for (const cv::Point2f& point : points) {
        const int x = cvFloor((point.x + 0.5) * grid.width / imageSize.width);
        const int y = cvFloor((point.y + 0.5) * grid.height / imageSize.height);
        ++counts.at<int>(std::clamp(y, 0, grid.height - 1), std::clamp(x, 0, grid.width - 1));
    }
    return counts;
}

std::vector<std::string> findEmptyRegions(const cv::Mat& counts) {
    const std::array<std::string, 9> regions{"top left",    "top",    "top right",
                                             "left",        "centre", "right",
                                             "bottom left", "bottom", "bottom right"};
    std::vector<std::string> empty;
    for (int i = 0; i < 9; ++i) {
        if (counts.at<int>(i / 3, i % 3) == 0)
            empty.push_back(regions[std::size_t(i)]);
    }
    return empty;
}

std::vector<cv::Point2f> pointsSeen(const std::vector<PairDetection>& detections,
                                    const std::vector<std::size_t>& used,
                                    Detection PairDetection::*side) {
    std::vector<cv::Point2f> points;
    for (const std::size_t i : used) {
        const Detection& detection = detections[i].*side;
        points.insert(points.end(), detection.points.begin(), detection.points.end());
    }
    return points;
}

std::string coverageAdvice(const CalibrationReport& report) {
    std::vector<std::string> regions;
    const auto add = [&](const std::string& camera, const Coverage& coverage) {
        for (const std::string& region : coverage.emptyRegions)
            regions.push_back(region + " of the " + camera + " image");
    };
    add("left", report.leftCoverage);
    add("right", report.rightCoverage);
    const std::string advice = "show the board in all parts of both images";
    return regions.empty() ? advice : advice + ", also " + joined(regions);
}

// What else than single views may be behind a large pair error; empty if nothing is known.
std::string otherCauses(const RigSolution& solution) {
    const double alone = std::max(solution.left.error, solution.right.error);
    if (alone > usablePairError)
        return "not even each camera alone fits the board: are --corners and --pattern right? "
               "Otherwise ";
    if (solution.pairError > 5 * std::max(alone, 0.2))
        return "each camera alone fits the board: are these pairs of the same moment? Otherwise ";
    return "";
}

std::vector<Criterion> makeCriteria(const CalibrationReport& report) {
    const RigSolution& solution = report.solution;
    const std::string outliers =
        "look at the views with the largest errors, leave them out with --reject-above, keep the "
        "board flat and still";
    std::vector<Criterion> criteria{
        {"pairs used", "", double(solution.used.size()), 10, 5, "take more pairs"},
        {"pair error", "pixels", solution.pairError, 0.5, usablePairError,
         otherCauses(solution) + outliers},
        {"mean row difference", "pixels", solution.rowDifferences.mean, 0.3, 0.75, outliers},
        {"95 % of row differences within", "pixels", solution.rowDifferences.p95, 1, 2, outliers},
        {"image covered by corners", "%",
         100 * std::min(report.leftCoverage.share, report.rightCoverage.share), 50, 25,
         coverageAdvice(report)}};
    const double uncertainty =
        std::max(solution.left.focalUncertainty, solution.right.focalUncertainty);
    if (uncertainty > 0) {
        criteria.push_back({"focal length uncertain by", "%", 100 * uncertainty, 1, 3,
                            "tilt the board more, in different directions"});
    }
    return criteria;
}

Grade worstGrade(const CalibrationReport& report) {
    Grade worst = report.faults.empty() ? Grade::good : Grade::redo;
    for (const Criterion& criterion : report.criteria)
        worst = std::max(worst, criterion.grade());
    return worst;
}

// Positions within `solution.used`, largest pair error first.
std::vector<std::size_t> rankedViews(const RigSolution& solution) {
    std::vector<std::size_t> ranked(solution.used.size());
    std::iota(ranked.begin(), ranked.end(), std::size_t(0));
    std::stable_sort(ranked.begin(), ranked.end(), [&](std::size_t a, std::size_t b) {
        return solution.pairViewErrors[a] > solution.pairViewErrors[b];
    });
    return ranked;
}

nlohmann::ordered_json toJson(const CameraSolution& camera, const FieldOfView& field) {
    return {{"reprojectionError", camera.error},
            {"focalLength", camera.intrinsics.cameraMatrix.at<double>(0, 0)},
            {"focalLengthUncertainty", camera.focalUncertainty},
            {"fieldOfViewDegrees", toJson(field)}};
}

nlohmann::ordered_json toJson(const Spread& spread) {
    return {{"mean", spread.mean},
            {"median", spread.median},
            {"p95", spread.p95},
            {"maximum", spread.maximum}};
}

nlohmann::ordered_json toJson(const Coverage& coverage) {
    nlohmann::ordered_json grid = nlohmann::ordered_json::array();
    for (int row = 0; row < coverage.counts.rows; ++row)
        grid.push_back(std::vector<int>(coverage.counts.row(row)));
    return {{"share", coverage.share}, {"counts", grid}, {"emptyRegions", coverage.emptyRegions}};
}

nlohmann::ordered_json toJson(const std::vector<Criterion>& criteria) {
    nlohmann::ordered_json result = nlohmann::ordered_json::array();
    for (const Criterion& criterion : criteria) {
        result.push_back({{"name", criterion.name},
                          {"unit", criterion.unit},
                          {"value", criterion.value},
                          {"goodLimit", criterion.goodLimit},
                          {"usableLimit", criterion.usableLimit},
                          {"grade", nameOf(criterion.grade())}});
    }
    return result;
}

nlohmann::ordered_json viewsToJson(const CalibrationReport& report) {
    const RigSolution& solution = report.solution;
    nlohmann::ordered_json views = nlohmann::ordered_json::array();
    for (const std::size_t i : rankedViews(solution)) {
        const PairNames& names = report.views[solution.used[i]];
        views.push_back({{"left", names.left},
                         {"right", names.right},
                         {"pairError", solution.pairViewErrors[i]},
                         {"leftError", solution.left.viewErrors[i]},
                         {"rightError", solution.right.viewErrors[i]},
                         {"meanRowDifference", solution.viewRowDifferences[i]}});
    }
    return views;
}

nlohmann::ordered_json toJson(const std::vector<SkippedPair>& skipped) {
    nlohmann::ordered_json pairs = nlohmann::ordered_json::array();
    for (const SkippedPair& pair : skipped) {
        pairs.push_back(
            {{"left", pair.names.left}, {"right", pair.names.right}, {"reason", pair.reason}});
    }
    return pairs;
}

std::string shortText(const PairNames& names) {
    const auto shortened = [](const std::string& path) {
        return std::filesystem::path(path).filename().string();
    };
    return shortened(names.left) + "  " + shortened(names.right);
}

void writeViews(std::ostream& out, const CalibrationReport& report) {
    const RigSolution& solution = report.solution;
    out << "Views, worst first: reprojection error of the pair and of each camera alone, mean row\n"
           "difference (pixels)\n"
        << std::setw(8) << "pair" << std::setw(8) << "left" << std::setw(8) << "right"
        << std::setw(8) << "rows" << '\n';
    for (const std::size_t i : rankedViews(solution)) {
        for (const double value : {solution.pairViewErrors[i], solution.left.viewErrors[i],
                                   solution.right.viewErrors[i], solution.viewRowDifferences[i]})
            out << " " << std::setw(7) << fixed(value, 3);
        out << "  " << shortText(report.views[solution.used[i]]) << '\n';
    }
}

void writeSkipped(std::ostream& out, const std::vector<SkippedPair>& skipped) {
    if (skipped.empty())
        return;
    out << "Left out:\n";
    for (const SkippedPair& pair : skipped)
        out << "  " << shortText(pair.names) << ": " << pair.reason << '\n';
}

void writeCoverage(std::ostream& out, const std::string& camera, const Coverage& coverage) {
    out << "  " << camera << " image: " << fixed(100 * coverage.share, 0) << " % of "
        << coverage.counts.cols << "x" << coverage.counts.rows << " cells";
    if (coverage.emptyRegions.empty())
        out << ", all nine regions\n";
    else
        out << ", nothing in: " << joined(coverage.emptyRegions) << '\n';
}

std::string cameraLine(const CameraSolution& camera, const CameraGeometry& geometry) {
    std::string line =
        fixed(camera.error, 3) + " pixels; focal length " + fixed(geometry.focal.x, 1) + " pixels";
    if (camera.focalUncertainty > 0)
        line += " (+-" + fixed(100 * camera.focalUncertainty, 2) + " %)";
    return line + ", field of view " + fixed(geometry.fieldOfView.horizontal, 1) + " x " +
           fixed(geometry.fieldOfView.vertical, 1) + " degrees";
}

void writeNumbers(std::ostream& out, const CalibrationReport& report) {
    const RigSolution& solution = report.solution;
    const Spread& rows = solution.rowDifferences;
    const std::string unit = report.unit.empty() ? "(in the unit of --square)" : report.unit;
    out << "Reprojection error (root mean square):\n"
        << "  left camera   " << cameraLine(solution.left, describeCamera(solution.leftCalibration))
        << '\n'
        << "  right camera  "
        << cameraLine(solution.right, describeCamera(solution.rightCalibration)) << '\n'
        << "  pair          " << fixed(solution.pairError, 3) << " pixels\n"
        << "Row difference after rectification: mean " << fixed(rows.mean, 3) << ", 95 % up to "
        << fixed(rows.p95, 3) << ", largest " << fixed(rows.maximum, 3) << " pixels\n"
        << "Baseline: " << significant(cv::norm(solution.translation), 4) << ' ' << unit << '\n';
}

std::string limitText(const Criterion& criterion) {
    const std::string direction = criterion.smallIsGood() ? " up to " : " from ";
    return "good" + direction + significant(criterion.goodLimit, 3) + ", usable" + direction +
           significant(criterion.usableLimit, 3);
}

void writeVerdict(std::ostream& out, const CalibrationReport& report) {
    out << "Verdict: " << nameOf(report.verdict) << '\n';
    for (const Criterion& criterion : report.criteria) {
        const std::string value = significant(criterion.value, 3) + " " + criterion.unit;
        out << "  " << std::left << std::setw(8) << nameOf(criterion.grade()) << std::setw(32)
            << criterion.name << std::setw(14) << value << std::right << '(' << limitText(criterion)
            << ")\n";
        if (criterion.grade() != Grade::good)
            out << "          What to do: " << criterion.advice << ".\n";
    }
    for (const Fault& fault : report.faults)
        out << "  redo    " << fault.problem << ".\n          What to do: " << fault.remedy
            << ".\n";
}

cv::Mat drawCoverage(const Coverage& coverage, const cv::Size& size, double largest,
                     const std::string& camera) {
    cv::Mat cells;
    coverage.counts.convertTo(cells, CV_32F);
    cells.setTo(std::numeric_limits<float>::quiet_NaN(), coverage.counts == 0);
    return drawGrid(cells, size, {camera + " image: corners per cell", 0, largest}, 0);
}

}  // namespace

Coverage measureCoverage(const std::vector<cv::Point2f>& points, const cv::Size& imageSize) {
    Coverage coverage;
    coverage.counts = countPoints(points, imageSize, {coverageColumns, coverageRows});
    coverage.share = cv::countNonZero(coverage.counts) / double(coverage.counts.total());
    coverage.emptyRegions = findEmptyRegions(countPoints(points, imageSize, {3, 3}));
    return coverage;
}

std::string nameOf(Grade grade) {
    switch (grade) {
        case Grade::good:
            return "good";
        case Grade::usable:
            return "usable";
        case Grade::redo:
            break;
    }
    return "redo";
}

Grade Criterion::grade() const {
    const auto keeps = [this](double limit) {
        return smallIsGood() ? value <= limit : value >= limit;
    };
    if (keeps(goodLimit))
        return Grade::good;
    return keeps(usableLimit) ? Grade::usable : Grade::redo;
}

CalibrationReport makeReport(RigSolution solution, const std::vector<PairDetection>& detections,
                             std::vector<PairNames> names, std::vector<SkippedPair> skipped,
                             std::string unit) {
    CalibrationReport report;
    report.unit = std::move(unit);
    report.leftCoverage = measureCoverage(
        pointsSeen(detections, solution.used, &PairDetection::left), solution.imageSize);
    report.rightCoverage = measureCoverage(
        pointsSeen(detections, solution.used, &PairDetection::right), solution.imageSize);
    // With larger errors, where the cameras are is not known.
    if (solution.pairError <= usablePairError)
        report.faults = findFaults(solution.leftCalibration, solution.rightCalibration);
    report.skipped = std::move(skipped);
    for (const RejectedView& view : solution.rejected) {
        report.skipped.push_back({names[view.index], "pair error " + fixed(view.error, 3) +
                                                         " pixels is above the limit"});
    }
    report.views = std::move(names);
    report.solution = std::move(solution);
    report.criteria = makeCriteria(report);
    report.verdict = worstGrade(report);
    return report;
}

nlohmann::ordered_json toJson(const CalibrationReport& report) {
    const RigSolution& solution = report.solution;
    return {
        {"verdict", nameOf(report.verdict)},
        {"criteria", toJson(report.criteria)},
        {"faults", toJson(report.faults)},
        {"imageSize", {solution.imageSize.width, solution.imageSize.height}},
        {"pairsUsed", solution.used.size()},
        {"pairError", solution.pairError},
        {"left", toJson(solution.left, describeCamera(solution.leftCalibration).fieldOfView)},
        {"right", toJson(solution.right, describeCamera(solution.rightCalibration).fieldOfView)},
        {"rowDifference", toJson(solution.rowDifferences)},
        {"baseline", cv::norm(solution.translation)},
        {"unit", report.unit},
        {"coverage",
         {{"left", toJson(report.leftCoverage)}, {"right", toJson(report.rightCoverage)}}},
        {"views", viewsToJson(report)},
        {"leftOut", toJson(report.skipped)}};
}

std::string toText(const CalibrationReport& report) {
    std::ostringstream out;
    writeViews(out, report);
    writeSkipped(out, report.skipped);
    writeNumbers(out, report);
    out << "Coverage:\n";
    writeCoverage(out, "left", report.leftCoverage);
    writeCoverage(out, "right", report.rightCoverage);
    writeVerdict(out, report);
    return out.str();
}

cv::Mat drawCoverage(const CalibrationReport& report) {
    constexpr int width = 640;
    const cv::Size& imageSize = report.solution.imageSize;
    const cv::Size size(width, width * imageSize.height / imageSize.width);
    double leftLargest = 0;
    double rightLargest = 0;
    cv::minMaxLoc(report.leftCoverage.counts, nullptr, &leftLargest);
    cv::minMaxLoc(report.rightCoverage.counts, nullptr, &rightLargest);
    const double largest = std::max(leftLargest, rightLargest);
    const cv::Mat left = drawCoverage(report.leftCoverage, size, largest, "left");
    const cv::Mat right = drawCoverage(report.rightCoverage, size, largest, "right");
    const cv::Mat gap(left.rows, 16, CV_8UC3, cv::Scalar::all(255));
    cv::Mat picture;
    cv::hconcat(std::vector<cv::Mat>{left, gap, right}, picture);
    return picture;
}

}  // namespace tiomipra
