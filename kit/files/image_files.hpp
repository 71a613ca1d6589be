// Reading and writing images.
#ifndef TIOMIPRA_FILES_IMAGE_FILES_HPP
#define TIOMIPRA_FILES_IMAGE_FILES_HPP

#include <cstddef>
#include <opencv2/core/mat.hpp>
#include <string>

#include "base/notices.hpp"
#include "files/image_codecs.hpp"
#include "files/output_files.hpp"

namespace tiomipra {

// Which files are taken for images.
struct ImageLimits {
    std::size_t maxPixels = 100'000'000;  // width times height
    bool acceptsDamaged = false;          // with whatever the decoder fills in
};

// Throws `InputError` that names `file` and both numbers when `size` is beyond the limits.
void requireFewPixels(const std::string& file, const cv::Size2l& size, const ImageLimits& limits);

// An image with 1 or 3 (BGR) channels, in the orientation of the sensor: rotation tags are ignored.
// Its size is known, and within the limits, before it is decoded. Throws `InputError` that names
// the file when it can't be read, is no image of a known format, too large, damaged or cut off. A
// notice names a damaged file that is accepted.
cv::Mat readImage(const std::string& path, Pixels pixels = Pixels::eightBit,
                  const ImageLimits& limits = {}, const Notify& notify = ignoreNotice);

// The bytes of a file with an image; the extension of its `name` chooses the format: 8 or 16 bits
// as PNG, 8 bits as JPEG of a quality from 0 to 100, 8, 16 or 32 bits as TIFF.
std::string encodeImage(const std::string& name, const cv::Mat& image, int jpegQuality = 95);

// Such a file.
NewFile newImage(const std::string& path, const cv::Mat& image);

// Writes it. Throws `InputError` that names the file when it can't be written.
void writeImage(const std::string& path, const cv::Mat& image);

// An image as `readImage` gives it in grey; shares its pixels if it has one channel.
cv::Mat toGrey(const cv::Mat& image);

}  // namespace tiomipra

#endif
