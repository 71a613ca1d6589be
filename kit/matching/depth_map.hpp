// From disparities to depths and points.
#ifndef TIOMIPRA_MATCHING_DEPTH_MAP_HPP
#define TIOMIPRA_MATCHING_DEPTH_MAP_HPP

#include <opencv2/core/mat.hpp>
#include <vision/stereo.hpp>

#include "matching/pair_matcher.hpp"

namespace tiomipra {

// What was measured, of which the depth is within the maximum. All images have the same size.
struct DepthMap {
    cv::Mat points;    // `CV_32FC3`
    cv::Mat depth;     // `CV_32FC1`, their Z
    cv::Mat measured;  // `CV_8UC1`, 255 where there is a point
};

// `stereo` is the object that gave the match.
DepthMap computeDepthMap(const Match& match, const vision::Stereo& stereo);

}  // namespace tiomipra

#endif
