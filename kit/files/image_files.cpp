#include "files/image_files.hpp"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <string_view>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "files/codec_modules.hpp"
#include "files/input_files.hpp"

namespace tiomipra {
namespace {

const ImageCodecs& codecs() {
    static const auto* const found =
        static_cast<const ImageCodecs*>(findInModule("images", imageCodecsSymbol));
    return *found;
}

unsigned byteAt(std::string_view file, std::size_t offset) {
    return static_cast<unsigned char>(file[offset]);
}

std::size_t bigEndian(std::string_view file, std::size_t offset, std::size_t count) {
    std::size_t value = 0;
    for (std::size_t i = offset; i < offset + count; ++i)
        value = value << 8U | byteAt(file, i);
    return value;
}

// The decoder fills the missing part of a JPEG image with grey and calls that a success. So look
// for the end marker, segment by segment, as previews inside of segments have markers of their own.
bool isWholeJpeg(std::string_view file) {
    constexpr unsigned restart0 = 0xD0, restart7 = 0xD7, endOfImage = 0xD9, stuffed = 0;
    std::size_t offset = 2;
    while (offset + 2 <= file.size()) {
        const unsigned marker = byteAt(file, offset + 1);
        const bool isMarker = byteAt(file, offset) == 0xFF && marker != stuffed && marker != 0xFF;
        if (isMarker && marker == endOfImage)
            return true;
        if (!isMarker || (marker >= restart0 && marker <= restart7))
            ++offset;  // within the pixels
        else if (offset + 4 <= file.size())
            offset += 2 + bigEndian(file, offset + 2, 2);
        else
            return false;
    }
    return false;
}

bool isWholePng(std::string_view file) {
    constexpr std::size_t signature = 8, lengthAndName = 8, checksum = 4;
    std::size_t offset = signature;
    while (offset + lengthAndName + checksum <= file.size()) {
        if (file.substr(offset + 4, 4) == "IEND")
            return true;
        offset += lengthAndName + bigEndian(file, offset, 4) + checksum;
    }
    return false;
}

bool isCutOff(std::string_view file) {
    return (startsWith(file, "\xFF\xD8\xFF") && !isWholeJpeg(file)) ||
           (startsWith(file, "\x89PNG") && !isWholePng(file));
}

}  // namespace

cv::Mat readImage(const std::string& path, Pixels pixels) {
    const std::string file = readFile(path);
    if (isCutOff(file))
        throw InputError(quote(path) + " is cut off: its end is missing");
    cv::Mat image = file.empty() ? cv::Mat() : codecs().decode(file, pixels);
    if (image.empty())
        throw InputError(quote(path) + " is not an image, or is damaged");
    return image;
}

std::string encodeImage(const std::string& name, const cv::Mat& image) {
    const auto bytes = codecs().encode(extensionOf(name), image);
    return {bytes.begin(), bytes.end()};
}

NewFile newImage(const std::string& path, const cv::Mat& image) {
    return {path, encodeImage(path, image)};
}

void writeImage(const std::string& path, const cv::Mat& image) {
    writeTogether({newImage(path, image)});
}

cv::Mat toGrey(const cv::Mat& image) {
    if (image.channels() == 1)
        return image;
    cv::Mat grey;
    cv::cvtColor(image, grey, cv::COLOR_BGR2GRAY);
    return grey;
}

}  // namespace tiomipra
