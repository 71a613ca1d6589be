// Point clouds byte by byte.
#include "files/cloud_files.hpp"

#include <gmock/gmock.h>

namespace tiomipra::test {
namespace {

// The headers as the formats' definitions have them; a third of 1 takes all digits of a float.
TEST(CloudFiles, HoldMeasuredPointsInTheirColours) {
    const cv::Mat points = (cv::Mat_<cv::Vec3f>(1, 3) << cv::Vec3f(7, 8, 9),
                            cv::Vec3f(1.F / 3, 2, 3), cv::Vec3f(-4, 5, 6));
    const cv::Mat measured = (cv::Mat_<uchar>(1, 3) << 0, 255, 255);
    const cv::Mat colours = (cv::Mat_<cv::Vec3b>(1, 3) << cv::Vec3b(1, 1, 1), cv::Vec3b(10, 20, 30),
                             cv::Vec3b(40, 50, 60));  // blue, green, red
    const cv::Mat grey = (cv::Mat_<uchar>(1, 3) << 1, 2, 3);
    EXPECT_EQ(collectCloud(points, measured, grey)[1].colour, cv::Vec3b(3, 3, 3));
    const auto cloud = collectCloud(points, measured, colours);
    const std::string properties =
        "element vertex 2\nproperty float x\nproperty float y\nproperty float z\n"
        "property uchar red\nproperty uchar green\nproperty uchar blue\nend_header\n";
    const std::string first("\xab\xaa\xaa\x3e\0\0\0\x40\0\0\x40\x40", 12);
    const std::string second("\0\0\x80\xc0\0\0\xa0\x40\0\0\xc0\x40", 12);
    EXPECT_EQ(encodeCloud(cloud, CloudFormat::plyText, {"by: a\nelement"}),
              "ply\nformat ascii 1.0\ncomment by: a\\nelement\n" + properties +
                  "0.33333334 2 3 30 20 10\n-4 5 6 60 50 40\n");
    EXPECT_EQ(encodeCloud(cloud, CloudFormat::plyBinary, {}),
              "ply\nformat binary_little_endian 1.0\n" + properties + first + "\x1e\x14\x0a" +
                  second + "\x3c\x32\x28");
    EXPECT_EQ(encodeCloud(cloud, CloudFormat::pcd, {"by: a\nelement"}),
              "# .PCD v0.7 - Point Cloud Data file format\n# by: a\\nelement\n"
              "VERSION 0.7\nFIELDS x y z rgb\nSIZE 4 4 4 4\nTYPE F F F F\nCOUNT 1 1 1 1\n"
              "WIDTH 2\nHEIGHT 1\nVIEWPOINT 0 0 0 1 0 0 0\nPOINTS 2\nDATA binary\n" +
                  first + std::string("\x0a\x14\x1e\0", 4) + second +
                  std::string("\x28\x32\x3c\0", 4));
}

}  // namespace
}  // namespace tiomipra::test
