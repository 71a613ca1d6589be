// Images at a whole fraction of their size.
#ifndef TIOMIPRA_MATCHING_IMAGE_REDUCTION_HPP
#define TIOMIPRA_MATCHING_IMAGE_REDUCTION_HPP

#include <opencv2/core/mat.hpp>

namespace tiomipra {

// The largest size within `size` of which both sides are multiples of `scale`.
cv::Size divisibleSize(const cv::Size& size, int scale);

// `image` at 1 / `scale` of its size, without the last columns and rows that don't fill a reduced
// pixel. Pixel (x, y) of the result is centred on pixel (scale x, scale y), as the library's
// scaling of calibrations has it; plain area averaging is off by half a block. With a scale of 1 it
// shares the pixels of `image`.
cv::Mat reduce(const cv::Mat& image, int scale);

}  // namespace tiomipra

#endif
