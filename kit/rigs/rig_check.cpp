#include "rigs/rig_check.hpp"

#include <algorithm>
#include <cmath>
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

Matches findConsistent(const Matches& matches, const vision::Calibration& left,
                       const vision::Calibration& right) {
    constexpr double tolerance = 1;  // pixels
    constexpr double confidence = 0.999;
    constexpr int iterations = 5000;
    Matches consistent;
    if (matches.left.size() < minimumConsistent)
        return consistent;
    std::vector<uchar> fits;
    cv::findFundamentalMat(undistort(matches.left, left), undistort(matches.right, right),
                           cv::USAC_MAGSAC, tolerance, confidence, iterations, fits);
    for (std::size_t i = 0; i < fits.size(); ++i) {
        if (fits[i] == 0)
            continue;
        consistent.left.push_back(matches.left[i]);
        consistent.right.push_back(matches.right[i]);
    }
    return consistent;
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

struct Residuals {
    std::vector<double> rowDifferences;
    double behindShare = 0;
};

Residuals findResiduals(const Matches& matches, const vision::Calibration& left,
                        const vision::Calibration& right) {
    const auto inLeft = rectifyPoints(matches.left, left);
    const auto inRight = rectifyPoints(matches.right, right);
    const double atInfinity = disparityModel(left, right).atInfinity;
    std::size_t behind = 0;
    for (std::size_t i = 0; i < inLeft.size(); ++i)
        behind += inLeft[i].x - inRight[i].x < atInfinity ? 1 : 0;
    return {rowDifferences(inLeft, inRight),
            static_cast<double>(behind) / static_cast<double>(inLeft.size())};
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
    const double median = check.rowDifferences.median;
    const double worstRegion = largestMagnitude(check.regionMedians);
    if (!(median <= maxRowDifference))
        return fmt::format("the median row difference is {}, may be {} at most", pixels(median),
                           pixels(maxRowDifference));
    if (check.behindShare >= 0.5)
        return fmt::format("{} % of the points lie behind the cameras",
                           significant(100 * check.behindShare, 3));
    if (!(worstRegion <= 2 * maxRowDifference))
        return fmt::format("in one region the median row difference is {}, may be {} at most",
                           pixels(worstRegion), pixels(2 * maxRowDifference));
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

std::string advise(const RigCheck& check) {
    if (check.state == RigState::swapped)
        return "exchange the left and right images, or the two calibration files";
    if (check.state == RigState::notCalibrated)
        return "calibrate the rig again";
    if (check.regionsJudged < sensibleRegions)
        return fmt::format(
            "give several pairs that together show texture in all parts of the "
            "image: only {} of 9 regions could be judged",
            check.regionsJudged);
    return "";
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
    check.turnDegrees =
        toDegrees(std::atan(std::abs(check.signedMedian) / left.projectionMatrix.at<float>(1, 1)));
    check.behindShare = residuals.behindShare;
    check.regionMedians = medians({3, 3}, minimumPerRegion);
    check.regionsJudged = countNumbers(check.regionMedians);
    check.fineMedians = medians({8, 6}, minimumPerFineRegion);
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

RigCheck checkRig(const Matches& matches, const vision::Calibration& left,
                  const vision::Calibration& right, double maxRowDifference) {
    const Matches consistent = findConsistent(matches, left, right);
    requireEnough(consistent, matches);
    RigCheck check;
    check.matches = matches.left.size();
    check.consistent = consistent.left.size();
    measure(check, consistent, left, right);
    const bool fitsExchanged = fitExchanged(consistent, left, right, maxRowDifference);
    const auto [state, reason] = judge(check, fitsExchanged, maxRowDifference);
    check.state = state;
    check.reason = reason;
    check.advice = advise(check);
    return check;
}

}  // namespace tiomipra
