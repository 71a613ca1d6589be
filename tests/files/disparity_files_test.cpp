// Disparities in the formats of files, and what those can't hold.
#include "files/disparity_files.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>

#include "base/errors.hpp"
#include "files/image_files.hpp"
#include "support/matrices.hpp"
#include "support/scratch_folder.hpp"

namespace tiomipra::test {
namespace {

const float nan = std::nanf("");

// 0.001 and 300 times 256 are beyond 1 and 65535, the last one was not measured.
TEST(DisparityFiles, FixedPointCountsWhatItCannotHold) {
    const cv::Mat values = (cv::Mat_<float>(1, 5) << 1.5F, 0.001F, 300, 255.99F, 7);
    const cv::Mat measured = (cv::Mat_<uchar>(1, 5) << 255, 255, 255, 255, 0);
    const FixedPointImage image = toFixedPoint(values, measured, 1. / 256);
    EXPECT_THAT(image.pixels,
                IsSameMatrix(cv::Mat((cv::Mat_<ushort>(1, 5) << 384, 0, 0, 65533, 0))));
    EXPECT_EQ(image.outOfRange, 2);
}

TEST(DisparityFiles, AreReadAsPixelsWhateverTheirFormat) {
    const ScratchFolder folder;
    const cv::Mat expected = (cv::Mat_<float>(1, 3) << nan, 2, 127.5F);
    writeImage(folder.path("float.tiff"), expected);
    writeImage(folder.path("sixteen.png"), (cv::Mat_<ushort>(1, 3) << 0, 512, 32640));
    writeImage(folder.path("eight.png"), (cv::Mat_<uchar>(1, 3) << 0, 4, 255));
    EXPECT_THAT(readDisparity(folder.path("float.tiff")), IsSameMatrix(expected));
    EXPECT_THAT(readDisparity(folder.path("sixteen.png")), IsSameMatrix(expected));
    EXPECT_THAT(readDisparity(folder.path("sixteen.png"), 256.), IsSameMatrix(expected));
    EXPECT_THAT(readDisparity(folder.path("eight.png"), 2.), IsSameMatrix(expected));
    EXPECT_THROW(readDisparity(folder.path("eight.png")), InputError);
    writeImage(folder.path("colour.png"), cv::Mat::zeros(2, 2, CV_8UC3));
    EXPECT_THROW(readDisparity(folder.path("colour.png")), InputError);
}

// Rows from bottom to top; the size of the scale says nothing. OpenCV is asked for the same file.
TEST(DisparityFiles, PortableFloatMapsNeedNoOpenCv) {
    const ScratchFolder folder;
    const cv::Mat values = (cv::Mat_<float>(2, 3) << nan, 2, 127.5F, 7, 8, 9);
    const auto* const bytes = values.ptr<char>();
    const std::string rows = std::string(bytes + 12, 12) + std::string(bytes, 12);
    std::string swapped = rows;
    for (auto value = swapped.begin(); value != swapped.end(); value += 4)
        std::reverse(value, value + 4);
    for (const std::string& file : {"Pf\n3 2\n-0.25\n" + rows, "Pf 3\n2 -1e2 " + rows + "more",
                                    "Pf\r\n3 2\r\n-1\r\n" + rows, "Pf\n3 2\n2\n" + swapped})
        EXPECT_THAT(readDisparity(folder.write("a.pfm", file)), IsSameMatrix(values));
    for (const std::string& file :
         {"Pf\n3 2\n-1\n" + rows.substr(1), "Pf\n3 2\n0\n" + rows, "Pf\n3 -2\n-1\n" + rows,
          "Pf\n3 2\nnan\n" + rows, std::string("Pf\n3 2"), "Pf\n6 9223372036854775807 -1\n" + rows})
        EXPECT_THROW(readDisparity(folder.write("bad.pfm", file)), InputError) << file;
    writeImage(folder.path("by_opencv.pfm"), values);
    EXPECT_EQ(encodeFloats("a.pfm", values, cv::Mat(2, 3, CV_8U, 255)),
              readFile(folder.path("by_opencv.pfm")));
}

}  // namespace
}  // namespace tiomipra::test
