// What the first bytes of images say, before anything is decoded.
#ifndef TIOMIPRA_FILES_IMAGE_HEADERS_HPP
#define TIOMIPRA_FILES_IMAGE_HEADERS_HPP

#include <opencv2/core/types.hpp>
#include <string_view>

namespace tiomipra {

// The formats that are read. OpenCV knows many more, whose decoders no file reaches.
enum class ImageFormat { none, bmp, jpeg, pfm, png, pnm, tiff, webp };

// By the first bytes, whatever the file is called. Needs no more than 16 of them.
ImageFormat formatOf(std::string_view file);

// Width and height of BMP, PFM, PNG, PNM and WebP images; 0x0 where the header is none.
cv::Size2l sizeInHeader(std::string_view file, ImageFormat format);

}  // namespace tiomipra

#endif
