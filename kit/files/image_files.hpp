// Reading and writing images.
#ifndef TIOMIPRA_FILES_IMAGE_FILES_HPP
#define TIOMIPRA_FILES_IMAGE_FILES_HPP

#include <opencv2/core/mat.hpp>
#include <string>

#include "files/image_codecs.hpp"
#include "files/output_files.hpp"

namespace tiomipra {

// An image with 1 or 3 (BGR) channels, in the orientation of the sensor: rotation tags are ignored.
// Throws `InputError` that names the file when it can't be read, is no image or is cut off.
cv::Mat readImage(const std::string& path, Pixels pixels = Pixels::eightBit);

// The bytes of a file with an image; the extension of its `name` chooses the format: 8 or 16 bits
// as PNG, 8 bits as JPEG, 8, 16 or 32 bits as TIFF.
std::string encodeImage(const std::string& name, const cv::Mat& image);

// Such a file.
NewFile newImage(const std::string& path, const cv::Mat& image);

// Writes it. Throws `InputError` that names the file when it can't be written.
void writeImage(const std::string& path, const cv::Mat& image);

// An image as `readImage` gives it in grey; shares its pixels if it has one channel.
cv::Mat toGrey(const cv::Mat& image);

}  // namespace tiomipra

#endif
