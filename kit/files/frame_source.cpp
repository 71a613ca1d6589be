#include "files/frame_source.hpp"

#include <algorithm>
#include <atomic>
#include <opencv2/core.hpp>
#include <utility>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "files/eight_bits.hpp"
#include "files/image_lists.hpp"
#include "files/image_sequences.hpp"

namespace tiomipra {
namespace {

using Paths = std::vector<std::string>;

void requireSameSize(const StereoImages& images, const Frame& frame) {
    const auto& [left, right] = images;
    if (left.size() != right.size())
        throw InputError(sizesDiffer(frame.leftFile, left.size(), frame.rightFile, right.size()));
}

std::function<FileIdentities()> identifyOne(const Picture& picture) {
    return [identify = picture.identify] { return FileIdentities{identify()}; };
}

std::function<FileIdentities()> identifyBoth(const Picture& left, const Picture& right) {
    return [identifyLeft = left.identify, identifyRight = right.identify] {
        return FileIdentities{identifyLeft(), identifyRight()};
    };
}

// By how many degrees to turn the images of each camera clockwise.
struct Turns {
    int left;
    int right;
};

cv::Mat turned(const cv::Mat& image, int degrees) {
    if (degrees == 0)
        return image;
    cv::Mat result;
    cv::rotate(image, result,
               degrees == 90    ? cv::ROTATE_90_CLOCKWISE
               : degrees == 180 ? cv::ROTATE_180
                                : cv::ROTATE_90_COUNTERCLOCKWISE);
    return result;
}

// Two sequences, one for each camera.
class PairedFrames : public FrameSource {
  public:
    PairedFrames(std::unique_ptr<ImageSequence> left, std::unique_ptr<ImageSequence> right,
                 Turns turns)
        : _left(std::move(left)), _right(std::move(right)), _turns(turns) {}

    std::size_t count() const override { return std::max(_left->count(), _right->count()); }

    Paths files() const override {
        Paths all = _left->files();
        const Paths more = _right->files();
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }

    std::optional<Frame> next() override {
        if (_hasEnded)
            return std::nullopt;
        const auto left = _left->next();
        const auto right = _right->next();
        _hasEnded = !left || !right;
        if (!left && !right)
            return std::nullopt;
        if (_hasEnded)
            return withoutPartner(left ? *left : *right);
        return pair(*left, *right);
    }

  private:
    Frame pair(const Picture& left, const Picture& right) const {
        Frame frame{left.name, left.title, right.title, identifyBoth(left, right), {}};
        frame.read = [frame, turns = _turns, readLeft = left.read, readRight = right.read] {
            StereoImages images{turned(readLeft(), turns.left), turned(readRight(), turns.right)};
            requireSameSize(images, frame);
            return images;
        };
        return frame;
    }

    // Only videos are found to be of different length as late as this.
    static Frame withoutPartner(const Picture& picture) {
        return {picture.name, picture.title, "", identifyOne(picture), [picture]() -> StereoImages {
                    throw InputError(quote(picture.title) +
                                     " has no partner: the other side has ended");
                }};
    }

    std::unique_ptr<ImageSequence> _left;
    std::unique_ptr<ImageSequence> _right;
    Turns _turns;
    bool _hasEnded = false;
};

// One sequence whose images hold the left camera's image in their left half.
class SplitFrames : public FrameSource {
  public:
    SplitFrames(std::unique_ptr<ImageSequence> both, Turns turns)
        : _both(std::move(both)), _turns(turns) {}

    std::size_t count() const override { return _both->count(); }

    Paths files() const override { return _both->files(); }

    std::optional<Frame> next() override {
        const auto both = _both->next();
        if (!both)
            return std::nullopt;
        Frame frame{both->name, both->title, both->title, identifyOne(*both), {}};
        frame.read = [frame, turns = _turns, read = both->read] {
            const StereoImages images = split(read(), frame.leftFile);
            StereoImages upright{turned(images.left, turns.left),
                                 turned(images.right, turns.right)};
            requireSameSize(upright, frame);
            return upright;
        };
        return frame;
    }

  private:
    static StereoImages split(const cv::Mat& image, const std::string& file) {
        if (image.cols % 2 != 0)
            throw InputError(fmt::format("{} is {}; the width of a side-by-side image must be even",
                                         quote(file), describe(image.size())));
        const int half = image.cols / 2;
        return {image.colRange(0, half).clone(), image.colRange(half, image.cols).clone()};
    }

    std::unique_ptr<ImageSequence> _both;
    Turns _turns;
};

// Those of another source, in 8 bits.
class EightBitFrames : public FrameSource {
  public:
    EightBitFrames(std::unique_ptr<FrameSource> frames, Notify notify)
        : _frames(std::move(frames)), _notify(std::make_shared<Once>(std::move(notify))) {}

    std::size_t count() const override { return _frames->count(); }

    Paths files() const override { return _frames->files(); }

    std::optional<Frame> next() override {
        auto frame = _frames->next();
        if (frame)
            frame->read = [read = frame->read, file = frame->leftFile, notify = _notify] {
                StereoImages images = read();
                const std::string change = stretchToEightBits(images.left, images.right);
                if (!change.empty() && !notify->isDone.exchange(true))
                    notify->notify(fmt::format("note: {}: {}", quote(file), change));
                return images;
            };
        return frame;
    }

  private:
    // Frames may outlive their source, and be read by several threads.
    struct Once {
        explicit Once(Notify aNotify) : notify(std::move(aNotify)) {}
        const Notify notify;
        std::atomic<bool> isDone = false;
    };

    std::unique_ptr<FrameSource> _frames;
    std::shared_ptr<Once> _notify;
};

std::unique_ptr<FrameSource> openAsStored(const FrameArguments& arguments, const Notify& notify) {
    const Turns turns{arguments.rotateLeft, arguments.rotateRight};
    const auto openSide = [&](const Paths& side) {
        return openSequence(side, arguments.limits, notify);
    };
    if (!arguments.sideBySide.empty())
        return std::make_unique<SplitFrames>(openSide(arguments.sideBySide), turns);
    return std::make_unique<PairedFrames>(openSide(arguments.left), openSide(arguments.right),
                                          turns);
}

std::unique_ptr<FrameSource> open(const FrameArguments& arguments, const Notify& notify,
                                  Pixels pixels) {
    auto frames = openAsStored(arguments, notify);
    if (pixels == Pixels::asStored)
        return frames;
    return std::make_unique<EightBitFrames>(std::move(frames), notify);
}

}  // namespace

std::unique_ptr<FrameSource> openFrames(const FrameArguments& arguments, const Notify& notify,
                                        Pixels pixels) {
    if (arguments.sideBySide.empty() && !areVideo(arguments.left) && !areVideo(arguments.right)) {
        const Paths left = resolveImages(arguments.left);
        const Paths right = resolveImages(arguments.right);
        requirePartners(left, right);
        noteUnlikePartners(left, right, notify);
    }
    return open(arguments, notify, pixels);
}

std::unique_ptr<FrameSource> reopenFrames(const FrameArguments& arguments, Pixels pixels) {
    return open(arguments, ignoreNotice, pixels);
}

}  // namespace tiomipra
