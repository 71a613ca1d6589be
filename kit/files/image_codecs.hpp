// What the module "images" offers: the image formats of OpenCV's imgcodecs, libjpeg and libtiff.
#ifndef TIOMIPRA_FILES_IMAGE_CODECS_HPP
#define TIOMIPRA_FILES_IMAGE_CODECS_HPP

#include <opencv2/core/mat.hpp>
#include <string>
#include <vector>

#include "files/image_headers.hpp"

namespace tiomipra {

enum class Pixels {
    eightBit,  // grey or BGR, 8 bits; deeper images are reduced to that
    asStored   // grey or BGR, 8, 16 or 32 bits as in the file
};

struct DecodedImage {
    cv::Mat pixels;         // empty if the file is no image
    std::string complaint;  // what the decoder says is wrong with the file; empty if nothing is
};

struct ImageCodecs {
    // Width and height of a JPEG or TIFF image, or of its tiles where these are larger, as its
    // header says; 0x0 where it is none.
    cv::Size2l (*sizeOf)(const std::string& file, ImageFormat format);
    // All formats but PFM. Throws `std::bad_alloc` or `cv::Exception` where memory ran out.
    DecodedImage (*decode)(const std::string& file, ImageFormat format, Pixels pixels);
    // `extension` chooses the format, as in ".png"; `jpegQuality` is 0 to 100.
    std::vector<unsigned char> (*encode)(const std::string& extension, const cv::Mat& image,
                                         int jpegQuality);
};

// The symbol in the module: a constant `ImageCodecs`.
constexpr auto imageCodecsSymbol = "tiomipraImageCodecs";

}  // namespace tiomipra

#endif
