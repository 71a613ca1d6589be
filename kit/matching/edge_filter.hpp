// Disparities smoothed up to the edges of the image, and how far they can be trusted.
#ifndef TIOMIPRA_MATCHING_EDGE_FILTER_HPP
#define TIOMIPRA_MATCHING_EDGE_FILTER_HPP

#include <opencv2/core/mat.hpp>

namespace tiomipra {

// Loads the module of `filterAlongEdges`, which needs more libraries than all the rest, unless that
// was done. Throws `InputError` when the installation lacks it.
void loadEdgeFilter();

struct FilteredDisparity {
    cv::Mat disparity;  // `CV_32FC1`; any value, or less than the smallest, far from all that count
    cv::Mat confidence;  // `CV_8UC1`, 0 to 255
};

// A weighted least squares fit to the disparities of the left image that may jump where `image` has
// an edge (D. Min and others, "Fast global image smoothing based on weighted least squares", IEEE
// Transactions on Image Processing, 2014). A disparity counts by its confidence, which is none
// where left and right differ by more than 1.5 pixels, and little beside jumps.
//
// The code is in a module of its own, see `loadEdgeFilter`.
//
// @param left, right  disparities of both images, `CV_32FC1`; below `smallest` where there is none
// @param image        the left image, `CV_8UC1` or `CV_8UC3`
FilteredDisparity filterAlongEdges(const cv::Mat& left, const cv::Mat& right, double smallest,
                                   const cv::Mat& image);

}  // namespace tiomipra

#endif
