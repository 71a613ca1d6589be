#include "image_pairs.hpp"

#include <fmt/format.h>
#include <pybind11/stl.h>

#include <opencv2/core.hpp>
#include <string>
#include <utility>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "errors.hpp"
#include "files/eight_bits.hpp"

namespace tiomipra::python {
namespace {

// The items of a list or a tuple, or what stands alone.
std::vector<py::object> itemsOf(py::handle argument) {
    if (py::isinstance<py::list>(argument) || py::isinstance<py::tuple>(argument))
        return argument.cast<std::vector<py::object>>();
    return {py::reinterpret_borrow<py::object>(argument)};
}

bool areArrays(const std::vector<py::object>& items) {
    return !items.empty() && py::isinstance<py::array>(items.front());
}

std::vector<BorrowedImage> borrowAll(const std::vector<py::object>& items, const char* name) {
    std::vector<BorrowedImage> images;
    for (const py::object& item : items) {
        const std::string itemName =
            items.size() == 1 ? name : fmt::format("{}[{}]", name, images.size());
        images.push_back(borrowImage(item, itemName.c_str(), pairImage));
    }
    return images;
}

std::vector<std::string> pathsOf(const std::vector<py::object>& items, const char* name) {
    std::vector<std::string> paths;
    for (const py::object& item : items)
        paths.push_back(pathOf(item, name));
    if (paths.empty())
        throw py::value_error(fmt::format("{} is empty, must name an image at least", name));
    return paths;
}

void checkTurn(int degrees, const char* name) {
    if (degrees < 0 || degrees > 270 || degrees % 90 != 0)
        throw py::value_error(fmt::format("{} is {}, must be 0, 90, 180 or 270", name, degrees));
}

cv::Mat turned(const cv::Mat& image, int degrees) {
    cv::Mat result = image;
    for (int turn = 0; turn < degrees; turn += 90) {
        cv::Mat next;
        cv::rotate(result, next, cv::ROTATE_90_CLOCKWISE);
        result = next;
    }
    return result;
}

// Pairs that are in memory already.
class ArrayFrames : public FrameSource {
  public:
    ArrayFrames(std::vector<StereoImages> pairs, Notify notify)
        : _pairs(std::move(pairs)), _notify(std::move(notify)) {}

    std::size_t count() const override { return _pairs.size(); }

    std::vector<std::string> files() const override { return {}; }

    std::optional<Frame> next() override {
        if (_next == _pairs.size())
            return std::nullopt;
        const std::size_t index = _next++;
        Frame frame{fmt::format("{}", index),
                    fmt::format("left[{}]", index),
                    fmt::format("right[{}]", index),
                    [] { return FileIdentities(); },
                    {}};
        frame.read = [pair = _pairs[index], notify = _notify, left = frame.leftFile,
                      right = frame.rightFile] {
            StereoImages images = pair;
            if (images.left.size() != images.right.size())
                throw InputError(sizesDiffer(left, images.left.size(), right, images.right.size()));
            const std::string change = stretchToEightBits(images.left, images.right);
            if (!change.empty())
                notify(fmt::format("note: {}: {}", left, change));
            return images;
        };
        return frame;
    }

  private:
    std::vector<StereoImages> _pairs;
    Notify _notify;
    std::size_t _next = 0;
};

}  // namespace

ImagePairs::ImagePairs(py::handle left, py::handle right, int rotateLeft, int rotateRight) {
    checkTurn(rotateLeft, "rotate_left");
    checkTurn(rotateRight, "rotate_right");
    _arguments.rotateLeft = rotateLeft;
    _arguments.rotateRight = rotateRight;
    const auto leftItems = itemsOf(left);
    const auto rightItems = itemsOf(right);
    if (!areArrays(leftItems) && !areArrays(rightItems)) {
        _arguments.left = pathsOf(leftItems, "left");
        _arguments.right = pathsOf(rightItems, "right");
        return;
    }
    _left = borrowAll(leftItems, "left");
    _right = borrowAll(rightItems, "right");
    if (_left.size() != _right.size())
        throw py::value_error(fmt::format("left has {} images, right has {}, must be as many",
                                          _left.size(), _right.size()));
}

std::unique_ptr<FrameSource> ImagePairs::open(const Notify& notify) const {
    if (_left.empty())
        return openFrames(_arguments, notify);
    std::vector<StereoImages> pairs;
    for (std::size_t i = 0; i < _left.size(); ++i)
        pairs.push_back({turned(_left[i].matrix, _arguments.rotateLeft),
                         turned(_right[i].matrix, _arguments.rotateRight)});
    return std::make_unique<ArrayFrames>(std::move(pairs), notify);
}

}  // namespace tiomipra::python
