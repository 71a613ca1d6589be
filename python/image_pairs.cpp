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

constexpr auto rule = "a file, an array, or a sequence of files or of arrays";

// The items of a sequence, or what stands alone.
std::vector<py::object> imagesOf(py::handle argument) {
    const std::vector<py::object> itself{py::reinterpret_borrow<py::object>(argument)};
    const bool isImage = py::isinstance<py::array>(argument) || py::hasattr(argument, "__fspath__");
    return isImage ? itself : itemsOf(argument).value_or(itself);
}

bool areArrays(const std::vector<py::object>& items) {
    return py::isinstance<py::array>(items.front());
}

// One of so many: a single one has the name of the argument.
std::string nameOfItem(const char* name, std::size_t index, std::size_t count) {
    return count == 1 ? name : fmt::format("{}[{}]", name, index);
}

std::vector<BorrowedImage> borrowAll(const std::vector<py::object>& items, const char* name) {
    std::vector<BorrowedImage> images;
    for (const py::object& item : items)
        images.push_back(
            borrowImage(item, nameOfItem(name, images.size(), items.size()).c_str(), pairImage));
    return images;
}

void requireAny(const std::vector<py::object>& items, const char* name) {
    if (items.empty())
        throw py::value_error(fmt::format("{} is empty, must name an image at least", name));
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
                    nameOfItem("left", index, _pairs.size()),
                    nameOfItem("right", index, _pairs.size()),
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
    const auto leftItems = imagesOf(left);
    const auto rightItems = imagesOf(right);
    requireAny(leftItems, "left");
    requireAny(rightItems, "right");
    if (!areArrays(leftItems) && !areArrays(rightItems)) {
        _arguments.left = pathsOf(leftItems, "left", rule);
        _arguments.right = pathsOf(rightItems, "right", rule);
        return;
    }
    if (areArrays(leftItems) != areArrays(rightItems))
        throw py::type_error(fmt::format("left is {}, right is {}, both must be files or arrays",
                                         typeName(leftItems.front()),
                                         typeName(rightItems.front())));
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
