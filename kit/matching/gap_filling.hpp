// Disparities for pixels that have none, from those around them.
#ifndef TIOMIPRA_MATCHING_GAP_FILLING_HPP
#define TIOMIPRA_MATCHING_GAP_FILLING_HPP

#include <opencv2/core/mat.hpp>

namespace tiomipra {

// Gives the pixels of a row that are not `measured` (`CV_8UC1`) the disparities on the straight
// line between those at the two ends of their gap, where these differ by at most `largest` pixels:
// both ends are on one surface then. Gaps of at most 32 pixels, as longer ones may hide something
// in front of it. Only where `fillable` (`CV_8UC1`) is not 0; what is filled becomes measured. Gaps
// at the ends of rows have one end, and stay.
void fillGaps(cv::Mat& disparity, cv::Mat& measured, const cv::Mat& fillable, double largest);

// The median of the `size` x `size` pixels around each measured one, where a pixel that is not
// measured counts as the next measured one to its left, or in a row without any as the one above;
// the others stay as they are. `size` is 3 or 5.
cv::Mat smoothByMedian(const cv::Mat& disparity, const cv::Mat& measured, int size);

}  // namespace tiomipra

#endif
