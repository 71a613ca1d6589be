// Removes small regions of a disparity image, as `cv::filterSpeckles` does.
#ifndef VISION_SHARED_SPECKLE_FILTER_HPP
#define VISION_SHARED_SPECKLE_FILTER_HPP

#include <cstdint>
#include <opencv2/core.hpp>
#include <vision/export.hpp>

namespace vision {

// Sets the pixels of `disparities` (CV_16SC1, at most 65535 columns, 2^31 - 1 pixels) to `missing`
// that belong to a region of at most `largestSpeckle` pixels. Neighbours, up, down, left and right,
// belong to the same region if neither is missing and they differ by at most `range` (0 to 65534).
TIOMIPRA_EXPORT void filterSpeckles(cv::Mat& disparities, std::int16_t missing, int largestSpeckle,
                                    int range);

}  // namespace vision

#endif
