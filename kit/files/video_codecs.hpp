// What the module "video" offers: the video formats of OpenCV's videoio.
#ifndef TIOMIPRA_FILES_VIDEO_CODECS_HPP
#define TIOMIPRA_FILES_VIDEO_CODECS_HPP

#include <memory>
#include <opencv2/core/mat.hpp>
#include <string>

namespace tiomipra {

// A video that is read from its start to its end.
class Video {
  public:
    Video() = default;
    Video(const Video&) = delete;
    Video& operator=(const Video&) = delete;
    virtual ~Video() = default;

    // How many frames the file says it has; 0 when it does not say.
    virtual std::size_t frameCount() const = 0;

    // As the file says, before any frame is decoded.
    virtual cv::Size frameSize() const = 0;

    // The next frame, 8-bit BGR in a buffer of its own; empty at the end.
    virtual cv::Mat read() = 0;
};

// The type of the function in the module; null when the file is no video.
using OpenVideo = std::unique_ptr<Video> (*)(const std::string& path);

// The symbol in the module: a constant `OpenVideo`.
constexpr auto openVideoSymbol = "tiomipraOpenVideo";

}  // namespace tiomipra

#endif
