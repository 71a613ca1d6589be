#include "matching.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iomanip>
#include <limits>
#include <opencv2/imgproc.hpp>
#include <sstream>

#include "image_files.hpp"
#include "measurements.hpp"
#include "status.hpp"

namespace tiomipra {
namespace {

using vision::Stereo;

// The matchers' result is 16-bit fixed-point with 4 fractional bits.
constexpr int disparitySteps = 16;
constexpr int smallestDisparity = std::numeric_limits<std::int16_t>::min() / disparitySteps;
constexpr int largestDisparity = std::numeric_limits<std::int16_t>::max() / disparitySteps;

// Smaller ones hold too little texture to tell places apart, and block matching refuses them.
constexpr int smallestWindow = 5;

struct DisparityLine {
    double atInfinity;  // disparity of a point at infinite depth
    double timesDepth;  // focal length times baseline: what a point's disparity beyond that is,
                        // times its depth
};

DisparityLine disparityLine(const Rig& rig) {
    const cv::Mat& left = rig.left.projectionMatrix;
    const cv::Mat& right = rig.right.projectionMatrix;
    return {double{left.at<float>(0, 2)} - right.at<float>(0, 2), -double{right.at<float>(0, 3)}};
}

std::string format(double value) {
    std::ostringstream text;
    text << std::setprecision(4) << value;
    return text.str();
}

int lastDisparity(int minDisparity, int disparityNumber) {
    return minDisparity + disparityNumber - 1;
}

int halvings(int factor) {
    return static_cast<int>(std::lround(std::log2(factor)));
}

// Sets the maximum depth and, with it, the minimum disparity. `origin` says where `depth` is from.
void setFarthest(Stereo& stereo, const Rig& rig, double depth, const std::string& origin) {
    const double disparity = disparityAt(rig, depth);
    if (disparity > rig.left.width)
        throw UsageError(origin + " " + format(depth) + ": a point there has a disparity of " +
                         format(disparity) + " pixels, must be at most the calibrated width, " +
                         std::to_string(rig.left.width) +
                         "; give --range or --max-depth in the unit of the calibrations");
    try {
        stereo.setMaxDepth(static_cast<float>(depth));
        stereo.setCalibrations(rig.left, rig.right);
    } catch (const std::range_error& error) {
        throw UsageError(origin + " " + format(depth) + ": " + error.what());
    }
}

// Sets the smallest disparity number such that a point at `depth` is within the search once the
// library has adapted it to 1 / `scale` of the size.
void setNearest(Stereo& stereo, const Rig& rig, double depth, int scale) {
    const double disparity = disparityAt(rig, depth);
    if (std::ceil(disparity) >= rig.left.width)
        throw UsageError("--range: a point at " + format(depth) + " has a disparity of " +
                         format(disparity) + " pixels, must be less than the calibrated width, " +
                         std::to_string(rig.left.width) + "; the nearest depth possible is " +
                         format(depthAt(rig, rig.left.width - 1)));
    const int first = adaptParameters(stereo, rig.left.width / scale).minDisparity;
    const int count = std::max(1, static_cast<int>(std::ceil(disparity / scale)) - first + 1);
    stereo.setDisparityNumber((count + 15) / 16 * 16 + 16 * halvings(scale));
}

int reductionFactor(const Stereo& stereo, int imageWidth) {
    return stereo.getCalibrations().first.width / imageWidth;
}

// The costs of semi-global matching stay the same relative to each other.
void enlargeWindow(Stereo& stereo, int windowSize) {
    const double ratio = double(windowSize) / stereo.getWindowSize();
    stereo.setP1(cvRound(stereo.getP1() * ratio * ratio));
    stereo.setP2(cvRound(stereo.getP2() * ratio * ratio));
    stereo.setWindowSize(windowSize);
}

// Averages blocks such that pixel (x, y) of the result is centred on pixel (scale x, scale y), as
// the library's scaling of calibrations has it; plain area averaging is off by half a block.
cv::Mat reduce(const cv::Mat& image, int scale) {
    if (scale == 1)
        return image;
    cv::Mat weights(1, 2 * scale - 1, CV_32FC1);
    for (int i = 0; i < weights.cols; ++i)
        weights.at<float>(i) =
            static_cast<float>(scale - std::abs(i - scale + 1)) / static_cast<float>(scale * scale);
    cv::Mat smooth;
    cv::sepFilter2D(image, smooth, -1, weights, weights);
    cv::Mat reduced;
    cv::resize(smooth, reduced, image.size() / scale, 0, 0, cv::INTER_NEAREST);
    return reduced;
}

}  // namespace

double disparityAt(const Rig& rig, double depth) {
    const DisparityLine line = disparityLine(rig);
    return line.atInfinity + line.timesDepth / depth;
}

double depthAt(const Rig& rig, double disparity) {
    const DisparityLine line = disparityLine(rig);
    return line.timesDepth / (disparity - line.atInfinity);
}

Rig scaleTo(const Rig& rig, const cv::Size& size) {
    Rig scaled = rig;
    scaled.left = rig.left.scaleTo(size.width, size.height);
    scaled.right = rig.right.scaleTo(size.width, size.height);
    return scaled;
}

std::unique_ptr<Stereo> makeStereo(const MatcherSettings& settings, const Rig& rig) {
    auto stereo = std::make_unique<Stereo>();
    const double defaultMaxDepth = stereo->getMaxDepth();
    // At an infinite depth the calibrations alone decide whether they can be used.
    stereo->setMaxDepth(std::numeric_limits<float>::infinity());
    setCalibrations(*stereo, rig);
    if (settings.maxDepth)
        setFarthest(*stereo, rig, *settings.maxDepth, "--max-depth");
    else if (settings.range)
        setFarthest(*stereo, rig, settings.range->farthest, "--range up to");
    else
        setFarthest(*stereo, rig, defaultMaxDepth, "the default maximum depth");
    if (settings.range)
        setNearest(*stereo, rig, settings.range->nearest, settings.scale.value_or(1));
    applyParameters(*stereo, settings);
    return stereo;
}

std::unique_ptr<Stereo> makeStereo(const MatcherSettings& settings, const cv::Size& size) {
    if (settings.range || settings.maxDepth)
        throw UsageError(
            "--range and --max-depth need calibrations, must not be given with "
            "--rectified");
    vision::Calibration calibration;
    calibration.width = size.width;
    calibration.height = size.height;
    calibration.projectionMatrix = cv::Mat::eye(3, 4, CV_32FC1);
    auto stereo = std::make_unique<Stereo>();
    const int defaultMinDisparity = stereo->getMinDisparity();
    stereo->setCalibrations(calibration, calibration);
    stereo->setMinDisparity(defaultMinDisparity);
    applyParameters(*stereo, settings);
    return stereo;
}

std::string explainSearch(const Stereo& stereo, const Rig& rig, int scale) {
    const AdaptedParameters adapted = adaptParameters(stereo, rig.left.width / scale);
    const int first = scale * adapted.minDisparity;
    const int last = scale * lastDisparity(adapted.minDisparity, adapted.disparityNumber);
    const std::string parameters =
        "(min-disparity " + std::to_string(stereo.getMinDisparity()) + ", disparity-number " +
        std::to_string(stereo.getDisparityNumber()) + ", scale " + std::to_string(scale) + ")";
    const double atInfinity = disparityLine(rig).atInfinity;
    if (last <= atInfinity)
        return "no depth is searched " + parameters + ": its disparities start at " +
               format(atInfinity);
    const double nearest = depthAt(rig, last);
    const double farthest = first <= atInfinity
                                ? double{stereo.getMaxDepth()}
                                : std::min<double>(stereo.getMaxDepth(), depthAt(rig, first));
    const double step = double(scale) / disparitySteps;
    const auto resolutionAt = [&](double depth) {
        return format(depth - depthAt(rig, disparityAt(rig, depth) + step)) + " at " +
               format(depth);
    };
    return "depths from " + format(nearest) + " to " + format(farthest) + " are searched " +
           parameters + "; one step of disparity (" + format(step) + " pixels) is " +
           resolutionAt(nearest) + ", " + resolutionAt(farthest);
}

AdaptedParameters adaptParameters(const Stereo& stereo, int imageWidth) {
    const int factor = reductionFactor(stereo, imageWidth);
    const int windowSize = stereo.getWindowSize() - (factor == 1 ? 0 : factor);
    const double windowRatio = double(windowSize) / stereo.getWindowSize();
    return {stereo.getMinDisparity() / factor,
            std::max(16, stereo.getDisparityNumber() - 16 * halvings(factor)), windowSize,
            static_cast<int>(stereo.getP2() * windowRatio * windowRatio)};
}

std::vector<std::string> fitToWidth(Stereo& stereo, int imageWidth) {
    std::vector<std::string> changes;
    const int factor = reductionFactor(stereo, imageWidth);
    if (factor < 2)
        return changes;
    const std::string reduced = " at 1/" + std::to_string(factor) + " of the size";

    const int speckleRange = stereo.getSpeckleRange();
    if (speckleRange > 0 && speckleRange < factor) {
        stereo.setSpeckleRange(factor);
        changes.push_back("speckle-range is " + std::to_string(factor) + " instead of " +
                          std::to_string(speckleRange) +
                          ", as it would come down to 0 and remove nearly everything" + reduced);
    }
    const int windowSize = stereo.getWindowSize();
    const int smallest = smallestWindow + factor;
    if (windowSize < smallest) {
        enlargeWindow(stereo, smallest);
        changes.push_back("window-size is " + std::to_string(smallest) + " instead of " +
                          std::to_string(windowSize) +
                          ", and p1 and p2 grow with its area, as it "
                          "would come down to " +
                          std::to_string(windowSize - factor) + reduced);
    }
    return changes;
}

void requireMatchable(const Stereo& stereo, int imageWidth) {
    const AdaptedParameters adapted = adaptParameters(stereo, imageWidth);
    const int first = adapted.minDisparity;
    const int last = lastDisparity(first, adapted.disparityNumber);
    const std::string search = "disparities from " + std::to_string(first) + " to " +
                               std::to_string(last) +
                               " are searched (min-disparity, disparity-number), ";
    // One less than the first marks what has no match.
    if (first - 1 < smallestDisparity || last > largestDisparity)
        throw UsageError(search + "must be within " + std::to_string(smallestDisparity + 1) +
                         " and " + std::to_string(largestDisparity) +
                         ", which is what the matchers' 16-bit results can hold; --scale halves "
                         "them");
    if (last >= imageWidth || first <= -imageWidth)
        throw UsageError(search + "must be less than the width of the images, " +
                         std::to_string(imageWidth));
}

std::vector<std::string> findDoubts(const Stereo& stereo, int imageWidth) {
    if (stereo.getStereoAlgorithm() != Stereo::SGBM)
        return {};
    // The cost of a pixel is the difference of pre-filtered values, bounded by twice the cap, which
    // OpenCV makes odd and at least 15, plus a quarter of the difference of grey values. Costs of a
    // window are summed up, together with P2, in 16 bits that saturate.
    const AdaptedParameters adapted = adaptParameters(stereo, imageWidth);
    const std::int64_t pixelCost = 2 * (std::max(stereo.getPreFilterCap(), 15) | 1) + 255 / 4;
    const std::int64_t cost = pixelCost * adapted.windowSize * adapted.windowSize + adapted.P2;
    constexpr int bound = std::numeric_limits<std::int16_t>::max();
    if (cost <= bound)
        return {};
    const std::string window = std::to_string(adapted.windowSize);
    return {
        "sgbm's 16-bit costs can overflow, which gives wrong disparities: window-size^2 * (2 * "
        "pre-filter-cap + 63) + p2 = " +
        window + "^2 * " + std::to_string(pixelCost) + " + " + std::to_string(adapted.P2) + " = " +
        std::to_string(cost) + ", must be at most " + std::to_string(bound) +
        "; take a smaller window, or a preset"};
}

Match matchPair(const Stereo& stereo, const StereoImages& rectified, const cv::Mat& seen,
                int scale) {
    Match match;
    match.left = reduce(rectified.left, scale);
    const cv::Mat left = toGrey(match.left);
    const cv::Mat right = toGrey(reduce(rectified.right, scale));
    match.disparity = stereo.computeDisparity(left, right);
    const AdaptedParameters adapted = adaptParameters(stereo, left.cols);
    match.measured = findMatched(match.disparity, adapted.minDisparity) &
                     findTextured(left, adapted.windowSize, stereo.getPreFilterCap(),
                                  std::max(1, stereo.getTextureThreshold()));
    if (!seen.empty())
        match.measured &= reduce(seen, scale) == 255;
    return match;
}

}  // namespace tiomipra
