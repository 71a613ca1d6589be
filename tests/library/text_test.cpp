#include "shared/text.hpp"

#include <gmock/gmock.h>

namespace tiomipra::test {
namespace {

TEST(Text, StartsAndEndsWith) {
    EXPECT_TRUE(vision::startsWith("left.yml", "left"));
    EXPECT_TRUE(vision::startsWith("left", ""));
    EXPECT_FALSE(vision::startsWith("le", "left"));
    EXPECT_FALSE(vision::startsWith("right.yml", "yml"));
    EXPECT_TRUE(vision::endsWith("left.yml", ".yml"));
    EXPECT_TRUE(vision::endsWith("left", ""));
    EXPECT_FALSE(vision::endsWith("yml", ".yml"));
    EXPECT_FALSE(vision::endsWith("left.yml", "left"));
}

TEST(Text, DescribesSizesAndMatrices) {
    const int sizes[] = {2, 4, 2};
    EXPECT_EQ(vision::describe(cv::Size(640, 480)), "640x480");
    EXPECT_EQ(vision::describe(cv::Mat(3, 4, CV_64FC1)), "3x4 CV_64FC1");
    EXPECT_EQ(vision::describe(cv::Mat(3, sizes, CV_8UC3)), "3-dimensional CV_8UC3");
    EXPECT_EQ(vision::describe(cv::Mat(0, 5, CV_32FC1)), "empty");
    EXPECT_EQ(vision::describeShape(cv::Mat(0, 5, CV_32FC1)), "0x5 CV_32FC1");
}

}  // namespace
}  // namespace tiomipra::test
