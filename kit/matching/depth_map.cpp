#include "matching/depth_map.hpp"

#include <opencv2/core.hpp>

#include "matching/measured_pixels.hpp"
#include "matching/unmeasured.hpp"
#include "rigs/rig_geometry.hpp"

namespace tiomipra {

DepthMap computeDepthMap(const Match& match, const vision::Stereo& stereo) {
    DepthMap map;
    map.points = stereo.computeDepth(match.disparity);
    const cv::Mat hasPoint = findPoints(map.points);
    map.measured = match.measured & hasPoint;
    map.reasons = match.reasons.clone();
    reject(map.reasons, hasPoint, Reason::outsideOfRange);
    cv::extractChannel(map.points, map.depth, 2);
    return map;
}

DepthCamera depthCamera(const vision::Stereo& stereo, const cv::Size& size) {
    const auto [wholeLeft, wholeRight] = stereo.getCalibrations();
    const vision::Calibration left = wholeLeft.scaleTo(size.width, size.height);
    const vision::Calibration right = wholeRight.scaleTo(size.width, size.height);
    const cv::Mat& projection = left.projectionMatrix;
    return {projection.at<float>(0, 0),
            {projection.at<float>(0, 2), projection.at<float>(1, 2)},
            baselineOf(left, right).x,
            disparityModel(left, right).atInfinity};
}

}  // namespace tiomipra
