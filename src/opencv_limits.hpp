// Limits of OpenCV's matchers that they don't check themselves: beyond them, they read or write
// outside of their buffers, or their numbers overflow.
#ifndef VISION_OPENCV_LIMITS_HPP
#define VISION_OPENCV_LIMITS_HPP

#include <opencv2/core.hpp>
#include <string>

#include "shared/adaptation.hpp"

namespace vision {

// The limit that matching images of `size` with these parameters would break, naming item, value
// and rule; empty when it breaks none. What OpenCV refuses itself is not looked for.
std::string complaintAboutBlockMatching(const AdaptedParameters& parameters, const cv::Size& size);
std::string complaintAboutSemiGlobalMatching(const AdaptedParameters& parameters,
                                             const cv::Size& size);

}  // namespace vision

#endif
