// Which pixels of a disparity or depth image were measured, and what the measured values are.
//
// Masks are `CV_8UC1`, 255 where a pixel was measured and 0 elsewhere.
#ifndef TIOMIPRA_MATCHING_MEASURED_PIXELS_HPP
#define TIOMIPRA_MATCHING_MEASURED_PIXELS_HPP

#include <opencv2/core/mat.hpp>

#include "base/statistics.hpp"

namespace tiomipra {

// The finite pixels of `disparity` (`CV_32FC1`) at or above the smallest disparity that the matcher
// searched: both matchers mark a pixel without a match with a value just below it.
cv::Mat findMatched(const cv::Mat& disparity, int minDisparity);

// The pixels of `image` (`CV_8UC1`) with something to match in the window around them: horizontal
// gradients (Sobel, cut off at `preFilterCap`) whose absolute values sum up to at least
// `textureThreshold`. Block matching applies this rule itself; semi-global matching would give a
// uniform area the disparity of whatever surrounds it.
cv::Mat findTextured(const cv::Mat& image, int windowSize, int preFilterCap, int textureThreshold);

// The pixels of a point image (`CV_32FC3`) that hold a point: not (0, 0, 0), nothing infinite.
cv::Mat findPoints(const cv::Mat& points);

// Of the values (`CV_32FC1`) where `measured` is not 0.
Statistics summarise(const cv::Mat& values, const cv::Mat& measured);

}  // namespace tiomipra

#endif
