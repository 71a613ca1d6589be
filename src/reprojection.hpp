// From disparity to points within the measured range, in one pass.
#ifndef VISION_REPROJECTION_HPP
#define VISION_REPROJECTION_HPP

#include <opencv2/core.hpp>

#include "instruction_set.hpp"

namespace vision {

// The points of `disparity` (CV_32FC1, pixels) as CV_32FC3 of the same size: to the last bit what
// `cv::reprojectImageTo3D` gives with the 4x4 CV_32FC1 matrix `reprojectionMatrix`, where points
// with Z > `maxDepth` or Z < 0, and those with a disparity below `minDisparity`, become (0, 0, 0).
// The processor must have `instructionSet`. Throws what OpenCV throws, for an empty disparity too.
cv::Mat reproject(const cv::Mat& disparity, const cv::Mat& reprojectionMatrix, float maxDepth,
                  float minDisparity, InstructionSet instructionSet = findInstructionSet());

}  // namespace vision

#endif
