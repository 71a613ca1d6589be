// The pictures for people.
#include "reports/pictures.hpp"

#include <gmock/gmock.h>

#include <limits>
#include <opencv2/core.hpp>

namespace tiomipra::test {
namespace {

TEST(Pictures, TicksAreRound) {
    EXPECT_THAT(roundTicks(8, 20, 8), testing::ElementsAre(8, 10, 12, 14, 16, 18, 20));
    EXPECT_THAT(roundTicks(-0.31, 0.32, 4),
                testing::Pointwise(testing::DoubleEq(), {-0.2, 0.0, 0.2}));
}

// Strays are left out.
TEST(Pictures, ScalesSpanNearlyAllValues) {
    const Statistics spread{1000, 0.1, 2, 2.5, 3, 3.5, 4, 900}, same{1000, 0.1, 2, 2, 2, 2, 2, 900};
    const struct {
        Statistics statistics;
        std::optional<Interval> wanted;
        double low, high;
    } cases[] = {{spread, {}, 2, 4}, {same, {}, 1.5, 2.5}, {{}, Interval{-1, 64}, -1, 64}};
    for (const auto& [statistics, wanted, low, high] : cases) {
        const ColourScale scale = chooseScale("depth", statistics, wanted);
        EXPECT_EQ(scale.low, low);
        EXPECT_EQ(scale.high, high);
    }
    EXPECT_EQ(titleOf("depth", "left01", "m"), "depth of left01 (m)");
    EXPECT_EQ(titleOf("depth", "h\u00f6he", "m"), "depth (m)");
}

TEST(Pictures, FitImagesOfAnySize) {
    const ColourScale scale{"a title that is longer than a small picture is wide", 0, 1, false};
    for (const cv::Size size : {cv::Size(1, 1), cv::Size(33, 400), cv::Size(2000, 20)}) {
        const cv::Mat picture =
            drawColourPicture(cv::Mat(size, CV_32FC1, 0.5F), cv::Mat(size, CV_8UC1, 255), scale);
        EXPECT_GE(picture.cols, size.width);
        EXPECT_GT(picture.rows, size.height);
    }
}

TEST(Pictures, RowLinesCrossBothImagesAtTheSameHeight) {
    const cv::Mat left(240, 320, CV_8UC1, cv::Scalar(100));
    const cv::Mat right(240, 320, CV_8UC3, cv::Scalar(100, 100, 100));
    const cv::Mat picture = drawRowLines(left, right);
    EXPECT_EQ(cv::norm(picture.col(10), picture.col(630)), 0);
    cv::Mat isPlain;
    cv::inRange(picture.col(10), cv::Scalar::all(100), cv::Scalar::all(100), isPlain);
    const int lines = cv::countNonZero(isPlain == 0);
    EXPECT_GT(lines, 10);
    EXPECT_LT(lines, 80);
}

}  // namespace
}  // namespace tiomipra::test
