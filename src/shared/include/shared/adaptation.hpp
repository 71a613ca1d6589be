// The matchers' parameters as they are applied to images smaller than the calibrated size.
#ifndef VISION_SHARED_ADAPTATION_HPP
#define VISION_SHARED_ADAPTATION_HPP

#include <algorithm>
#include <cmath>
#include <vision/stereo.hpp>

#include "shared/truncation.hpp"

namespace vision {

// The parameters that depend on the image size, in pixels of the image that is matched.
struct AdaptedParameters {
    int minDisparity;
    int disparityNumber;
    int windowSize;
    int speckleWindowSize;
    int speckleRange;
    int P1;
    int P2;
};

// How often the image was halved: the base-2 logarithm of the reduction factor, rounded.
inline int pyramidLevel(int reductionFactor) {
    return static_cast<int>(std::round(std::log2(static_cast<double>(reductionFactor))));
}

// Costs grow with the number of pixels in the window. In single precision, which decides to which
// side a product falls that is nearly whole.
inline int adaptPenalty(int penalty, float windowRatio) {
    return truncateToInt(static_cast<float>(penalty) * windowRatio * windowRatio);
}

// What `Stereo::computeDisparity` gives its matcher for an image that is `reductionFactor` times
// narrower than the calibration: calibrated width / image width, an integer division, at least 1.
// The rules stand with `Stereo::computeDisparity`.
inline AdaptedParameters adapt(const Stereo& stereo, int reductionFactor) {
    constexpr int disparityStep = 16;  // Both matchers want a multiple of it, above 0.
    const int disparityNumber =
        stereo.getDisparityNumber() - disparityStep * pyramidLevel(reductionFactor);

    AdaptedParameters adapted{};
    adapted.minDisparity = stereo.getMinDisparity() / reductionFactor;
    adapted.disparityNumber = std::max(disparityNumber, disparityStep);
    adapted.windowSize = stereo.getWindowSize() - (reductionFactor == 1 ? 0 : reductionFactor);
    adapted.speckleWindowSize = stereo.getSpeckleWindowSize() / reductionFactor;
    adapted.speckleRange = stereo.getSpeckleRange() / reductionFactor;

    const float windowRatio =
        static_cast<float>(adapted.windowSize) / static_cast<float>(stereo.getWindowSize());
    adapted.P1 = adaptPenalty(stereo.getP1(), windowRatio);
    adapted.P2 = adaptPenalty(stereo.getP2(), windowRatio);
    return adapted;
}

}  // namespace vision

#endif
