#include "files/image_sequences.hpp"

#include <filesystem>
#include <set>
#include <utility>

#include "base/text.hpp"
#include "files/image_lists.hpp"
#include "files/video_files.hpp"

namespace tiomipra {
namespace {

namespace fs = std::filesystem;
using Paths = std::vector<std::string>;

// The names without folder and extension; numbered when that leaves two the same.
std::vector<std::string> nameEach(const Paths& paths) {
    std::vector<std::string> names;
    names.reserve(paths.size());
    for (const std::string& path : paths)
        names.push_back(fs::path(path).stem().string());
    if (std::set<std::string>(names.begin(), names.end()).size() == names.size())
        return names;
    for (std::size_t i = 0; i < names.size(); ++i)
        names[i] += fmt::format("_{}", i + 1);
    return names;
}

class ImageFiles : public ImageSequence {
  public:
    ImageFiles(Paths paths, const ImageLimits& limits, Notify notify)
        : _paths(std::move(paths)),
          _names(nameEach(_paths)),
          _limits(limits),
          _notify(std::move(notify)) {}

    std::size_t count() const override { return _paths.size(); }

    Paths files() const override { return _paths; }

    std::optional<Picture> next() override {
        if (_next == _paths.size())
            return std::nullopt;
        const std::string& path = _paths[_next];
        const std::string& name = _names[_next++];
        return Picture{name, path, [path] { return identify(path); },
                       [path, limits = _limits, notify = _notify] {
                           return readImage(path, Pixels::asStored, limits, notify);
                       }};
    }

  private:
    Paths _paths;
    std::vector<std::string> _names;
    ImageLimits _limits;
    Notify _notify;
    std::size_t _next = 0;
};

// Frames are decoded by `next`, as a video only reads forward.
class VideoFrames : public ImageSequence {
  public:
    VideoFrames(const std::string& path, const ImageLimits& limits, Notify notify)
        : _path(path),
          _identity(identifyByTime(path)),
          _video(openVideo(path, limits)),
          _notify(std::move(notify)) {
        if (isCutOff(path))
            _notify(
                fmt::format("warning: {} is cut off: its last frame may be damaged", quote(path)));
    }

    std::size_t count() const override { return _video->frameCount(); }

    Paths files() const override { return {_path}; }

    std::optional<Picture> next() override {
        cv::Mat image = _video->read();
        if (image.empty()) {
            noteEarlyEnd();
            return std::nullopt;
        }
        const std::size_t number = _next++;
        return Picture{fmt::format("{}_{:06}", fs::path(_path).stem().string(), number),
                       fmt::format("{}, frame {}", _path, number),
                       [identity = _identity] { return identity; }, [image] { return image; }};
    }

  private:
    // Once, however often it is asked for more.
    void noteEarlyEnd() {
        if (!std::exchange(_hasEnded, true) && _next < count())
            _notify(fmt::format("{} promises {} frames, {} could be read", quote(_path), count(),
                                _next));
    }

    std::string _path;
    FileIdentity _identity;  // before it was opened
    std::unique_ptr<Video> _video;
    Notify _notify;
    std::size_t _next = 0;
    bool _hasEnded = false;
};

}  // namespace

std::unique_ptr<ImageSequence> openSequence(const std::vector<std::string>& arguments,
                                            const ImageLimits& limits, const Notify& notify) {
    if (areVideo(arguments))
        return std::make_unique<VideoFrames>(arguments.front(), limits, notify);
    return std::make_unique<ImageFiles>(resolveImages(arguments), limits, notify);
}

}  // namespace tiomipra
