// Block matching, to the last bit as `cv::StereoBM` does it with its Sobel pre-filter on one
// thread.
#ifndef VISION_BLOCK_MATCHING_HPP
#define VISION_BLOCK_MATCHING_HPP

#include <opencv2/core.hpp>

#include "instruction_set.hpp"

namespace vision {

// As `cv::StereoBM` names them; its other parameters have their default values.
struct BlockMatching {
    int windowSize;
    int minDisparity;
    int disparityNumber;
    int preFilterCap;
    int preFilterSize;  // of the pre-filter that is not used
    int textureThreshold;
    int uniquenessRatio;
    int speckleWindowSize;
    int speckleRange;
};

// Whether `matchBlocks` takes images of `size`: `cv::StereoBM` would take them, and the sums over
// the window fit 16 bits. What `complaintAboutBlockMatching` complains about is not looked for.
bool canMatchBlocks(const BlockMatching& settings, const cv::Size& size);

// Whether that is faster than `cv::StereoBM`. Without AVX2 it isn't where OpenCV sums in 16 bits,
// too, and where it does not look for a second match.
bool isFasterThanOpenCv(const BlockMatching& settings, InstructionSet instructionSet);

// The disparities of `left` and `right` (CV_8UC1, same size) in sixteenths of a pixel as CV_16SC1,
// those not found sixteen below the smallest. The processor must have `instructionSet`.
//
// `cv::StereoBM` with a positive minimum disparity writes the matches of columns that only the
// right image has into the first columns of the next row. On one thread it clears all of them but
// those behind the last row that it matches; these are here, too.
cv::Mat matchBlocks(const cv::Mat& left, const cv::Mat& right, const BlockMatching& settings,
                    InstructionSet instructionSet = findInstructionSet());

// The same by `cv::StereoBM`.
cv::Mat matchBlocksByOpenCv(const cv::Mat& left, const cv::Mat& right,
                            const BlockMatching& settings);

}  // namespace vision

#endif
