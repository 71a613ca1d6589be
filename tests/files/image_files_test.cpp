// Images from files and into them.
#include "files/image_files.hpp"

#include <gmock/gmock.h>
#include <sys/resource.h>

#include <filesystem>
#include <fstream>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "base/errors.hpp"
#include "files/input_files.hpp"
#include "files/own_png.hpp"
#include "support/matrices.hpp"
#include "support/photographs.hpp"
#include "support/scratch_folder.hpp"

namespace tiomipra::test {
namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

std::string encode(const std::string& extension, const cv::Mat& image,
                   const std::vector<int>& parameters = {}) {
    std::vector<uchar> bytes;
    cv::imencode(extension, image, bytes, parameters);
    return {bytes.begin(), bytes.end()};
}

// The notice when the file is accepted all the same; it says what the refusal says.
std::string damageOf(const std::string& path) {
    std::string notice = "none";
    readImage(path, Pixels::asStored, {100'000'000, true},
              [&](const std::string& text) { notice = text; });
    EXPECT_THAT([&] { readImage(path); },
                ThrowsMessage<InputError>(testing::ResultOf(
                    [](const std::string& text) { return "warning: " + text; }, notice)));
    return notice;
}

TEST(ImageFiles, KeepEveryBitOfTheirFormats) {
    const ScratchFolder folder;
    const std::pair<const char*, int> cases[] = {
        {"a.png", CV_8UC1},   {"a.png", CV_8UC3},   {"a.png", CV_16UC1}, {"a.tiff", CV_8UC3},
        {"a.tiff", CV_16UC1}, {"a.tiff", CV_32FC1}, {"a.pfm", CV_32FC1}, {"a.pfm", CV_32FC3}};
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

TEST(OwnPng, AreImagesThatAreRemovedAndNoOthers) {
    const ScratchFolder folder;
    const cv::Mat image = makeNoise({17, 11}, CV_8UC3, 5);
    const NewFile own = newOwnPng(folder.path("own.png"), image);
    EXPECT_THAT(readImage(folder.write("copy.png", own.bytes)), IsSameMatrix(image));
    EXPECT_THAT(own.bytes, HasSubstr(std::string("Software\0tiomipra 1.", 20)));
    folder.write("own.png", own.bytes);
    folder.write("text.png", "\x88" + own.bytes.substr(1));
    writeImage(folder.path("other.png"), image);
    for (const std::string name : {"own.png", "text.png", "other.png", ".", "none.png"})
        removeOwnPng(folder.path(name));
    EXPECT_FALSE(std::filesystem::exists(folder.path("own.png")));
    for (const char* name : {"text.png", "other.png"})
        EXPECT_TRUE(std::filesystem::exists(folder.path(name))) << name;
}

TEST(ImageFiles, JpegsAreDecodedAsByOpenCv) {
    const ScratchFolder folder;
    const cv::Mat colour = readImage(photograph("aloeL.jpg")).rowRange(0, 101);
    for (const cv::Mat& image : {colour, toGrey(colour)}) {
        for (const std::vector<int>& parameters : {std::vector<int>{},
                                                   {cv::IMWRITE_JPEG_PROGRESSIVE, 1},
                                                   {cv::IMWRITE_JPEG_RST_INTERVAL, 7}}) {
            const std::string jpeg = encode(".jpg", image, parameters);
            EXPECT_THAT(readImage(folder.write("a.jpg", jpeg)),
                        IsSameMatrix(cv::imdecode(std::vector<char>(jpeg.begin(), jpeg.end()),
                                                  cv::IMREAD_UNCHANGED)));
        }
    }
}

// The decoders fill what is missing with grey, or with what the next bytes happen to mean.
TEST(ImageFiles, DamagedOnesAreRefusedUnlessTheyAreAccepted) {
    const ScratchFolder folder;
    const std::string jpeg = tiomipra::readFile(photograph("left01.jpg"));
    const cv::Mat image = readImage(photograph("left01.jpg"));
    const auto tiff = [&](int compression) {
        return encode(".tiff", image, {cv::IMWRITE_TIFF_COMPRESSION, compression});
    };
    const auto zeroed = [](std::string file, std::size_t count) {
        return file.replace(file.size() / 3, count, count, '\0');
    };
    constexpr int lzw = 5, deflate = 8, packBits = 32773;
    const std::pair<const char*, std::string> cases[] = {
        {"premature end of data", jpeg.substr(0, 20000) + "\xFF\xD9"},
        {"Premature end of JPEG file", jpeg.substr(0, 20000)},
        {"premature end of data", zeroed(jpeg, 5000)},
        {"extraneous bytes", std::string(jpeg).insert(jpeg.size() - 2, 40, '\0')},
        {"LZWDecode", zeroed(tiff(lzw), 9000)},
        {"Decoding error", zeroed(tiff(deflate), 9000)},
        {"lack of data", zeroed(tiff(packBits), 70000)}};
    for (const auto& [words, file] : cases) {
        const std::string path = folder.write("damaged", file);
        EXPECT_THAT(damageOf(path), testing::AllOf(testing::StartsWith("warning: '" + path),
                                                   HasSubstr("' is damaged: "), HasSubstr(words)));
    }
    // Where nothing but the checksum tells, too.
    for (std::size_t place = 10'000; place < 100'000; place += 10'000)
        damageOf(folder.write("damaged", tiff(deflate).replace(place, 300, 300, '\0')));
}

// Among them one with an orientation tag that asks for a quarter turn, which is ignored.
TEST(ImageFiles, OddJpegsOfCamerasAreTaken) {
    const ScratchFolder folder;
    const std::string jpeg = tiomipra::readFile(photograph("left01.jpg"));
    const auto inserted = [&](std::size_t place, const std::string& bytes) {
        return std::string(jpeg).insert(place, bytes);
    };
    const std::string turned(
        "\xFF\xE1\0\x22"
        "Exif\0\0II*\0\x08\0\0\0\x01\0\x12\x01\x03\0\x01\0\0\0\x06\0\0\0\0\0\0\0",
        36);
    const std::string adobe(
        "\xFF\xEE\0\x0E"
        "Adobe\0\x64\0\0\0\0\x09",
        16);
    std::string newVersion = jpeg;
    newVersion[11] = 9;  // of JFIF
    for (const std::string& file :
         {newVersion, jpeg + "more", inserted(jpeg.size() - 2, "\1\2\3"),
          inserted(20, std::string(40, '\0')), inserted(20, adobe), inserted(2, turned)}) {
        const std::string path = folder.write("odd.jpg", file);
        for (const Pixels pixels : {Pixels::asStored, Pixels::eightBit})
            EXPECT_THAT(readImage(path, pixels),
                        IsSameMatrix(readImage(photograph("left01.jpg"), pixels)));
    }
}

TEST(ImageFiles, SizesAreLimitedBeforeDecoding) {
    const ScratchFolder folder;
    const cv::Mat grey = makeNoise({40, 30}, CV_8UC1, 4);
    const auto webp = [](int type, int quality) {
        return encode(".webp", makeNoise({40, 30}, type, 4), {cv::IMWRITE_WEBP_QUALITY, quality});
    };
    for (const std::string& file :
         {encode(".bmp", grey), encode(".jpg", grey), encode(".png", grey), encode(".tiff", grey),
          encode(".pgm", grey), encode(".pfm", makeNoise({40, 30}, CV_32FC1, 4)), webp(CV_8UC3, 80),
          webp(CV_8UC3, 101), webp(CV_8UC4, 80),
          "P5 # 1 2\n 40#\n30 255\n" + std::string(1200, '.')}) {
        const std::string path = folder.write("image", file);
        EXPECT_EQ(readImage(path, Pixels::asStored, {1200}).size(), grey.size());
        EXPECT_THAT([&] { readImage(path, Pixels::asStored, {1199}); },
                    ThrowsMessage<InputError>("'" + path +
                                              "' has 40x30 pixels, at most 1199 are accepted"));
    }
    EXPECT_THAT([] { readImage("/dev/zero"); },
                ThrowsMessage<InputError>(HasSubstr("is not an image")));
}

TEST(ImageFiles, JpegsOfFourColoursAreRefused) {
    const ScratchFolder folder;
    const std::string header(
        "\xFF\xD8\xFF\xC0\0\x14\x08\0\x08\0\x08\x04\x01\x11\0\x02\x11\0\x03\x11\0\x04\x11\0"
        "\xFF\xDA\0\x0E\x04\x01\0\x02\0\x03\0\x04\0\0\x3F\0",
        40);
    EXPECT_THAT([&] { readImage(folder.write("cmyk.jpg", header)); },
                ThrowsMessage<InputError>(HasSubstr("has four colours (CMYK), must be grey")));
}

TEST(ImageFiles, WhatIsCutOffIsRefused) {
    const ScratchFolder folder;
    const std::string png = encode(".png", makeNoise({60, 40}, CV_8UC1, 3));
    const std::string cut = folder.write("cut.png", png.substr(0, 1200));
    EXPECT_THAT([&] { readImage(cut); }, ThrowsMessage<InputError>(HasSubstr("cut.png' is cut")));
    std::string scans =
        encode(".jpg", makeNoise({64, 48}, CV_8UC1, 2), {cv::IMWRITE_JPEG_PROGRESSIVE, 1});
    const std::size_t start = scans.rfind("\xFF\xDA");
    const std::string last = scans.substr(start, scans.size() - 2 - start);
    for (int i = 0; i < 100; ++i)
        scans.insert(scans.size() - 2, last);
    EXPECT_THAT([&] { readImage(folder.write("scans.jpg", scans)); },
                ThrowsMessage<InputError>(HasSubstr("more than 100 scans")));
    EXPECT_THROW(readImage(folder.write("empty.png", "")), InputError);
    EXPECT_THROW(readImage(folder.path("none.png")), InputError);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
// For the pixels themselves, and for what libjpeg wants beside them.
TEST(ImageFiles, MemoryThatRunsOutIsNoDamage) {
    const ScratchFolder folder;
    const cv::Mat large = cv::Mat::zeros(6000, 6000, CV_8UC1);
    const std::pair<std::string, rlim_t> cases[] = {
        {encode(".png", large), 20},
        {encode(".jpg", large, {cv::IMWRITE_JPEG_PROGRESSIVE, 1}), 60}};
    readImage(photograph("left01.jpg"));  // so that all is loaded
    for (const auto& [file, megabytes] : cases) {
        const std::string path = folder.write("large", file);
        std::size_t pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        rlimit before{};
        getrlimit(RLIMIT_AS, &before);
        const rlimit tight{pages * 4096 + (megabytes << 20U), before.rlim_max};
        setrlimit(RLIMIT_AS, &tight);
        EXPECT_THAT([&] { readImage(path); },
                    ThrowsMessage<InputError>("there is not enough memory left to read '" + path +
                                              "', 6000x6000 pixels"));
        setrlimit(RLIMIT_AS, &before);
    }
}
#endif

}  // namespace
}  // namespace tiomipra::test
