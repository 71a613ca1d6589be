// What was found in a pair of images.
#ifndef TIOMIPRA_MATCHING_PAIR_MEASUREMENT_HPP
#define TIOMIPRA_MATCHING_PAIR_MEASUREMENT_HPP

#include <opencv2/core/mat.hpp>
#include <optional>
#include <string>

#include "base/provenance.hpp"
#include "base/statistics.hpp"
#include "matching/depth_map.hpp"
#include "matching/unmeasured.hpp"

namespace tiomipra {

enum class Quantity { disparity, depth };

// "disparity" or "depth".
std::string nameOf(Quantity quantity);

// What a 16-bit PNG holds of the measured values.
struct PngContent {
    double step = 0;     // what 1 in the file stands for: pixels, or the unit of the calibrations
    int outOfRange = 0;  // measured values that it can't hold
};

struct PairMeasurement {
    Quantity quantity = Quantity::disparity;
    cv::Size size;                      // of the image that was matched
    Statistics statistics;              // of the measured values
    ReasonCounts reasons{};             // of pixels, for each `Reason`
    std::optional<PngContent> png;      // nothing when there is no such file
    std::optional<DepthCamera> camera;  // nothing for pairs that came rectified
    std::optional<std::string> unit;    // of lengths, as in `Rig`
    Parameters matcher;                 // as they were fitted to the size of the images
};

// The step of disparities in a 16-bit PNG, in pixels.
constexpr double disparityPngStep = 1. / 256;

// The step of depths in a 16-bit PNG: a millimetre where `unit` is known to be the metre.
// Otherwise, as the unit may be the millimetre as well, the smallest power of ten, from a
// thousandth on, of which 65535 reach `maxDepth`.
double depthPngStep(const std::optional<std::string>& unit, double maxDepth);

// Of the `values` (`CV_32FC1`) where `reasons` (`CV_8UC1`, same size) is `Reason::none`; all else
// is left to be added.
PairMeasurement measure(Quantity quantity, const cv::Mat& values, const cv::Mat& reasons);

}  // namespace tiomipra

#endif
