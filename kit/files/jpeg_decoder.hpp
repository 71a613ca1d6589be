// JPEG images by libjpeg. OpenCV's decoder does the same, but keeps to itself what libjpeg says
// about damaged files, and fills what is missing with grey.
#ifndef TIOMIPRA_FILES_JPEG_DECODER_HPP
#define TIOMIPRA_FILES_JPEG_DECODER_HPP

#include <opencv2/core/types.hpp>
#include <string>

#include "files/image_codecs.hpp"

namespace tiomipra {

// Width and height as the header says; 0x0 where it is none.
cv::Size2l sizeOfJpeg(const std::string& file);

// `CV_8UC1` or `CV_8UC3` (BGR), to the last bit what OpenCV gives; nothing but a complaint for four
// colours (CMYK). Throws `std::bad_alloc`.
DecodedImage decodeJpeg(const std::string& file);

}  // namespace tiomipra

#endif
