// What the module "images" offers: the image formats of OpenCV's imgcodecs.
#ifndef TIOMIPRA_FILES_IMAGE_CODECS_HPP
#define TIOMIPRA_FILES_IMAGE_CODECS_HPP

#include <opencv2/core/mat.hpp>
#include <string>
#include <vector>

namespace tiomipra {

enum class Pixels {
    eightBit,  // grey or BGR, 8 bits; deeper images are reduced to that
    asStored   // grey or BGR, 8, 16 or 32 bits as in the file
};

struct ImageCodecs {
    // An empty matrix when `file` is no image.
    cv::Mat (*decode)(const std::string& file, Pixels pixels);
    // `extension` chooses the format, as in ".png".
    std::vector<unsigned char> (*encode)(const std::string& extension, const cv::Mat& image);
};

// The symbol in the module: a constant `ImageCodecs`.
constexpr auto imageCodecsSymbol = "tiomipraImageCodecs";

}  // namespace tiomipra

#endif
