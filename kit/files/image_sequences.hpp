// Images one after the other, from files or a video.
#ifndef TIOMIPRA_FILES_IMAGE_SEQUENCES_HPP
#define TIOMIPRA_FILES_IMAGE_SEQUENCES_HPP

#include <cstddef>
#include <functional>
#include <memory>
#include <opencv2/core/mat.hpp>
#include <optional>
#include <string>
#include <vector>

#include "base/notices.hpp"
#include "files/file_identity.hpp"
#include "files/image_files.hpp"

namespace tiomipra {

// One image of a sequence, not read yet.
struct Picture {
    std::string name;   // the file's without folder and extension; unique within its sequence
    std::string title;  // as in "left01.png" or "clip.avi, frame 12"
    std::function<FileIdentity()> identify;  // the file that `read` will read or has read
    std::function<cv::Mat()> read;           // as stored; throws `InputError` that names the file
};

class ImageSequence {
  public:
    ImageSequence() = default;
    ImageSequence(const ImageSequence&) = delete;
    ImageSequence& operator=(const ImageSequence&) = delete;
    virtual ~ImageSequence() = default;

    // How many images there are; 0 when a video does not say.
    virtual std::size_t count() const = 0;

    virtual std::vector<std::string> files() const = 0;

    // The next image, nothing at the end. For one thread at a time; images that it gave may be read
    // by others meanwhile.
    virtual std::optional<Picture> next() = 0;
};

// The images that the arguments, as `resolveImages` takes them, or one video stand for. A notice
// tells of a video that is cut off, or ends before it says it does, and of damaged images that are
// accepted.
std::unique_ptr<ImageSequence> openSequence(const std::vector<std::string>& arguments,
                                            const ImageLimits& limits, const Notify& notify);

}  // namespace tiomipra

#endif
