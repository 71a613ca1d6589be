// Where and by how much disparities are off.
#ifndef TIOMIPRA_MATCHING_ERROR_MAP_HPP
#define TIOMIPRA_MATCHING_ERROR_MAP_HPP

#include <array>
#include <cstddef>
#include <opencv2/core.hpp>
#include <vector>

namespace tiomipra {

// Sizes of the errors of a disparity image, both images as `evaluate` takes them: `CV_32FC1`,
// pixels, NaN where there is no disparity or the true one is not known.
cv::Mat errorSizes(const cv::Mat& disparity, const cv::Mat& truth);

// Where the bins of a histogram end, pixels; the last one holds all beyond.
constexpr std::array<double, 6> errorBinEnds{0.25, 0.5, 1, 2, 4, 8};

// How many errors are up to the first end, above it up to the second one, and so on.
std::array<std::size_t, errorBinEnds.size() + 1> countErrors(const cv::Mat& errors);

// A part of the image.
struct ErrorPlace {
    cv::Rect area;
    double meanError = 0;      // pixels
    double measuredShare = 0;  // of its pixels, those with an error
};

// At most `most` squares that don't overlap, with the largest mean errors; errors above 8 pixels
// count as 8, so that a stray does not outweigh a region. Worst first; none where all is right, or
// less than a quarter is known.
std::vector<ErrorPlace> findWorstPlaces(const cv::Mat& errors, std::size_t most);

}  // namespace tiomipra

#endif
