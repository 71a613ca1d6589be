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
    cv::Mat reasons;   // `CV_8UC1`, a `Reason` for each pixel
};

// `stereo` is the object that gave the match.
DepthMap computeDepthMap(const Match& match, const vision::Stereo& stereo);

// How pixels, depths and points of a rectified left image belong together: pixel (x, y) at depth Z
// is the point X = (x - centre.x) Z / focalLength, Y = (y - centre.y) Z / focalLength, and Z is
// focalLength * baseline / (disparity - disparityAtInfinity).
struct DepthCamera {
    double focalLength = 0;          // pixels
    cv::Point2d centre;              // the principal point, pixels
    double baseline = 0;             // unit of the calibrations
    double disparityAtInfinity = 0;  // the left principal point's x minus the right one's, pixels
};

// Of matched images of `size`; `stereo` is the object that gave the match.
DepthCamera depthCamera(const vision::Stereo& stereo, const cv::Size& size);

}  // namespace tiomipra

#endif
