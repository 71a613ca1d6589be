// Images from files and into them.
#include "files/image_files.hpp"

#include <gmock/gmock.h>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "base/errors.hpp"
#include "files/input_files.hpp"
#include "support/matrices.hpp"
#include "support/photographs.hpp"
#include "support/scratch_folder.hpp"

namespace tiomipra::test {
namespace {

TEST(ImageFiles, KeepEveryBitOfTheirFormats) {
    const ScratchFolder folder;
    const std::pair<const char*, int> cases[] = {
        {"a.png", CV_8UC1},   {"a.png", CV_8UC3},   {"a.png", CV_16UC1}, {"a.tiff", CV_8UC3},
        {"a.tiff", CV_16UC1}, {"a.tiff", CV_32FC1}, {"a.pfm", CV_32FC1}};
    for (const auto& [name, type] : cases) {
        const cv::Mat image = makeNoise({17, 11}, type, 5);
        writeImage(folder.path(name), image);
        EXPECT_THAT(readImage(folder.path(name), Pixels::asStored), IsSameMatrix(image)) << name;
    }
    const cv::Mat colour = makeNoise({17, 11}, CV_8UC3, 6);
    cv::Mat grey;
    cv::cvtColor(colour, grey, cv::COLOR_BGR2GRAY);
    EXPECT_THAT(toGrey(colour), IsSameMatrix(grey));
}

// A JPEG with an orientation tag that asks for a quarter turn.
TEST(ImageFiles, OrientationTagsAreIgnored) {
    const ScratchFolder folder;
    std::string jpeg = tiomipra::readFile(photograph("left01.jpg"));
    const std::string exif(
        "\xFF\xE1\0\x22"
        "Exif\0\0II*\0\x08\0\0\0\x01\0\x12\x01\x03\0\x01\0\0\0\x06\0\0\0\0\0\0\0",
        36);
    jpeg.insert(2, exif);
    const cv::Mat image = readImage(folder.write("turned.jpg", jpeg));
    EXPECT_EQ(image.size(), cv::Size(640, 480));
    EXPECT_EQ(readImage(folder.path("turned.jpg"), Pixels::asStored).size(), image.size());
}

TEST(ImageFiles, WhatIsCutOffIsRefused) {
    const ScratchFolder folder;
    writeImage(folder.path("whole.png"), makeNoise({60, 40}, CV_8UC1, 3));
    const std::pair<std::string, std::string> cases[] = {
        {"cut.jpg", tiomipra::readFile(photograph("left01.jpg")).substr(0, 20000)},
        {"cut.png", tiomipra::readFile(folder.path("whole.png")).substr(0, 1200)}};
    for (const auto& cut : cases) {
        const std::string path = folder.write(cut.first, cut.second);
        EXPECT_THAT([&] { readImage(path); }, testing::ThrowsMessage<InputError>(
                                                  testing::HasSubstr(cut.first + "' is cut off")));
    }
    EXPECT_THROW(readImage(folder.write("empty.png", "")), InputError);
    EXPECT_THROW(readImage(folder.path("none.png")), InputError);
}

}  // namespace
}  // namespace tiomipra::test
