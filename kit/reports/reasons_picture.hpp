// Why pixels were not measured, as a picture.
#ifndef TIOMIPRA_REPORTS_REASONS_PICTURE_HPP
#define TIOMIPRA_REPORTS_REASONS_PICTURE_HPP

#include <opencv2/core/mat.hpp>

#include "files/indexed_png.hpp"

namespace tiomipra {

// `reasons` (`CV_8UC1`, a `Reason` for each pixel) as they are, above a legend of those that there
// are, with their shares: the colour of a pixel is that of its reason, the index its number.
IndexedImage drawReasons(const cv::Mat& reasons);

}  // namespace tiomipra

#endif
