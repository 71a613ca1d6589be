// A cloud of points as a page: to turn around, to fly through and to measure in.
#ifndef TIOMIPRA_PAGES_CLOUD_PAGE_HPP
#define TIOMIPRA_PAGES_CLOUD_PAGE_HPP

#include <opencv2/core/mat.hpp>
#include <string>

#include "base/provenance.hpp"
#include "base/quantities.hpp"
#include "matching/depth_map.hpp"

namespace tiomipra {

// All images have the same size.
struct CloudContent {
    std::string name;     // of the pair
    cv::Mat image;        // `CV_8UC1` or `CV_8UC3`, the left one
    cv::Mat disparity;    // `CV_32FC1`, finite where `measured` is not 0
    cv::Mat measured;     // `CV_8UC1`, 255 where there is a point
    DepthCamera camera;   // makes the points of the disparities
    Interval colours;     // the depths that the colours span
    Provenance madeWith;  // with the unit of lengths
};

// The page holds disparities in 16 bits, in the finest steps of a power of two in which all of them
// fit. That is exact where all are multiples of 1/16 pixel, as those of the matchers, and within
// 4095 pixels; others are rounded to a step.
std::string composeCloudPage(const CloudContent& content);

}  // namespace tiomipra

#endif
