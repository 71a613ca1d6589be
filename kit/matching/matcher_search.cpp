#include "matching/matcher_search.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "rigs/disparity_model.hpp"

namespace tiomipra {
namespace {

using vision::AdaptedParameters;
using vision::Stereo;
namespace names = parameter_names;

// The matchers' result is 16-bit fixed-point with 4 fractional bits.
constexpr int disparitySteps = 16;
constexpr int smallestDisparity = std::numeric_limits<std::int16_t>::min() / disparitySteps;
constexpr int largestDisparity = std::numeric_limits<std::int16_t>::max() / disparitySteps;

std::int64_t lastDisparity(const AdaptedParameters& adapted) {
    return std::int64_t{adapted.minDisparity} + adapted.disparityNumber - 1;
}

// Depths in words, with the unit of the rig if it is known.
class DepthText {
  public:
    DepthText(const Rig& rig, double disparityStep)
        : _model(disparityModel(rig.left, rig.right)),
          _unit(rig.unit.value_or("")),
          _step(disparityStep) {}

    std::string length(double length) const {
        return _unit.empty() ? digits(length) : fmt::format("{} {}", digits(length), _unit);
    }

    std::string resolutionAt(double depth) const {
        if (std::isinf(depth))
            return fmt::format("all there is beyond {}",
                               length(_model.depthAt(_model.atInfinity + _step)));
        return fmt::format("{} at {}", length(_model.depthStepAt(depth, _step)), length(depth));
    }

  private:
    DisparityModel _model;
    std::string _unit;
    double _step;
};

// The farthest depth whose disparity is searched and whose points are kept.
double farthestSearched(const Stereo& stereo, const DisparityModel& model, int firstDisparity) {
    const double maxDepth = stereo.getMaxDepth();
    return firstDisparity <= model.atInfinity ? maxDepth
                                              : std::min(maxDepth, model.depthAt(firstDisparity));
}

std::string doubtColumns(const AdaptedParameters& adapted, int imageWidth) {
    const int unmatched = imageWidth - matchableColumns(adapted, imageWidth).size();
    if (2 * unmatched <= imageWidth)
        return "";
    return fmt::format(
        "{} of {} columns of the left image can't be matched, as disparities from {} to {} are "
        "searched; a range that starts farther away (or a smaller disparity-number) leaves more of "
        "them",
        unmatched, imageWidth, adapted.minDisparity, lastDisparity(adapted));
}

std::string doubtDirections(const Stereo& stereo, const MatchingSteps& steps) {
    return isThreeWay(stereo, steps) && stereo.getFullDP()
               ? "three-way is on, so that full-dp, eight directions, has no effect"
               : "";
}

std::string doubtSpeckles(const Stereo& stereo) {
    constexpr int smallest = 4;  // of bm, in sixteenths of a pixel
    const int range = stereo.getSpeckleRange();
    if (stereo.getStereoAlgorithm() != Stereo::BM || stereo.getSpeckleWindowSize() == 0 ||
        range >= smallest)
        return "";
    return fmt::format(
        "speckle-range, {}, is in sixteenths of a pixel with bm, so that slanted surfaces fall "
        "apart into speckles, which are removed; 16 does what 1 does with sgbm",
        range);
}

std::string doubtCosts(const Stereo& stereo, const AdaptedParameters& adapted,
                       const MatchingSteps& steps) {
    if (stereo.getStereoAlgorithm() != Stereo::SGBM)
        return "";
    // The cost of a pixel is the difference of pre-filtered values, bounded by twice the cap, which
    // OpenCV makes odd and at least 15, plus a quarter of the difference of grey values. Costs of a
    // window are summed up, together with P2, in 16 bits that saturate.
    const std::int64_t pixelCost = 2 * (std::max(stereo.getPreFilterCap(), 15) | 1) + 255 / 4;
    const bool hasBlock = isThreeWay(stereo, steps) &&
                          (!usesWindow(stereo, steps) || steps.threeWay >= adapted.windowSize);
    const std::int64_t side = hasBlock ? steps.threeWay : adapted.windowSize;
    const std::int64_t cost = pixelCost * side * side + adapted.P2;
    constexpr int bound = std::numeric_limits<std::int16_t>::max();
    if (cost <= bound)
        return "";
    return fmt::format(
        "sgbm's 16-bit costs can overflow, which gives wrong disparities: {}^2 * (2 * "
        "pre-filter-cap + 63) + p2 = {}^2 * {} + {} = {}, must be at most {}; take a smaller "
        "window, or a preset",
        hasBlock ? names::threeWay : names::windowSize, side, pixelCost, adapted.P2, cost, bound);
}

}  // namespace

int reductionFactor(const Stereo& stereo, int imageWidth) {
    return stereo.getCalibrations().first.width / imageWidth;
}

AdaptedParameters adaptToWidth(const Stereo& stereo, int imageWidth) {
    return vision::adapt(stereo, reductionFactor(stereo, imageWidth));
}

cv::Range matchableColumns(const AdaptedParameters& adapted, int imageWidth) {
    const auto begin =
        static_cast<int>(std::clamp<std::int64_t>(lastDisparity(adapted), 0, imageWidth));
    const int end = imageWidth + std::min(0, adapted.minDisparity);
    return {begin, std::max(end, begin)};
}

std::string explainSearch(const Stereo& stereo, const Rig& rig, int scale) {
    const AdaptedParameters adapted = adaptToWidth(stereo, rig.left.width / scale);
    const int first = scale * adapted.minDisparity;
    const int last = scale * static_cast<int>(lastDisparity(adapted));
    const std::string parameters =
        fmt::format("(min-disparity {}, disparity-number {}, scale {})", stereo.getMinDisparity(),
                    stereo.getDisparityNumber(), scale);
    const DisparityModel model = disparityModel(rig.left, rig.right);
    if (last <= model.atInfinity)
        return fmt::format("no depth is searched {}: its disparities start at {}", parameters,
                           digits(model.atInfinity));
    const double nearest = model.depthAt(last);
    const double farthest = farthestSearched(stereo, model, first);
    const double step = static_cast<double>(scale) / disparitySteps;
    const DepthText depth(rig, step);
    return fmt::format(
        "depths from {} to {} are searched {}; one step of disparity ({} pixels) is {}, {}",
        digits(nearest), depth.length(farthest), parameters, digits(step),
        depth.resolutionAt(nearest), depth.resolutionAt(farthest));
}

void requireMatchable(const Stereo& stereo, int imageWidth) {
    const AdaptedParameters adapted = adaptToWidth(stereo, imageWidth);
    const int first = adapted.minDisparity;
    const std::int64_t last = lastDisparity(adapted);
    const std::string search = fmt::format(
        "disparities from {} to {} are searched (min-disparity, disparity-number)", first, last);
    // One less than the first marks what has no match.
    if (first - 1 < smallestDisparity || last > largestDisparity)
        throw SettingError(
            fmt::format("{}, must be within {} and {}, which is what the matchers' 16-bit results "
                        "can hold; a larger scale reduces them",
                        search, smallestDisparity + 1, largestDisparity));
    if (last >= imageWidth || first <= -imageWidth)
        throw SettingError(
            fmt::format("{}, must be less than the width of the images, {}", search, imageWidth));
}

std::vector<std::string> findDoubts(const Stereo& stereo, const MatchingSteps& steps,
                                    int imageWidth) {
    const AdaptedParameters adapted = adaptToWidth(stereo, imageWidth);
    std::vector<std::string> doubts{steps.fullWidth != 0 ? "" : doubtColumns(adapted, imageWidth),
                                    doubtDirections(stereo, steps), doubtSpeckles(stereo),
                                    doubtCosts(stereo, adapted, steps)};
    doubts.erase(std::remove(doubts.begin(), doubts.end(), ""), doubts.end());
    return doubts;
}

}  // namespace tiomipra
