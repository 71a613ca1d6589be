#include "rigs/calibration_verdict.hpp"

#include <algorithm>
#include <array>
#include <cmath>

#include "base/text.hpp"
#include "rigs/image_cells.hpp"
#include "rigs/rig_geometry.hpp"

namespace tiomipra {
namespace {

constexpr double goodPairError = 0.5;  // pixels
constexpr double usablePairError = 1;
constexpr double usableUncertainty = 0.03;  // of a focal length, relative to it

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

std::string regionsAdvice(const Coverage& left, const Coverage& right) {
    std::vector<std::string> regions;
    for (const std::string& region : left.emptyRegions)
        regions.push_back(region + " of the left image");
    for (const std::string& region : right.emptyRegions)
        regions.push_back(region + " of the right image");
    return "show the board in these regions: " + joined(regions);
}

// Degrees between two boards, on average over all pairs of views.
double meanTilt(const std::vector<Pose>& boards) {
    std::vector<cv::Vec3d> normals;
    for (const Pose& board : boards)
        normals.push_back(rotationOf(board) * cv::Vec3d(0, 0, 1));
    double sum = 0;
    for (std::size_t i = 0; i < normals.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j)
            sum += std::acos(std::clamp(normals[i].dot(normals[j]), -1., 1.));
    }
    const auto count = static_cast<double>(normals.size());
    return toDegrees(sum / (count * (count - 1) / 2));
}

double focalUncertaintyOf(const RigSolution& solution) {
    return std::max(solution.left.focalUncertainty, solution.right.focalUncertainty);
}

bool isWide(const vision::Calibration& camera) {
    constexpr double widest = 100;  // degrees
    return describeCamera(camera).fieldOfView.horizontal > widest;
}

// What else than single views may be behind large errors; empty if nothing is known.
std::string otherCauses(const RigSolution& solution) {
    if (focalUncertaintyOf(solution) > usableUncertainty)
        return "first tilt the board: without focal lengths that are known well, errors say "
               "little; then ";
    const double alone = std::max(solution.left.error, solution.right.error);
    const bool isPinhole = lensOf(solution.model.left) == Lens::pinhole;
    if (alone > goodPairError)
        return fmt::format(
            "not even each camera alone fits the board: are the count of its corners and its "
            "pattern right, is it flat{}? Otherwise ",
            isPinhole ? ", do the lenses bend lines more than the model can follow (lens: "
                        "rational or fisheye)"
                      : "");
    if (solution.pairError > 5 * std::max(alone, 0.2))
        return "each camera alone fits the board: are these pairs of the same moment? Otherwise ";
    if (isPinhole && (isWide(solution.rectified.left) || isWide(solution.rectified.right)))
        return "lenses as wide as these may bend lines more than the model can follow (lens: "
               "rational or fisheye); otherwise ";
    return "";
}

std::vector<Criterion> errorCriteria(const RigSolution& solution) {
    const std::string advice =
        otherCauses(solution) +
        "look at the views with the largest errors, leave them out with a limit on the pair error, "
        "keep the board flat and still";
    const Spread& rows = solution.rowDifferences;
    return {{"pair error", "pixels", solution.pairError, goodPairError, usablePairError, advice},
            {"mean row difference", "pixels", rows.mean, 0.3, 0.75, advice},
            {"95 % of row differences within", "pixels", rows.p95, 1, 2, advice}};
}

// By the camera that saw less.
std::vector<Criterion> coverageCriteria(const Coverage& left, const Coverage& right) {
    const std::size_t empty = std::max(left.emptyRegions.size(), right.emptyRegions.size());
    return {{"image covered by corners", "%", 100 * std::min(left.share, right.share), 50, 25,
             "show the board in all parts of both images"},
            {"regions with corners, of nine", "", 9. - static_cast<double>(empty), 9, 5,
             regionsAdvice(left, right)}};
}

// What tells focal lengths from distances; known cameras need none of it.
std::vector<Criterion> focalCriteria(const RigSolution& solution) {
    if (focalUncertaintyOf(solution) == 0)
        return {};
    const std::string advice =
        "tilt the board by 20 to 40 degrees, to all sides, near the cameras too";
    return {{"mean angle between boards", "degrees", meanTilt(solution.boards), 10, 5, advice},
            {"focal length uncertain by", "%", 100 * focalUncertaintyOf(solution), 1,
             100 * usableUncertainty, advice}};
}

std::vector<Criterion> makeCriteria(const RigSolution& solution, const Coverage& left,
                                    const Coverage& right) {
    std::vector<Criterion> all{
        {"pairs used", "", static_cast<double>(solution.used.size()), 10, 5, "take more pairs"}};
    for (const auto& some :
         {errorCriteria(solution), coverageCriteria(left, right), focalCriteria(solution)})
        all.insert(all.end(), some.begin(), some.end());
    return all;
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
