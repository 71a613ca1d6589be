#include "pages/pair_pictures.hpp"

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <opencv2/imgproc.hpp>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "files/image_files.hpp"
#include "files/image_lists.hpp"
#include "reports/input_report.hpp"

namespace tiomipra {
namespace {

using Json = nlohmann::ordered_json;

// Rows under a line are to be told apart.
constexpr int rectifiedWidth = 1280;

cv::Mat reduced(const cv::Mat& image, int largestWidth) {
    if (image.cols <= largestWidth)
        return image;
    const int height = std::max(1, cvRound(double(image.rows) * largestWidth / image.cols));
    cv::Mat small;
    cv::resize(image, small, {largestWidth, height}, 0, 0, cv::INTER_AREA);
    return small;
}

PairPictures missing(const std::string& why) {
    return {"", "", why};
}

// Empty if they are still what they were.
std::string whyNotReadable(const Json& inputs) {
    if (inputs.empty())
        return "the images were in no files";
    for (const Json& input : inputs) {
        const auto path = input.at("path").get<std::string>();
        const std::string name = std::filesystem::path(path).filename().string();
        if (areVideo({path}))
            return name + " is a video, whose frames are not looked up again";
        if (!isUnchanged(input))
            return name + " is missing, or another file than it was";
    }
    return "";
}

FrameArguments framesOf(const Json& inputs, const Json& parameters, std::size_t maxPixels) {
    FrameArguments frames;
    const auto path = [&](std::size_t i) { return inputs.at(i).at("path").get<std::string>(); };
    if (inputs.size() == 1) {
        frames.sideBySide = {path(0)};
    } else {
        frames.left = {path(0)};
        frames.right = {path(1)};
    }
    frames.rotateLeft = parameters.value("rotateLeft", 0);
    frames.rotateRight = parameters.value("rotateRight", 0);
    frames.limits = {maxPixels, parameters.value("acceptDamaged", false)};
    return frames;
}

StereoImages readPair(const Json& inputs, const Json& parameters, std::size_t maxPixels) {
    const std::string why = whyNotReadable(inputs);
    if (!why.empty())
        throw InputError(why);
    try {
        return reopenFrames(framesOf(inputs, parameters, maxPixels))->next().value().read();
    } catch (const InputError&) {
        // What it says names the folder.
        throw InputError(
            fmt::format("the images can't be read, or have more than {} pixels", maxPixels));
    }
}

}  // namespace

std::string encodeThumbnail(const cv::Mat& image, int largestWidth) {
    constexpr int quality = 70;
    return encodeImage("a.jpg", reduced(image, largestWidth), quality);
}

PairPictures makePictures(const StereoImages& images, int largestWidth) {
    return {encodeThumbnail(images.left, largestWidth), encodeThumbnail(images.right, largestWidth),
            ""};
}

PairPictures makeRectifiedPictures(const StereoImages& rectified) {
    return makePictures(rectified, rectifiedWidth);
}

CalibrationPictures readPictures(const Json& report, const RectifiedRig& rig,
                                 std::size_t maxPixels) {
    const auto rectifiedView = report.at("rectifiedView").get<std::size_t>();
    CalibrationPictures pictures;
    pictures.rectified.whyMissing = "there is no such view";
    for (const Json& view : report.at("views")) {
        const bool isRectified = pictures.views.size() == rectifiedView;
        try {
            const StereoImages images =
                readPair(view.at("inputs"), report.at("parameters"), maxPixels);
            pictures.views.push_back(makePictures(images));
            if (isRectified)
                pictures.rectified = makeRectifiedPictures(rectifyPair(rig, images));
        } catch (const InputError& error) {
            pictures.views.push_back(missing(error.what()));
            if (isRectified)
                pictures.rectified = missing(error.what());
        }
    }
    return pictures;
}

void addPictures(Page& page, const std::string& name, const PairPictures& pictures) {
    if (!pictures.whyMissing.empty())
        return;
    page.blocks.push_back({name + "-left", "image/jpeg", pictures.left});
    page.blocks.push_back({name + "-right", "image/jpeg", pictures.right});
}

}  // namespace tiomipra
