#include "image_codecs.hpp"

#include <iostream>
#include <opencv2/core/utils/logger.hpp>
#include <opencv2/imgcodecs.hpp>
#include <streambuf>

#include "module.hpp"

namespace tiomipra {
namespace {

// What goes to std::cerr, but for what a thread writes there while it decodes.
class DecoderFilter : public std::streambuf {
  public:
    DecoderFilter() : _target(std::cerr.rdbuf(this)) {}
    DecoderFilter(const DecoderFilter&) = delete;
    DecoderFilter& operator=(const DecoderFilter&) = delete;
    ~DecoderFilter() override { std::cerr.rdbuf(_target); }

    inline static thread_local bool isDecoding = false;

  protected:
    int_type overflow(int_type letter) override {
        return isDecoding ? traits_type::not_eof(letter) : _target->sputc(char(letter));
    }

    std::streamsize xsputn(const char* text, std::streamsize size) override {
        return isDecoding ? size : _target->sputn(text, size);
    }

    int sync() override { return _target->pubsync(); }

  private:
    std::streambuf* _target;
};

// OpenCV complains, in its log or on std::cerr itself, about files that are then reported by name
// anyway.
cv::Mat decodeQuietly(const cv::Mat& bytes, int flags) {
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
    static const DecoderFilter filter;
    DecoderFilter::isDecoding = true;
    cv::Mat image;
    try {
        image = cv::imdecode(bytes, flags);
    } catch (const cv::Exception&) {  // NOLINT(bugprone-empty-catch): no image then
    }
    DecoderFilter::isDecoding = false;
    return image;
}

// Orientation tags are ignored: a calibration describes the pixels as the sensor delivered them.
cv::Mat decode(const std::string& file, Pixels pixels) {
    const int depth = pixels == Pixels::asStored ? cv::IMREAD_ANYDEPTH : 0;
    const cv::Mat bytes(1, static_cast<int>(file.size()), CV_8UC1,
                        const_cast<char*>(file.data()));  // NOLINT: cv::Mat knows no const data
    return decodeQuietly(bytes, depth | cv::IMREAD_ANYCOLOR | cv::IMREAD_IGNORE_ORIENTATION);
}

std::vector<unsigned char> encode(const std::string& extension, const cv::Mat& image) {
    std::vector<unsigned char> bytes;
    cv::imencode(extension, image, bytes);
    return bytes;
}

}  // namespace
}  // namespace tiomipra

TIOMIPRA_MODULE_EXPORT const tiomipra::ImageCodecs tiomipraImageCodecs;
const tiomipra::ImageCodecs tiomipraImageCodecs{tiomipra::decode, tiomipra::encode};
