// What the module "filters" offers.
#ifndef TIOMIPRA_MATCHING_EDGE_FILTER_MODULE_HPP
#define TIOMIPRA_MATCHING_EDGE_FILTER_MODULE_HPP

#include <opencv2/core/mat.hpp>
#include <vector>

namespace tiomipra {

// Smooths each of `values` (`CV_32FC1`) by weighted least squares, not across edges of `image`.
using EdgeSmoother = void(const cv::Mat& image, std::vector<cv::Mat>& values);

}  // namespace tiomipra

#endif
