#include "matching/depth_map.hpp"

#include <opencv2/core.hpp>

#include "matching/measured_pixels.hpp"

namespace tiomipra {

DepthMap computeDepthMap(const Match& match, const vision::Stereo& stereo) {
    DepthMap map;
    map.points = stereo.computeDepth(match.disparity);
    map.measured = match.measured & findPoints(map.points);
    cv::extractChannel(map.points, map.depth, 2);
    return map;
}

}  // namespace tiomipra
