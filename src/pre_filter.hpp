// The horizontal slope of an image, as `cv::StereoBM` matches it.
#ifndef VISION_PRE_FILTER_HPP
#define VISION_PRE_FILTER_HPP

#include <cstdint>
#include <opencv2/core.hpp>

namespace vision {

// Sobel's horizontal derivative of `image` (CV_8UC1), within -`cap` and `cap`, plus `cap`: CV_8SC1,
// 0 to 126 for caps up to 63. The first and the last column are `cap`, and so is the last row if
// their number is odd. Each row is `padding` pixels longer than the image; they repeat the last.
// `image` has two columns and rows or more.
cv::Mat filterSlopes(const cv::Mat& image, int cap, int padding);

// The same of a row of `width` pixels between two others. `width` is 2 or more.
void filterSlopes(const std::uint8_t* above, const std::uint8_t* row, const std::uint8_t* below,
                  int width, int cap, std::int8_t* filtered);

}  // namespace vision

#endif
