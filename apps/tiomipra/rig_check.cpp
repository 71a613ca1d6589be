#include "rig_check.hpp"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <limits>
#include <opencv2/calib3d.hpp>
#include <opencv2/features2d.hpp>
#include <sstream>

#include "pictures.hpp"
#include "status.hpp"
#include "text.hpp"

namespace tiomipra {
namespace {

constexpr std::size_t minimumConsistent = 30;
constexpr double minimumConsistentShare = 0.25;
// Fewer matches have a median that their own noise may move beyond the limits.
constexpr std::size_t minimumPerRegion = 15;
constexpr std::size_t minimumPerFineRegion = 5;
// Of nine. A lens or a mount that has moved may show in one part of the image only.
constexpr int sensibleRegions = 5;
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

struct Features {
    std::vector<cv::KeyPoint> points;
    cv::Mat descriptors;
};

Features findFeatures(const cv::Mat& image) {
    constexpr int most = 4000;
    Features features;
    cv::SIFT::create(most)->detectAndCompute(image, cv::noArray(), features.points,
                                             features.descriptors);
    return features;
}

// For each feature of `from` its best match in `to`; -1 without a clear one.
std::vector<int> bestMatches(const Features& from, const Features& to, float ratio) {
    std::vector<std::vector<cv::DMatch>> candidates;
    cv::BFMatcher().knnMatch(from.descriptors, to.descriptors, candidates, 2);
    std::vector<int> best;
    for (const auto& candidate : candidates) {
        const bool isClear =
            candidate.size() == 2 && candidate[0].distance <= ratio * candidate[1].distance;
        best.push_back(isClear ? candidate[0].trainIdx : -1);
    }
    return best;
}

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
        if (fits[i] != 0) {
            consistent.left.push_back(matches.left[i]);
            consistent.right.push_back(matches.right[i]);
        }
    }
    return consistent;
}

void requireEnough(const Matches& consistent, const Matches& matches) {
    const std::size_t count = consistent.left.size();
    if (count >= minimumConsistent &&
        double(count) >= minimumConsistentShare * double(matches.left.size()))
        return;
    throw InputError(
        "only " + std::to_string(count) + " of " + std::to_string(matches.left.size()) +
        " matches between the images are consistent, at least " +
        std::to_string(minimumConsistent) + " and " + fixed(100 * minimumConsistentShare, 0) +
        " % are needed for an answer; give several pairs, taken at the same moment by both "
        "cameras, of a scene with texture at different distances");
}

struct Residuals {
    std::vector<double> rowDifferences;
    double behindShare = 0;
};

Residuals findResiduals(const Matches& matches, const vision::Calibration& left,
                        const vision::Calibration& right) {
    const auto inLeft = rectifyPoints(matches.left, left);
    const auto inRight = rectifyPoints(matches.right, right);
    const double atInfinity =
        left.projectionMatrix.at<float>(0, 2) - right.projectionMatrix.at<float>(0, 2);
    Residuals residuals;
    std::size_t behind = 0;
    for (std::size_t i = 0; i < inLeft.size(); ++i) {
        residuals.rowDifferences.push_back(inLeft[i].y - inRight[i].y);
        behind += inLeft[i].x - inRight[i].x < atInfinity ? 1 : 0;
    }
    residuals.behindShare = double(behind) / double(inLeft.size());
    return residuals;
}

cv::Mat mediansPerRegion(const std::vector<cv::Point2f>& places, const std::vector<double>& values,
                         const cv::Size& imageSize, const cv::Size& grid, std::size_t fewest) {
    std::vector<std::vector<double>> cells(std::size_t(grid.area()));
    for (std::size_t i = 0; i < places.size(); ++i) {
        const int x = cvFloor((places[i].x + 0.5) * grid.width / imageSize.width);
        const int y = cvFloor((places[i].y + 0.5) * grid.height / imageSize.height);
        const int cell =
            std::clamp(y, 0, grid.height - 1) * grid.width + std::clamp(x, 0, grid.width - 1);
        cells[std::size_t(cell)].push_back(values[i]);
    }
    cv::Mat medians(grid, CV_32FC1, cv::Scalar(notANumber));
    for (int i = 0; i < grid.area(); ++i) {
        const auto& cell = cells[std::size_t(i)];
        if (cell.size() >= fewest)
            medians.at<float>(i / grid.width, i % grid.width) = float(quantile(cell, 0.5));
    }
    return medians;
}

double largestMagnitude(const cv::Mat& values) {
    double largest = 0;
    for (const float value : cv::Mat_<float>(values)) {
        if (!std::isnan(value))
            largest = std::max(largest, double(std::abs(value)));
    }
    return largest;
}

int countNumbers(const cv::Mat_<float>& values) {
    return int(std::count_if(values.begin(), values.end(), [](float x) { return !std::isnan(x); }));
}

bool fitExchanged(const Matches& matches, const vision::Calibration& left,
                  const vision::Calibration& right, double maxRowDifference) {
    const Residuals residuals = findResiduals({matches.right, matches.left}, left, right);
    return residuals.behindShare < 0.5 &&
           spreadOf(residuals.rowDifferences).median <= maxRowDifference;
}

// Puts the verdict and its reason into `check`, whose numbers are there.
void judge(RigCheck& check, bool fitsExchanged, double maxRowDifference) {
    const double median = check.rowDifferences.median;
    const double worstRegion = largestMagnitude(check.regionMedians);
    const auto pixels = [](double value) { return significant(value, 3) + " pixels"; };
    // Written such that numbers that are not finite never pass.
    const bool isMedianGood = median <= maxRowDifference;
    if (check.behindShare >= 0.5 || !isMedianGood)
        check.state = fitsExchanged ? RigState::swapped : RigState::notCalibrated;
    else if (!(worstRegion <= 2 * maxRowDifference))
        check.state = RigState::notCalibrated;
    else
        check.state = RigState::calibrated;

    if (check.state == RigState::swapped)
        check.reason = "with left and right exchanged the images fit the calibrations";
    else if (!isMedianGood)
        check.reason = "the median row difference is " + pixels(median) + ", may be " +
                       pixels(maxRowDifference) + " at most";
    else if (check.behindShare >= 0.5)
        check.reason =
            significant(100 * check.behindShare, 3) + " % of the points lie behind the cameras";
    else if (check.state == RigState::notCalibrated)
        check.reason = "in one region the median row difference is " + pixels(worstRegion) +
                       ", may be " + pixels(2 * maxRowDifference) + " at most";
    else
        check.reason = "the median row difference is " + pixels(median) + ", limit " +
                       pixels(maxRowDifference);
}

std::string advise(const RigCheck& check) {
    switch (check.state) {
        case RigState::swapped:
            return "exchange --left and --right, or the two calibration files";
        case RigState::notCalibrated:
            return "calibrate the rig again with `tiomipra calibrate`";
        case RigState::calibrated:
            break;
    }
    return check.regionsJudged < sensibleRegions
               ? "give several pairs that together show texture in all parts of the image: only " +
                     std::to_string(check.regionsJudged) + " of 9 regions could be judged"
               : "";
}

nlohmann::ordered_json gridToJson(const cv::Mat& values) {
    nlohmann::ordered_json rows = nlohmann::ordered_json::array();
    for (int row = 0; row < values.rows; ++row)
        rows.push_back(std::vector<float>(values.row(row)));
    return rows;
}

}  // namespace

Matches matchFeatures(const cv::Mat& left, const cv::Mat& right) {
    constexpr float ratio = 0.75F;
    const Features inLeft = findFeatures(left);
    const Features inRight = findFeatures(right);
    Matches matches;
    if (inLeft.points.size() < 2 || inRight.points.size() < 2)
        return matches;
    const std::vector<int> toRight = bestMatches(inLeft, inRight, ratio);
    const std::vector<int> toLeft = bestMatches(inRight, inLeft, ratio);
    for (std::size_t i = 0; i < toRight.size(); ++i) {
        if (toRight[i] < 0 || toLeft[std::size_t(toRight[i])] != int(i))
            continue;
        matches.left.push_back(inLeft.points[i].pt);
        matches.right.push_back(inRight.points[std::size_t(toRight[i])].pt);
    }
    return matches;
}

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
    const Residuals residuals = findResiduals(consistent, left, right);
    const cv::Size imageSize(left.width, left.height);
    RigCheck check;
    check.matches = matches.left.size();
    check.consistent = consistent.left.size();
    check.rowDifferences = spreadOf(residuals.rowDifferences);
    check.signedMedian = quantile(residuals.rowDifferences, 0.5);
    check.turnDegrees =
        std::atan(std::abs(check.signedMedian) / left.projectionMatrix.at<float>(1, 1)) * 180 /
        CV_PI;
    check.behindShare = residuals.behindShare;
    check.regionMedians = mediansPerRegion(consistent.left, residuals.rowDifferences, imageSize,
                                           {3, 3}, minimumPerRegion);
    check.regionsJudged = countNumbers(check.regionMedians);
    check.fineMedians = mediansPerRegion(consistent.left, residuals.rowDifferences, imageSize,
                                         {8, 6}, minimumPerFineRegion);
    judge(check, fitExchanged(consistent, left, right, maxRowDifference), maxRowDifference);
    check.advice = advise(check);
    return check;
}

nlohmann::ordered_json toJson(const RigCheck& check) {
    return {{"verdict", nameOf(check.state)},
            {"reason", check.reason},
            {"advice", check.advice},
            {"matches", check.matches},
            {"consistentMatches", check.consistent},
            {"rowDifference",
             {{"median", check.rowDifferences.median},
              {"p95", check.rowDifferences.p95},
              {"signedMedian", check.signedMedian},
              {"regionMedians", gridToJson(check.regionMedians)},
              {"regionsJudged", check.regionsJudged}}},
            {"turnDegrees", check.turnDegrees},
            {"shareBehindCameras", check.behindShare}};
}

std::string toText(const RigCheck& check) {
    std::ostringstream out;
    out << check.consistent << " of " << check.matches << " matches are consistent.\n"
        << "Row difference: median " << fixed(check.rowDifferences.median, 3) << ", 95 % up to "
        << fixed(check.rowDifferences.p95, 3) << " pixels\n"
        << "Medians by region of the left image, with sign (pixels), " << check.regionsJudged
        << " of 9 judged:\n";
    for (int row = 0; row < check.regionMedians.rows; ++row) {
        for (const float median : cv::Mat_<float>(check.regionMedians.row(row)))
            out << std::setw(9) << (std::isnan(median) ? "-" : fixed(median, 2));
        out << '\n';
    }
    out << "Verdict: " << nameOf(check.state) << ": " << check.reason << ".\n";
    if (check.state == RigState::notCalibrated)
        out << "All rows are shifted as if one camera had been turned by "
            << fixed(check.turnDegrees, 2) << " degrees about its x axis.\n";
    if (!check.advice.empty())
        out << "What to do: " << check.advice << ".\n";
    return out.str();
}

cv::Mat drawRowDifferences(const RigCheck& check, const cv::Mat& image) {
    const double largest = std::max(1., largestMagnitude(check.fineMedians));
    return drawGrid(check.fineMedians, image.size(),
                    {"median row difference (pixels)", -largest, largest}, 2, image);
}

}  // namespace tiomipra
