// What libtiff says of TIFF images that OpenCV decodes.
#ifndef TIOMIPRA_FILES_TIFF_CHECKS_HPP
#define TIOMIPRA_FILES_TIFF_CHECKS_HPP

#include <functional>
#include <opencv2/core/types.hpp>
#include <string>

#include "files/image_codecs.hpp"

namespace tiomipra {

// Width and height of the image, or of its tiles where these are larger; 0x0 where it is none.
cv::Size2l sizeOfTiff(const std::string& file);

// The image that `decode` gives, which is OpenCV, with what libtiff had against the file.
DecodedImage decodeTiff(const std::string& file,
                        const std::function<cv::Mat(const std::string& file)>& decode);

}  // namespace tiomipra

#endif
