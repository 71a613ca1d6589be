// What OpenCV's matchers can compute without leaving their buffers and number formats, which they
// don't check themselves.
#ifndef VISION_OPENCV_LIMITS_HPP
#define VISION_OPENCV_LIMITS_HPP

#include <opencv2/core.hpp>
#include <string>

#include "shared/adaptation.hpp"

namespace vision {

// What keeps images of `size` from being matched with these parameters, naming item, value and
// rule; empty when nothing does. What OpenCV refuses itself is not looked for.
std::string complaintAboutBlockMatching(const AdaptedParameters& parameters, const cv::Size& size);
std::string complaintAboutSemiGlobalMatching(const AdaptedParameters& parameters,
                                             const cv::Size& size);

}  // namespace vision

#endif
