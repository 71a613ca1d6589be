// What the module "filters" offers.
#ifndef TIOMIPRA_MATCHING_EDGE_FILTER_MODULE_HPP
#define TIOMIPRA_MATCHING_EDGE_FILTER_MODULE_HPP

#include <opencv2/core/mat.hpp>

namespace tiomipra {

// `left` and `right` are disparities in sixteenths of a pixel, those of the right image with the
// opposite sign.
using EdgeFilter = void(const cv::Mat& left, const cv::Mat& right, const cv::Mat& image,
                        cv::Mat& disparity, cv::Mat& confidence);

}  // namespace tiomipra

#endif
