// What `disparity` and `depth` have in common: an image of values in each format that is asked for.
#ifndef TIOMIPRA_COMMANDS_VALUE_IMAGES_HPP
#define TIOMIPRA_COMMANDS_VALUE_IMAGES_HPP

#include <opencv2/core/mat.hpp>
#include <string>

#include "matching/pair_measurement.hpp"
#include "options/matching_options.hpp"
#include "runs/batch.hpp"

namespace tiomipra {

struct ValueImage {
    Quantity quantity = Quantity::disparity;
    cv::Mat values;      // `CV_32FC1`
    cv::Mat measured;    // `CV_8UC1`, 255 where there is a value
    cv::Mat reasons;     // `CV_8UC1`, a `Reason` for each pixel
    cv::Mat confidence;  // `CV_8UC1`, or empty unless it is asked for
    std::string unit;    // for a picture's title
    double pngStep = disparityPngStep;
};

// Writes the images of the pair `name` that `options` ask for to `files`, and says what was
// measured.
PairMeasurement writeValues(const std::string& name, const ValueImage& image,
                            const MatchingOptions& options, PairFiles& files);

}  // namespace tiomipra

#endif
