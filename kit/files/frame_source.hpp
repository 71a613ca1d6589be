// The pairs of images to work on, from files or videos.
#ifndef TIOMIPRA_FILES_FRAME_SOURCE_HPP
#define TIOMIPRA_FILES_FRAME_SOURCE_HPP

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

// Either `left` and `right`, or `sideBySide`: arguments as `resolveImages` takes them, or one video
// each. The images of a camera are turned clockwise by a multiple of 90 degrees when they are read.
struct FrameArguments {
    std::vector<std::string> left;
    std::vector<std::string> right;
    std::vector<std::string> sideBySide;
    int rotateLeft = 0;
    int rotateRight = 0;
    ImageLimits limits = {};
};

struct StereoImages {
    cv::Mat left;
    cv::Mat right;
};

// One pair, not read yet.
struct Frame {
    std::string name;       // names the outputs; unique within its source
    std::string leftFile;   // as in "left01.png" or "clip.avi, frame 12"
    std::string rightFile;  // the same as `leftFile` for a side-by-side image
    // Notes the files that it is read from, to be called before `read`. A video is what it was when
    // it was opened.
    std::function<FileIdentities()> identify;
    // Reads the pair, both of the same size; one may be grey, the other in colour. Unless they are
    // wanted as stored, images of other than 8 bits are stretched, see `stretchToEightBits`. Throws
    // `InputError` that names the file.
    std::function<StereoImages()> read;
};

// The files of a pair, as in `Frame`.
struct PairNames {
    std::string left;
    std::string right;
    FileIdentities inputs = {};  // what both were read from, if it is wanted
};

class FrameSource {
  public:
    FrameSource() = default;
    FrameSource(const FrameSource&) = delete;
    FrameSource& operator=(const FrameSource&) = delete;
    virtual ~FrameSource() = default;

    // How many pairs there are; 0 when a video does not say.
    virtual std::size_t count() const = 0;

    // All files that it reads, images or videos.
    virtual std::vector<std::string> files() const = 0;

    // The next pair, nothing at the end. For one thread at a time; frames that it gave may be read
    // by others meanwhile.
    virtual std::optional<Frame> next() = 0;
};

// Throws `InputError` when nothing matches an argument, a video can't be opened, or there are more
// images on one side than on the other. A notice names partners whose numbers differ, a video that
// is cut off or ends early, damaged images that are accepted, and the first ones that are
// stretched.
std::unique_ptr<FrameSource> openFrames(const FrameArguments& arguments, const Notify& notify,
                                        Pixels pixels = Pixels::eightBit);

// The same frames once more, without the checks of `openFrames`, which must have passed, and
// without notices.
std::unique_ptr<FrameSource> reopenFrames(const FrameArguments& arguments,
                                          Pixels pixels = Pixels::eightBit);

}  // namespace tiomipra

#endif
