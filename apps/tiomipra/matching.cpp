#include "matching.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <opencv2/imgproc.hpp>

#include "disparity_depth.hpp"
#include "image_files.hpp"
#include "measurements.hpp"
#include "status.hpp"
#include "text.hpp"

namespace tiomipra {
namespace {

using vision::Stereo;

// The matchers' result is 16-bit fixed-point with 4 fractional bits.
constexpr int disparitySteps = 16;
constexpr int smallestDisparity = std::numeric_limits<std::int16_t>::min() / disparitySteps;
constexpr int largestDisparity = std::numeric_limits<std::int16_t>::max() / disparitySteps;

// Smaller ones hold too little texture to tell places apart, and block matching refuses them.
constexpr int smallestWindow = 5;

DisparityModel modelOf(const Rig& rig) {
    return disparityModel(rig.left, rig.right);
}

std::string digits(double value) {
    return significant(value, 4);
}

std::int64_t lastDisparity(const AdaptedParameters& adapted) {
    return std::int64_t{adapted.minDisparity} + adapted.disparityNumber - 1;
}

int halvings(int factor) {
    return static_cast<int>(std::lround(std::log2(factor)));
}

// The option whose depths have a suffix, "" if none has.
std::string optionInMetres(const MatcherSettings& settings) {
    if (settings.range && settings.range->unit == metres)
        return "range";
    return settings.maxDepth && settings.maxDepth->unit == metres ? "max-depth" : "";
}

void requireUnit(const MatcherSettings& settings, const Rig& rig) {
    const std::string option = optionInMetres(settings);
    if (option.empty() || rig.unit.value_or(metres) == metres)
        return;
    refuseSetting(
        settings, option,
        " is in metres, as it has a suffix, " + quote(rig.leftFile) + " in " +
            (rig.unit->empty() ? "your own unit, as --square had none" : quote(*rig.unit)) +
            "; must be in the unit of the calibrations, without a suffix");
}

[[noreturn]] void refuseFarthest(const MatcherSettings& settings, double depth,
                                 const std::string& problem) {
    const std::string what = " " + digits(depth) + ": " + problem;
    if (settings.maxDepth)
        refuseSetting(settings, "max-depth", what);
    if (settings.range)
        refuseSetting(settings, "range", " up to" + what);
    throw UsageError("the default maximum depth" + what);
}

// Sets the maximum depth and, with it, the minimum disparity.
void setFarthest(Stereo& stereo, const Rig& rig, const MatcherSettings& settings) {
    const auto farthest = farthestDepth(settings);
    const double depth = farthest ? farthest->value : Stereo().getMaxDepth();
    const double disparity = modelOf(rig).disparityAt(depth);
    if (disparity > rig.left.width)
        refuseFarthest(settings, depth,
                       "a point there has a disparity of " + digits(disparity) +
                           " pixels, must be at most the calibrated width, " +
                           std::to_string(rig.left.width) +
                           "; give --range or --max-depth in the unit of the calibrations");
    try {
        stereo.setMaxDepth(static_cast<float>(depth));
        stereo.setCalibrations(rig.left, rig.right);
    } catch (const std::range_error& error) {
        refuseFarthest(settings, depth, error.what());
    }
}

// Sets the smallest disparity number such that a point at the near end of the range is within the
// search once the library has adapted it to the scale.
void setNearest(Stereo& stereo, const Rig& rig, const MatcherSettings& settings) {
    const int scale = settings.scale.value_or(1);
    const double depth = settings.range->nearest;
    if (depth >= stereo.getMaxDepth())
        refuseSetting(settings, "range",
                      " from " + digits(depth) + " must start nearer than max-depth, " +
                          digits(stereo.getMaxDepth()));
    const DisparityModel model = modelOf(rig);
    const double disparity = model.disparityAt(depth);
    if (std::ceil(disparity) >= rig.left.width)
        refuseSetting(settings, "range",
                      " from " + digits(depth) + ": a point there has a disparity of " +
                          digits(disparity) + " pixels, must be less than the calibrated width, " +
                          std::to_string(rig.left.width) + "; the nearest depth possible is " +
                          digits(model.depthAt(rig.left.width - 1)));
    const int first = adaptParameters(stereo, std::max(1, rig.left.width / scale)).minDisparity;
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
    const cv::Rect whole({}, divisibleSize(image.size(), scale));
    cv::sepFilter2D(image(whole), smooth, -1, weights, weights);
    cv::Mat reduced;
    cv::resize(smooth, reduced, whole.size() / scale, 0, 0, cv::INTER_NEAREST);
    return reduced;
}

// The columns of the left image for which the right image has all candidates.
cv::Range matchableColumns(const AdaptedParameters& adapted, int imageWidth) {
    const auto begin = std::clamp<std::int64_t>(lastDisparity(adapted), 0, imageWidth);
    const int end = imageWidth + std::min(0, adapted.minDisparity);
    return {static_cast<int>(begin), std::max(end, static_cast<int>(begin))};
}

std::string doubtColumns(const AdaptedParameters& adapted, int imageWidth) {
    const std::int64_t last = lastDisparity(adapted);
    const int unmatched = imageWidth - matchableColumns(adapted, imageWidth).size();
    if (2 * unmatched <= imageWidth)
        return "";
    return std::to_string(unmatched) + " of " + std::to_string(imageWidth) +
           " columns of the left image can't be matched, as disparities from " +
           std::to_string(adapted.minDisparity) + " to " + std::to_string(last) +
           " are searched; a range that starts farther away (or a smaller disparity-number) leaves "
           "more of them";
}

std::string doubtCosts(const Stereo& stereo, const AdaptedParameters& adapted) {
    if (stereo.getStereoAlgorithm() != Stereo::SGBM)
        return "";
    // The cost of a pixel is the difference of pre-filtered values, bounded by twice the cap, which
    // OpenCV makes odd and at least 15, plus a quarter of the difference of grey values. Costs of a
    // window are summed up, together with P2, in 16 bits that saturate.
    const std::int64_t pixelCost = 2 * (std::max(stereo.getPreFilterCap(), 15) | 1) + 255 / 4;
    const std::int64_t cost = pixelCost * adapted.windowSize * adapted.windowSize + adapted.P2;
    constexpr int bound = std::numeric_limits<std::int16_t>::max();
    if (cost <= bound)
        return "";
    const std::string window = std::to_string(adapted.windowSize);
    return "sgbm's 16-bit costs can overflow, which gives wrong disparities: window-size^2 * (2 * "
           "pre-filter-cap + 63) + p2 = " +
           window + "^2 * " + std::to_string(pixelCost) + " + " + std::to_string(adapted.P2) +
           " = " + std::to_string(cost) + ", must be at most " + std::to_string(bound) +
           "; take a smaller window, or a preset";
}

}  // namespace

Rig scaleTo(const Rig& rig, const cv::Size& size) {
    Rig scaled = rig;
    scaled.left = rig.left.scaleTo(size.width, size.height);
    scaled.right = rig.right.scaleTo(size.width, size.height);
    return scaled;
}

cv::Size divisibleSize(const cv::Size& size, int scale) {
    return size / scale * scale;
}

Rig cropTo(Rig rig, const cv::Size& size) {
    for (vision::Calibration* camera : {&rig.left, &rig.right}) {
        camera->width = size.width;
        camera->height = size.height;
    }
    return rig;
}

std::unique_ptr<Stereo> makeStereo(const MatcherSettings& settings, const Rig& rig) {
    requireUnit(settings, rig);
    auto stereo = std::make_unique<Stereo>();
    // At an infinite depth the calibrations alone decide whether they can be used.
    stereo->setMaxDepth(std::numeric_limits<float>::infinity());
    setCalibrations(*stereo, rig);
    setFarthest(*stereo, rig, settings);
    if (settings.range)
        setNearest(*stereo, rig, settings);
    applyParameters(*stereo, settings);
    return stereo;
}

bool mustTrustUnit(const MatcherSettings& settings, const Rig& rig) {
    return !rig.unit && !optionInMetres(settings).empty();
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
    const int last = scale * static_cast<int>(lastDisparity(adapted));
    const std::string parameters =
        "(min-disparity " + std::to_string(stereo.getMinDisparity()) + ", disparity-number " +
        std::to_string(stereo.getDisparityNumber()) + ", scale " + std::to_string(scale) + ")";
    const DisparityModel model = modelOf(rig);
    if (last <= model.atInfinity)
        return "no depth is searched " + parameters + ": its disparities start at " +
               digits(model.atInfinity);
    const double nearest = model.depthAt(last);
    const double farthest = first <= model.atInfinity
                                ? double{stereo.getMaxDepth()}
                                : std::min<double>(stereo.getMaxDepth(), model.depthAt(first));
    const double step = double(scale) / disparitySteps;
    const std::string unit = rig.unit.value_or("");
    const auto lengthText = [&](double length) {
        return digits(length) + (unit.empty() ? "" : " " + unit);
    };
    const auto resolutionAt = [&](double depth) {
        return lengthText(model.depthStepAt(depth, step)) + " at " + lengthText(depth);
    };
    return "depths from " + digits(nearest) + " to " + lengthText(farthest) + " are searched " +
           parameters + "; one step of disparity (" + digits(step) + " pixels) is " +
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
    const std::int64_t last = lastDisparity(adapted);
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
    const AdaptedParameters adapted = adaptParameters(stereo, imageWidth);
    std::vector<std::string> doubts{doubtColumns(adapted, imageWidth), doubtCosts(stereo, adapted)};
    doubts.erase(std::remove(doubts.begin(), doubts.end(), ""), doubts.end());
    return doubts;
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
    // Block matching leaves stray values of other rows beside the columns that it can match.
    const cv::Range columns = matchableColumns(adapted, left.cols);
    match.measured.colRange(0, columns.start).setTo(0);
    match.measured.colRange(columns.end, left.cols).setTo(0);
    if (!seen.empty())
        match.measured &= reduce(seen, scale) == 255;
    return match;
}

}  // namespace tiomipra
