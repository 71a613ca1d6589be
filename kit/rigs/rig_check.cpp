#include "rigs/rig_check.hpp"

#include <algorithm>
#include <cmath>
#include <functional>
#include <opencv2/calib3d.hpp>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "rigs/disparity_model.hpp"
#include "rigs/image_cells.hpp"
#include "rigs/rig_geometry.hpp"
#include "rigs/row_differences.hpp"

namespace tiomipra {
namespace {

constexpr std::size_t minimumConsistent = 30;
constexpr double minimumConsistentShare = 0.25;
// Fewer matches have a median that their own noise may move beyond the limits.
constexpr std::size_t minimumPerRegion = 15;
constexpr std::size_t minimumPerFineRegion = 5;
// Of nine. A lens or a mount that has moved may show in one part of the image only.
constexpr int sensibleRegions = 5;

// In pixels of a camera without distortion, as left and right as the raw ones.
std::vector<cv::Point2f> undistort(const std::vector<cv::Point2f>& points,
                                   const vision::Calibration& camera) {
    std::vector<cv::Point2f> result;
    cv::undistortPoints(points, result, camera.cameraMatrix, camera.distortion, cv::noArray(),
                        camera.cameraMatrix);
    return result;
}

Matches pick(const Matches& matches, const std::function<bool(std::size_t)>& isWanted) {
    Matches picked;
    for (std::size_t i = 0; i < matches.left.size(); ++i) {
        if (!isWanted(i))
            continue;
        picked.left.push_back(matches.left[i]);
        picked.right.push_back(matches.right[i]);
        if (!matches.pairs.empty())
            picked.pairs.push_back(matches.pairs[i]);
    }
    return picked;
}

Matches findConsistent(const Matches& matches, const vision::Calibration& left,
                       const vision::Calibration& right) {
    constexpr double tolerance = 1;  // pixels
    constexpr double confidence = 0.999;
    constexpr int iterations = 5000;
    if (matches.left.size() < minimumConsistent)
        return {};
    std::vector<uchar> fits;
    cv::findFundamentalMat(undistort(matches.left, left), undistort(matches.right, right),
                           cv::USAC_MAGSAC, tolerance, confidence, iterations, fits);
    fits.resize(matches.left.size());  // it is empty when nothing fits
    return pick(matches, [&](std::size_t i) { return fits[i] != 0; });
}

void requireEnough(const Matches& consistent, const Matches& matches) {
    const std::size_t count = consistent.left.size();
    const std::size_t all = matches.left.size();
    if (count >= minimumConsistent &&
        static_cast<double>(count) >= minimumConsistentShare * static_cast<double>(all))
        return;
    throw InputError(fmt::format(
        "only {} of {} matches between the images are consistent, at least {} and {:.0f} % are "
        "needed for an answer; give several pairs, taken at the same moment by both cameras, of a "
        "scene with texture at different distances",
        count, all, minimumConsistent, 100 * minimumConsistentShare));
}

struct RectifiedMatches {
    std::vector<cv::Point2d> left;
    std::vector<cv::Point2d> right;
};

RectifiedMatches rectifyMatches(const Matches& matches, const vision::Calibration& left,
                                const vision::Calibration& right) {
    return {rectifyPoints(matches.left, left), rectifyPoints(matches.right, right)};
}

// Where a scene is flat, so many geometries fit it that one fits many a wrong match as well. With
// the focal lengths known there is one; the tolerance leaves room for those that have changed.
Matches dropFarOff(const Matches& matches, const TurnFit& fit) {
    constexpr double pixels = 2;
    const double tolerance = std::max(pixels, fit.cutOff);
    return pick(matches, [&](std::size_t i) { return std::abs(fit.distances[i]) <= tolerance; });
}

struct Residuals {
    std::vector<double> rowDifferences;
    std::vector<double> disparities;  // less that of what is infinitely far away
    double behindShare = 0;
};

Residuals findResiduals(const Matches& matches, const vision::Calibration& left,
                        const vision::Calibration& right) {
    const RectifiedMatches rectified = rectifyMatches(matches, left, right);
    const double atInfinity = disparityModel(left, right).atInfinity;
    std::vector<double> disparities;
    for (std::size_t i = 0; i < rectified.left.size(); ++i)
        disparities.push_back(rectified.left[i].x - rectified.right[i].x - atInfinity);
    const auto behind = std::count_if(disparities.begin(), disparities.end(),
                                      [](double disparity) { return disparity < 0; });
    return {rowDifferences(rectified.left, rectified.right), disparities,
            static_cast<double>(behind) / static_cast<double>(disparities.size())};
}

// Single pairs of calibrated rigs come to 0.17 degrees about y. Through a long lens such a turn
// moves no rows to speak of, and what a calibration leaves in the corners looks like larger ones.
double turnLimitOf(const vision::Calibration& camera) {
    constexpr double smallest = 0.25;  // degrees
    constexpr double atCorner = 0.5;   // rows
    const double rowsPerRadian =
        camera.width / 2. * (camera.height / 2.) / camera.projectionMatrix.at<float>(0, 0);
    return std::max(smallest, toDegrees(atCorner / rowsPerRadian));
}

DepthError depthErrorOf(const CameraTurn& turn, const std::vector<double>& disparities,
                        const vision::Calibration& left, const vision::Calibration& right) {
    const double median = quantile(disparities, 0.5);
    const double focal = left.projectionMatrix.at<float>(0, 0);
    const double shift = focal * std::tan(toRadians(turn.aboutY.degrees));
    return {shift, disparityModel(left, right).timesDepth / median, -shift / median};
}

int countNumbers(const cv::Mat_<float>& values) {
    return static_cast<int>(
        std::count_if(values.begin(), values.end(), [](float x) { return !std::isnan(x); }));
}

bool fitExchanged(const Matches& matches, const vision::Calibration& left,
                  const vision::Calibration& right, double maxRowDifference) {
    const Residuals residuals = findResiduals({matches.right, matches.left}, left, right);
    return residuals.behindShare < 0.5 &&
           spreadOf(residuals.rowDifferences).median <= maxRowDifference;
}

std::string pixels(double value) {
    return significant(value, 3) + " pixels";
}

struct Judgement {
    RigState state;
    std::string reason;
};

// Why rows or depths do not fit the calibrations as they are, if so. Written such that numbers that
// are not finite never pass.
std::string misfit(const RigCheck& check, double maxRowDifference) {
    const double largest = 2 * maxRowDifference;
    const double median = check.rowDifferences.median;
    const double worstRegion = largestMagnitude(check.regionMedians);
    if (!(median <= maxRowDifference))
        return fmt::format("the median row difference is {}, may be {} at most", pixels(median),
                           pixels(maxRowDifference));
    if (hasTurned(check))
        return fmt::format(
            "the right camera has turned by {:+.2f} +-{:.2f} degrees about y, may have by {:.2f} "
            "at most",
            check.turn.aboutY.degrees, check.turn.aboutY.uncertainty, check.turnLimit);
    if (check.behindShare >= 0.5)
        return fmt::format("{} % of the points lie behind the cameras",
                           significant(100 * check.behindShare, 3));
    if (!(worstRegion <= largest))
        return fmt::format("in one region the median row difference is {}, may be {} at most",
                           pixels(worstRegion), pixels(largest));
    if (!(check.rowDifferences.p95 <= largest))
        return fmt::format("95 % of the row differences are up to {}, may be up to {}",
                           pixels(check.rowDifferences.p95), pixels(largest));
    return "";
}

Judgement judge(const RigCheck& check, bool fitsExchanged, double maxRowDifference) {
    const double median = check.rowDifferences.median;
    const bool fitsMostly = median <= maxRowDifference && check.behindShare < 0.5;
    if (!fitsMostly && fitsExchanged)
        return {RigState::swapped, "with left and right exchanged the images fit the calibrations"};
    const std::string reason = misfit(check, maxRowDifference);
    if (!reason.empty())
        return {RigState::notCalibrated, reason};
    return {RigState::calibrated, fmt::format("the median row difference is {}, limit {}",
                                              pixels(median), pixels(maxRowDifference))};
}

// Empty if all could be judged.
std::string notJudged(const RigCheck& check) {
    std::vector<std::string> gaps;
    if (check.regionsJudged < sensibleRegions)
        gaps.push_back(fmt::format("only {} of 9 regions could be judged", check.regionsJudged));
    if (!isTurnKnown(check))
        gaps.emplace_back("a turn about y is not determined");
    return joined(gaps, ", and ");
}

std::string advise(const RigCheck& check) {
    if (check.state == RigState::swapped)
        return "exchange the left and right images, or the two calibration files";
    if (check.state == RigState::notCalibrated)
        return "calibrate the rig again";
    const std::string gaps = notJudged(check);
    if (gaps.empty())
        return "";
    return "give several pairs that together show texture in all parts of the image: " + gaps;
}

std::vector<PlacedRow> placeRows(const Matches& matches, const std::vector<double>& differences) {
    std::vector<PlacedRow> rows;
    for (std::size_t i = 0; i < differences.size(); ++i)
        rows.push_back(
            {matches.left[i], differences[i], matches.pairs.empty() ? 0 : matches.pairs[i]});
    return rows;
}

void measure(RigCheck& check, const Matches& consistent, const vision::Calibration& left,
             const vision::Calibration& right) {
    const Residuals residuals = findResiduals(consistent, left, right);
    const auto medians = [&](const cv::Size& grid, std::size_t fewest) {
        return medianPerCell(consistent.left, residuals.rowDifferences, {sizeOf(left), grid},
                             fewest);
    };
    check.rowDifferences = spreadOf(residuals.rowDifferences);
    check.signedMedian = quantile(residuals.rowDifferences, 0.5);
    check.behindShare = residuals.behindShare;
    check.depthError = depthErrorOf(check.turn, residuals.disparities, left, right);
    check.regionMedians = medians({3, 3}, minimumPerRegion);
    check.regionsJudged = countNumbers(check.regionMedians);
    check.fineMedians = medians({8, 6}, minimumPerFineRegion);
    check.rows = placeRows(consistent, residuals.rowDifferences);
}

}  // namespace

std::string nameOf(RigState state) {
    switch (state) {
        case RigState::calibrated:
            return "calibrated";
        case RigState::swapped:
            return "swapped";
        case RigState::notCalibrated:
            break;
    }
    return "not calibrated";
}

bool isTurnKnown(const RigCheck& check) {
    return check.turn.aboutY.uncertainty <= check.turnLimit;
}

bool hasTurned(const RigCheck& check) {
    const Angle& turn = check.turn.aboutY;
    return isTurnKnown(check) && std::abs(turn.degrees) - turn.uncertainty > check.turnLimit;
}

RigCheck checkRig(const Matches& matches, const vision::Calibration& left,
                  const vision::Calibration& right, double maxRowDifference) {
    const Matches likely = findConsistent(matches, left, right);
    const RectifiedMatches rectified = rectifyMatches(likely, left, right);
    const TurnFit fit = fitCameraTurn(rectified.left, rectified.right, left, right);
    const Matches consistent = dropFarOff(likely, fit);
    requireEnough(consistent, matches);
    RigCheck check;
    check.matches = matches.left.size();
    check.consistent = consistent.left.size();
    check.turn = fit.turn;
    check.turnLimit = turnLimitOf(left);
    measure(check, consistent, left, right);
    const bool fitsExchanged = fitExchanged(consistent, left, right, maxRowDifference);
    const auto [state, reason] = judge(check, fitsExchanged, maxRowDifference);
    check.state = state;
    check.reason = reason;
    check.advice = advise(check);
    return check;
}

}  // namespace tiomipra
