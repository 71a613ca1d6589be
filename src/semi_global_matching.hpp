// Semi-global matching, to the last bit as `cv::StereoSGBM` does it in its modes MODE_SGBM and
// MODE_HH.
#ifndef VISION_SEMI_GLOBAL_MATCHING_HPP
#define VISION_SEMI_GLOBAL_MATCHING_HPP

#include <opencv2/core.hpp>

#include "instruction_set.hpp"

namespace vision {

// As `cv::StereoSGBM` names them; `fullDP` stands for MODE_HH.
struct SemiGlobalMatching {
    int windowSize;
    int minDisparity;
    int disparityNumber;
    int preFilterCap;
    int uniquenessRatio;
    int speckleWindowSize;
    int speckleRange;
    int P1;
    int P2;
    int disp12MaxDiff;
    bool fullDP;
};

// Whether `matchSemiGlobally` takes images of `size`: something can be matched, and the sums over
// a row of the window fit 16 bits. What `complaintAboutSemiGlobalMatching` complains about is not
// looked for.
bool canMatchSemiGlobally(const SemiGlobalMatching& settings, const cv::Size& size);

// Whether that is faster than `cv::StereoSGBM`: where there are vectors that saturate.
bool isSemiGlobalFasterThanOpenCv();

// The disparities of `left` and `right` (CV_8UC1, same size) in sixteenths of a pixel as CV_16SC1,
// those not found sixteen below the smallest. The processor must have `instructionSet`.
cv::Mat matchSemiGlobally(const cv::Mat& left, const cv::Mat& right,
                          const SemiGlobalMatching& settings,
                          InstructionSet instructionSet = findInstructionSet());

// The same by `cv::StereoSGBM`.
cv::Mat matchSemiGloballyByOpenCv(const cv::Mat& left, const cv::Mat& right,
                                  const SemiGlobalMatching& settings);

}  // namespace vision

#endif
