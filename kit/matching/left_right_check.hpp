// Disparities of the right image, and whether those of the left one agree with them.
#ifndef TIOMIPRA_MATCHING_LEFT_RIGHT_CHECK_HPP
#define TIOMIPRA_MATCHING_LEFT_RIGHT_CHECK_HPP

#include <opencv2/core/mat.hpp>

namespace tiomipra {

// Which pixels of the left `disparity` (`CV_32FC1`) have a match that lies within the right image,
// `CV_8UC1`, 255 and 0.
cv::Mat findWithinRight(const cv::Mat& disparity);

// The same for a match where `right` (`CV_8UC1`, same size) is not 0.
cv::Mat findWhereRight(const cv::Mat& disparity, const cv::Mat& right);

// Where the disparity of the left image and that of the right one at the match, rounded to whole
// columns, differ by at most `largest` pixels. What one camera alone sees has no such partner.
//
// @param left   disparity of the left image, `CV_32FC1`; below `smallest` where there is none
// @param right  disparity of the right image, likewise: x of the match is x + disparity
cv::Mat findAgreeing(const cv::Mat& left, const cv::Mat& right, double smallest, double largest);

}  // namespace tiomipra

#endif
