// What OpenCV's matchers can compute without leaving their buffers and number formats, which they
// don't check themselves.
#ifndef VISION_MATCHER_LIMITS_HPP
#define VISION_MATCHER_LIMITS_HPP

#include <opencv2/core.hpp>
#include <string>

namespace vision {

// The matchers' parameters that depend on the resolution.
struct AdaptedParameters {
    int minDisparity;
    int disparityNumber;
    int windowSize;
    int speckleWindowSize;
    int speckleRange;
};

// What keeps images of `size` from being matched with these parameters, naming item, value and
// rule; empty when nothing does. What OpenCV refuses itself is not looked for.
std::string complaintAboutBlockMatching(const AdaptedParameters& parameters, const cv::Size& size);
std::string complaintAboutSemiGlobalMatching(const AdaptedParameters& parameters,
                                             const cv::Size& size);

}  // namespace vision

#endif
