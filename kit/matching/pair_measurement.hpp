// What was found in a pair of images.
#ifndef TIOMIPRA_MATCHING_PAIR_MEASUREMENT_HPP
#define TIOMIPRA_MATCHING_PAIR_MEASUREMENT_HPP

#include <opencv2/core/mat.hpp>
#include <optional>

#include "base/provenance.hpp"
#include "base/statistics.hpp"

namespace tiomipra {

enum class Quantity { disparity, depth };

struct PairMeasurement {
    Quantity quantity = Quantity::disparity;
    cv::Size size;          // of the image that was matched
    Statistics statistics;  // of the measured values
    // Measured values that the 16-bit PNG can't hold; nothing when there is no such file.
    std::optional<int> outOfRangeOfPng;
    Parameters matcher;  // as they were fitted to the size of the images
};

// By what disparities in pixels, or depths, are multiplied in a 16-bit PNG.
double pngFactor(Quantity quantity);

// Of the `values` (`CV_32FC1`) where `measured` (`CV_8UC1`, same size) is not 0; without a PNG and
// the matcher's parameters.
PairMeasurement measure(Quantity quantity, const cv::Mat& values, const cv::Mat& measured);

}  // namespace tiomipra

#endif
