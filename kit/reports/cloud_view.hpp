// A picture of a coloured cloud, for people: what the camera did not see from where it stood.
#ifndef TIOMIPRA_REPORTS_CLOUD_VIEW_HPP
#define TIOMIPRA_REPORTS_CLOUD_VIEW_HPP

#include <opencv2/core.hpp>

namespace tiomipra {

// The points (`CV_32FC3`, an image of the left camera) where `measured` (`CV_8UC1`) is not 0, in
// the colours of `image` (`CV_8UC1` or `CV_8UC3`), all of one size, seen from further right and
// above. `CV_8UC3` of that size, dark grey where there is nothing; nearly all points are within it.
// Close neighbours cover what lies between them.
cv::Mat drawCloudView(const cv::Mat& points, const cv::Mat& measured, const cv::Mat& image);

}  // namespace tiomipra

#endif
