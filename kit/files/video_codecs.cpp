#include "files/video_codecs.hpp"

#include <algorithm>
#include <cstdlib>
#include <opencv2/core/utils/logger.hpp>
#include <opencv2/videoio.hpp>

#include "files/modules.hpp"

namespace tiomipra {
namespace {

class CapturedVideo : public Video {
  public:
    explicit CapturedVideo(const cv::VideoCapture& capture) : _capture(capture) {}

    std::size_t frameCount() const override {
        return static_cast<std::size_t>(std::max(0., _capture.get(cv::CAP_PROP_FRAME_COUNT)));
    }

    cv::Size frameSize() const override {
        return {static_cast<int>(_capture.get(cv::CAP_PROP_FRAME_WIDTH)),
                static_cast<int>(_capture.get(cv::CAP_PROP_FRAME_HEIGHT))};
    }

    cv::Mat read() override {
        cv::Mat frame;
        _capture.read(frame);
        return frame.clone();
    }

  private:
    cv::VideoCapture _capture;
};

// Decoders of FFmpeg write to standard error by themselves. Unless the user wants that.
void silenceDecoders() {
    constexpr auto quiet = "-8";  // AV_LOG_QUIET
    setenv("OPENCV_FFMPEG_LOGLEVEL", quiet, 0);
}

std::unique_ptr<Video> openVideo(const std::string& path) {
    silenceDecoders();
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
    // OpenCV's own reader of AVI files prints what it finds in damaged ones.
    cv::VideoCapture capture(path, cv::CAP_FFMPEG);
    if (!capture.isOpened())
        return nullptr;
    return std::make_unique<CapturedVideo>(std::move(capture));
}

}  // namespace
}  // namespace tiomipra

TIOMIPRA_MODULE_EXPORT const tiomipra::OpenVideo tiomipraOpenVideo;
const tiomipra::OpenVideo tiomipraOpenVideo = tiomipra::openVideo;
