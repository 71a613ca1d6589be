#include "files/image_codecs.hpp"

#include <opencv2/core/utils/logger.hpp>
#include <opencv2/imgcodecs.hpp>

#include "files/jpeg_decoder.hpp"
#include "files/modules.hpp"
#include "files/tiff_checks.hpp"

namespace tiomipra {
namespace {

cv::Size2l sizeOf(const std::string& file, ImageFormat format) {
    return format == ImageFormat::jpeg ? sizeOfJpeg(file) : sizeOfTiff(file);
}

// OpenCV's log complains about files that are then reported by name anyway.
cv::Mat decodeQuietly(const cv::Mat& bytes, int flags) {
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
    try {
        return cv::imdecode(bytes, flags);
    } catch (const cv::Exception& exception) {
        if (exception.code == cv::Error::StsNoMem)
            throw;
        return {};  // no image then
    }
}

// Orientation tags are ignored: a calibration describes the pixels as the sensor delivered them.
cv::Mat decodeByOpenCv(const std::string& file, Pixels pixels) {
    const int depth = pixels == Pixels::asStored ? cv::IMREAD_ANYDEPTH : 0;
    const cv::Mat bytes(1, static_cast<int>(file.size()), CV_8UC1,
                        const_cast<char*>(file.data()));  // NOLINT: cv::Mat knows no const data
    return decodeQuietly(bytes, depth | cv::IMREAD_ANYCOLOR | cv::IMREAD_IGNORE_ORIENTATION);
}

DecodedImage decode(const std::string& file, ImageFormat format, Pixels pixels) {
    if (format == ImageFormat::jpeg)
        return decodeJpeg(file);
    if (format == ImageFormat::tiff)
        return decodeTiff(file,
                          [=](const std::string& tiff) { return decodeByOpenCv(tiff, pixels); });
    return {decodeByOpenCv(file, pixels), ""};
}

std::vector<unsigned char> encode(const std::string& extension, const cv::Mat& image,
                                  int jpegQuality) {
    std::vector<unsigned char> bytes;
    cv::imencode(extension, image, bytes, {cv::IMWRITE_JPEG_QUALITY, jpegQuality});
    return bytes;
}

}  // namespace
}  // namespace tiomipra

TIOMIPRA_MODULE_EXPORT const tiomipra::ImageCodecs tiomipraImageCodecs;
const tiomipra::ImageCodecs tiomipraImageCodecs{tiomipra::sizeOf, tiomipra::decode,
                                                tiomipra::encode};
