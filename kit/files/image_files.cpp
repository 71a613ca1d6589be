#include "files/image_files.hpp"

#include <algorithm>
#include <limits>
#include <new>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <string_view>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "files/input_files.hpp"
#include "files/modules.hpp"
#include "files/pfm_files.hpp"

namespace tiomipra {
namespace {

const ImageCodecs& codecs() {
    static const auto* const found =
        static_cast<const ImageCodecs*>(findInModule("images", imageCodecsSymbol));
    return *found;
}

// Four bytes, the most significant one first.
std::size_t lengthAt(std::string_view file, std::size_t offset) {
    std::size_t value = 0;
    for (const char byte : file.substr(offset, 4))
        value = value << 8U | static_cast<unsigned char>(byte);
    return value;
}

bool isWholePng(std::string_view file) {
    constexpr std::size_t signature = 8, lengthAndName = 8, checksum = 4;
    std::size_t offset = signature;
    while (offset + lengthAndName + checksum <= file.size()) {
        if (file.substr(offset + 4, 4) == "IEND")
            return true;
        offset += lengthAndName + lengthAt(file, offset) + checksum;
    }
    return false;
}

[[noreturn]] void refuse(const std::string& path, const std::string& complaint = "") {
    throw InputError(fmt::format("{} is not an image, or is damaged{}{}", quote(path),
                                 complaint.empty() ? "" : ": ", complaint));
}

// Three floats for a pixel, and beside them what cameras note, and previews.
std::size_t mostBytes(const ImageLimits& limits) {
    constexpr std::size_t perPixel = 12, beside = std::size_t{64} << 20U;
    constexpr std::size_t most = std::numeric_limits<int>::max();  // what OpenCV can take
    return std::min(most, limits.maxPixels * perPixel + beside);
}

// An image that is not decoded yet.
struct ImageFile {
    std::string path;
    std::string bytes;
    ImageFormat format = ImageFormat::none;
    cv::Size2l size;
};

cv::Size2l sizeOf(const std::string& bytes, ImageFormat format) {
    const bool isOfModule = format == ImageFormat::jpeg || format == ImageFormat::tiff;
    return isOfModule ? codecs().sizeOf(bytes, format) : sizeInHeader(bytes, format);
}

// What is no image is refused by its first bytes, however many follow.
ImageFile readImageFile(const std::string& path, const ImageLimits& limits) {
    const auto checkStart = [&](const std::string& start) {
        if (formatOf(start) == ImageFormat::none)
            refuse(path);
    };
    ImageFile file{path, readFile(path, mostBytes(limits), checkStart), {}, {}};
    file.format = formatOf(file.bytes);
    if (file.format == ImageFormat::png && !isWholePng(file.bytes))
        throw InputError(quote(path) + " is cut off: its end is missing");
    file.size = sizeOf(file.bytes, file.format);
    requireFewPixels(path, file.size, limits);
    return file;
}

[[noreturn]] void refuseWithoutMemory(const ImageFile& file) {
    throw InputError(fmt::format("there is not enough memory left to read {}, {}x{} pixels",
                                 quote(file.path), file.size.width, file.size.height));
}

DecodedImage decode(const ImageFile& file, Pixels pixels) {
    try {
        DecodedImage image = file.format == ImageFormat::pfm
                                 ? DecodedImage{decodePfm(file.bytes), ""}
                                 : codecs().decode(file.bytes, file.format, pixels);
        // Decoders that run out of memory half way say no more than those that meet damage. What
        // they take for a pixel is less than this.
        if (image.pixels.empty() && image.complaint.empty())
            const cv::Mat trial(cv::Size(file.size), CV_32FC4);
        return image;
    } catch (const std::bad_alloc&) {
        refuseWithoutMemory(file);
    } catch (const cv::Exception&) {
        refuseWithoutMemory(file);
    }
}

}  // namespace

void requireFewPixels(const std::string& file, const cv::Size2l& size, const ImageLimits& limits) {
    const auto width = static_cast<std::size_t>(size.width);
    const auto height = static_cast<std::size_t>(size.height);
    if (width > 0 && height > limits.maxPixels / width)
        throw InputError(fmt::format("{} has {}x{} pixels, at most {} are accepted", quote(file),
                                     width, height, limits.maxPixels));
}

cv::Mat readImage(const std::string& path, Pixels pixels, const ImageLimits& limits,
                  const Notify& notify) {
    const DecodedImage image = decode(readImageFile(path, limits), pixels);
    if (image.pixels.empty())
        refuse(path, image.complaint);
    if (image.complaint.empty())
        return image.pixels;
    const std::string damage = fmt::format("{} is damaged: {}", quote(path), image.complaint);
    if (!limits.acceptsDamaged)
        throw InputError(damage);
    notify("warning: " + damage);
    return image.pixels;
}

std::string encodeImage(const std::string& name, const cv::Mat& image, int jpegQuality) {
    const auto bytes = codecs().encode(extensionOf(name), image, jpegQuality);
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
