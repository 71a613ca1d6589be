// Whether the library matches by kernels of its own or leaves it to OpenCV.
#ifndef VISION_SHARED_MATCHING_KERNELS_HPP
#define VISION_SHARED_MATCHING_KERNELS_HPP

#include <string>
#include <vision/export.hpp>

namespace vision {

// "own (avx2)", or "OpenCV" and why. Found out by the first call, or the first that matches;
// it takes a few milliseconds.
TIOMIPRA_EXPORT std::string describeMatchingKernels();

}  // namespace vision

#endif
