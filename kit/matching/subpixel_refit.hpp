// Disparities to a fraction of a pixel.
#ifndef TIOMIPRA_MATCHING_SUBPIXEL_REFIT_HPP
#define TIOMIPRA_MATCHING_SUBPIXEL_REFIT_HPP

#include <opencv2/core/mat.hpp>

namespace tiomipra {

// Finds anew what lies behind the point of `disparity` (`CV_32FC1`) where `measured` (`CV_8UC1`) is
// not 0, for a matched pair (`CV_8UC1`): a fit to the sums of absolute differences of the
// horizontal gradients around each pixel at the nearest whole disparity and at those beside it.
// The fit is equiangular, as such sums rise in straight lines from their minimum (M. Shimizu and
// M. Okutomi, "Precise sub-pixel estimation on area-based matching", ICCV 2001). A pixel whose
// whole disparity is no minimum of these sums keeps its value.
//
// Semi-global matching draws disparities towards whole numbers, as its costs of changes are for
// whole pixels; these sums know nothing of neighbours.
cv::Mat refitSubpixels(const cv::Mat& disparity, const cv::Mat& measured, const cv::Mat& left,
                       const cv::Mat& right);

}  // namespace tiomipra

#endif
