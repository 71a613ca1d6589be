#include "matching/matcher_setup.hpp"

#include <algorithm>
#include <cmath>
#include <opencv2/core.hpp>
#include <stdexcept>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "matching/matcher_parameters.hpp"
#include "matching/matcher_search.hpp"
#include "rigs/disparity_model.hpp"
#include "rigs/rectifier.hpp"

namespace tiomipra {
namespace {

using vision::Stereo;
namespace names = parameter_names;

// Smaller ones hold too little texture to tell places apart, and block matching refuses them.
constexpr int smallestWindow = 5;

// The setting whose depths have a suffix, "" if none has.
std::string settingInMetres(const MatcherSettings& settings) {
    if (settings.range && settings.range->unit == metres)
        return names::range;
    return settings.maxDepth && settings.maxDepth->unit == metres ? names::maxDepth : "";
}

std::string describeOwnUnit(const Rig& rig) {
    if (rig.cameras)
        return "the baseline in your own unit, as it had none";
    const std::string unit = rig.unit->empty()
                                 ? "your own unit, as the size of the board's squares had none"
                                 : quote(*rig.unit);
    return fmt::format("{} in {}", quote(rig.leftFile), unit);
}

void requireUnit(const MatcherSettings& settings, const Rig& rig) {
    const std::string setting = settingInMetres(settings);
    if (setting.empty() || rig.unit.value_or(metres) == metres)
        return;
    refuseSetting(settings, setting,
                  fmt::format("is in metres, as it has a suffix, {}; must be in that unit, without "
                              "a suffix",
                              describeOwnUnit(rig)));
}

[[noreturn]] void refuseFarthest(const MatcherSettings& settings, double depth,
                                 const std::string& problem) {
    const std::string what = fmt::format("{}: {}", digits(depth), problem);
    if (settings.maxDepth)
        refuseSetting(settings, names::maxDepth, what);
    if (settings.range)
        refuseSetting(settings, names::range, "up to " + what);
    throw SettingError("the default maximum depth " + what);
}

// Sets the maximum depth and, with it, the minimum disparity.
void setFarthest(Stereo& stereo, const Rig& rig, const MatcherSettings& settings) {
    const auto farthest = farthestDepth(settings);
    const double depth = farthest ? farthest->value : Stereo().getMaxDepth();
    const double disparity = disparityModel(rig.left, rig.right).disparityAt(depth);
    if (disparity > rig.left.width)
        refuseFarthest(settings, depth,
                       fmt::format("a point there has a disparity of {} pixels, must be at most "
                                   "the calibrated width, {}; give range or max-depth in the "
                                   "unit of the calibrations",
                                   digits(disparity), rig.left.width));
    try {
        stereo.setMaxDepth(static_cast<float>(depth));
        stereo.setCalibrations(rig.left, rig.right);
    } catch (const std::range_error& error) {
        refuseFarthest(settings, depth, error.what());
    }
}

// Throws unless the range starts where this object and rig can measure.
void requireNearest(const Stereo& stereo, const Rig& rig, const MatcherSettings& settings) {
    const double depth = settings.range->nearest;
    if (depth >= stereo.getMaxDepth())
        refuseSetting(settings, names::range,
                      fmt::format("from {} must start nearer than max-depth, {}", digits(depth),
                                  digits(stereo.getMaxDepth())));
    const DisparityModel model = disparityModel(rig.left, rig.right);
    const double disparity = model.disparityAt(depth);
    if (std::ceil(disparity) >= rig.left.width)
        refuseSetting(settings, names::range,
                      fmt::format("from {}: a point there has a disparity of {} pixels, must be "
                                  "less than the calibrated width, {}; the nearest depth possible "
                                  "is {}",
                                  digits(depth), digits(disparity), rig.left.width,
                                  digits(model.depthAt(rig.left.width - 1))));
}

// The smallest disparity number such that `largest`, in pixels of the full size, is within the
// search from `first`, in those of the reduced one, once the library has adapted it to the scale.
int disparityNumberFor(double largest, int first, int scale) {
    constexpr int step = 16;
    const int count = std::max(1, static_cast<int>(std::ceil(largest / scale)) - first + 1);
    return (count + step - 1) / step * step + step * vision::pyramidLevel(scale);
}

void setNearest(Stereo& stereo, const Rig& rig, const MatcherSettings& settings) {
    requireNearest(stereo, rig, settings);
    const int scale = settings.scale.value_or(1);
    const double disparity =
        disparityModel(rig.left, rig.right).disparityAt(settings.range->nearest);
    const int first = adaptToWidth(stereo, std::max(1, rig.left.width / scale)).minDisparity;
    stereo.setDisparityNumber(disparityNumberFor(disparity, first, scale));
}

// The costs of semi-global matching stay the same relative to each other.
void enlargeWindow(Stereo& stereo, int windowSize) {
    const double ratio = static_cast<double>(windowSize) / stereo.getWindowSize();
    stereo.setP1(cvRound(stereo.getP1() * ratio * ratio));
    stereo.setP2(cvRound(stereo.getP2() * ratio * ratio));
    stereo.setWindowSize(windowSize);
}

// Both return what they changed and why; nothing if nothing had to be.
std::optional<std::string> fitSpeckleRange(Stereo& stereo, int factor) {
    const int range = stereo.getSpeckleRange();
    if (range <= 0 || range >= factor)
        return std::nullopt;
    stereo.setSpeckleRange(factor);
    return fmt::format(
        "speckle-range is {0} instead of {1}, as it would come down to 0 and remove nearly "
        "everything at 1/{0} of the size",
        factor, range);
}

std::optional<std::string> fitWindow(Stereo& stereo, int factor) {
    const int size = stereo.getWindowSize();
    const int smallest = smallestWindow + factor;
    if (size >= smallest)
        return std::nullopt;
    enlargeWindow(stereo, smallest);
    return fmt::format(
        "window-size is {} instead of {}, and p1 and p2 grow with its area, as it would come down "
        "to {} at 1/{} of the size",
        smallest, size, size - factor, factor);
}

}  // namespace

std::unique_ptr<Stereo> makeStereo(const MatcherSettings& settings, const Rig& rig) {
    requireUnit(settings, rig);
    requireUsable(rig);
    auto stereo = makeRectifier(rig.left, rig.right);
    setFarthest(*stereo, rig, settings);
    if (settings.range)
        setNearest(*stereo, rig, settings);
    applyParameters(*stereo, settings);
    return stereo;
}

std::unique_ptr<Stereo> makeStereo(const MatcherSettings& settings, const cv::Size& size) {
    if (settings.range || settings.maxDepth)
        refuseSetting(
            settings, settings.range ? names::range : names::maxDepth,
            "needs calibrations, must not be given for images that are rectified already");
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

std::unique_ptr<Stereo> makeStereo(const MatcherSettings& settings, const std::optional<Rig>& rig,
                                   const cv::Size& size) {
    return rig ? makeStereo(settings, *rig) : makeStereo(settings, size);
}

void setDisparities(MatcherSettings& settings, double smallest, double largest) {
    const int scale = settings.scale.value_or(1);
    const int first = cvFloor(smallest);
    settings.range.reset();
    settings.values[names::minDisparity] = first;
    settings.values[names::disparityNumber] = disparityNumberFor(largest, first / scale, scale);
}

bool mustTrustUnit(const MatcherSettings& settings, const Rig& rig) {
    return !rig.unit && !settingInMetres(settings).empty();
}

std::vector<std::string> fitToWidth(Stereo& stereo, const MatchingSteps& steps, int imageWidth) {
    std::vector<std::string> changes;
    const int factor = reductionFactor(stereo, imageWidth);
    if (factor < 2)
        return changes;
    if (const auto change = fitSpeckleRange(stereo, factor))
        changes.push_back(*change);
    const auto change = fitWindow(stereo, factor);
    if (change && usesWindow(stereo, steps))
        changes.push_back(*change);
    return changes;
}

}  // namespace tiomipra
