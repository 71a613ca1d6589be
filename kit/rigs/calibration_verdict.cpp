#include "rigs/calibration_verdict.hpp"

#include <algorithm>
#include <array>

#include "base/text.hpp"
#include "rigs/image_cells.hpp"

namespace tiomipra {
namespace {

constexpr double usablePairError = 1;  // pixels

std::vector<std::string> findEmptyRegions(const cv::Mat_<int>& counts) {
    const std::array<std::string, 9> regions{"top left",    "top",    "top right",
                                             "left",        "centre", "right",
                                             "bottom left", "bottom", "bottom right"};
    std::vector<std::string> empty;
    for (int i = 0; i < 9; ++i) {
        if (counts(i / 3, i % 3) == 0)
            empty.push_back(regions[static_cast<std::size_t>(i)]);
    }
    return empty;
}

std::vector<cv::Point2f> pointsSeen(const std::vector<PairDetection>& views,
                                    const std::vector<std::size_t>& used,
                                    Detection PairDetection::*side) {
    std::vector<cv::Point2f> points;
    for (const std::size_t i : used) {
        const Detection& detection = views[i].*side;
        points.insert(points.end(), detection.points.begin(), detection.points.end());
    }
    return points;
}

std::string coverageAdvice(const Coverage& left, const Coverage& right) {
    std::vector<std::string> regions;
    for (const std::string& region : left.emptyRegions)
        regions.push_back(region + " of the left image");
    for (const std::string& region : right.emptyRegions)
        regions.push_back(region + " of the right image");
    const std::string advice = "show the board in all parts of both images";
    return regions.empty() ? advice : fmt::format("{}, also {}", advice, joined(regions));
}

// What else than single views may be behind a large pair error; empty if nothing is known.
std::string otherCauses(const RigSolution& solution) {
    const double alone = std::max(solution.left.error, solution.right.error);
    if (alone > usablePairError)
        return "not even each camera alone fits the board: are the count of its corners and its "
               "pattern right? Otherwise ";
    if (solution.pairError > 5 * std::max(alone, 0.2))
        return "each camera alone fits the board: are these pairs of the same moment? Otherwise ";
    return "";
}

std::vector<Criterion> errorCriteria(const RigSolution& solution) {
    const std::string outliers =
        "look at the views with the largest errors, leave them out with a limit on the pair error, "
        "keep the board flat and still";
    return {
        {"pairs used", "", static_cast<double>(solution.used.size()), 10, 5, "take more pairs"},
        {"pair error", "pixels", solution.pairError, 0.5, usablePairError,
         otherCauses(solution) + outliers},
        {"mean row difference", "pixels", solution.rowDifferences.mean, 0.3, 0.75, outliers},
        {"95 % of row differences within", "pixels", solution.rowDifferences.p95, 1, 2, outliers}};
}

std::vector<Criterion> makeCriteria(const RigSolution& solution, const Coverage& left,
                                    const Coverage& right) {
    std::vector<Criterion> criteria = errorCriteria(solution);
    criteria.push_back({"image covered by corners", "%", 100 * std::min(left.share, right.share),
                        50, 25, coverageAdvice(left, right)});
    const double uncertainty =
        std::max(solution.left.focalUncertainty, solution.right.focalUncertainty);
    if (uncertainty > 0)
        criteria.push_back({"focal length uncertain by", "%", 100 * uncertainty, 1, 3,
                            "tilt the board more, in different directions"});
    return criteria;
}

Grade worstGrade(const CalibrationVerdict& verdict) {
    Grade worst = verdict.faults.empty() ? Grade::good : Grade::redo;
    for (const Criterion& criterion : verdict.criteria)
        worst = std::max(worst, criterion.grade());
    return worst;
}

}  // namespace

Coverage measureCoverage(const std::vector<cv::Point2f>& points, const cv::Size& imageSize) {
    constexpr int columns = 8;
    constexpr int rows = 6;
    Coverage coverage;
    coverage.counts = countPerCell(points, {imageSize, {columns, rows}});
    coverage.share =
        cv::countNonZero(coverage.counts) / static_cast<double>(coverage.counts.total());
    coverage.emptyRegions = findEmptyRegions(countPerCell(points, {imageSize, {3, 3}}));
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

CalibrationVerdict judge(const RigSolution& solution, const std::vector<PairDetection>& views) {
    const auto coverage = [&](Detection PairDetection::*side, const CameraModel& camera) {
        return measureCoverage(pointsSeen(views, solution.used, side), camera.imageSize);
    };
    CalibrationVerdict verdict;
    verdict.left = coverage(&PairDetection::left, solution.model.left);
    verdict.right = coverage(&PairDetection::right, solution.model.right);
    // With larger errors, where the cameras are is not known.
    if (solution.pairError <= usablePairError)
        verdict.faults = findFaults(solution.rectified.left, solution.rectified.right);
    verdict.criteria = makeCriteria(solution, verdict.left, verdict.right);
    verdict.grade = worstGrade(verdict);
    return verdict;
}

}  // namespace tiomipra
