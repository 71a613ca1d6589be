// Decides whether the library's own kernels may stand in for OpenCV's matchers.
#ifndef VISION_MATCHING_KERNELS_HPP
#define VISION_MATCHING_KERNELS_HPP

namespace vision {

// Whether they may: OpenCV is of the version that they were compared with at length, it gives the
// same results for a few small images, and the environment does not say TIOMIPRA_KERNELS=opencv.
// Found out once.
bool mayUseOwnKernels();

}  // namespace vision

#endif
