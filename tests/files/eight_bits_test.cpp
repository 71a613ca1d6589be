// What becomes of images of other depths, by values.
#include "files/eight_bits.hpp"

#include <gmock/gmock.h>

#include <opencv2/core.hpp>

#include "support/matrices.hpp"

namespace tiomipra::test {
namespace {

// 0 to 255 evenly, in a column for each, four of each for colour.
cv::Mat ramp(int type) {
    cv::Mat image(40, 256, type);
    for (int x = 0; x < image.cols; ++x)
        image.col(x).setTo(cv::Scalar::all(x));
    return image;
}

struct Stretched {
    cv::Mat left, right;
    std::string change;
};

Stretched stretch(cv::Mat left, cv::Mat right) {
    const std::string change = stretchToEightBits(left, right);
    return {left, right, change};
}

cv::Mat deep(int depth, double factor, double offset, int channels = 1) {
    cv::Mat image;
    ramp(CV_8UC(channels)).convertTo(image, depth, factor, offset);
    return image;
}

// By a power of two when at least half of the levels are used: bit for bit what 8 bits would be.
TEST(EightBits, AreThoseOfTheCameraForUnsignedNumbers) {
    for (const int channels : {1, 3}) {
        const cv::Mat eight = ramp(CV_8UC(channels));
        for (const int factor : {4, 16, 64}) {
            const Stretched pair = stretch(deep(CV_16U, factor, 0, channels),
                                           deep(CV_16U, factor, factor / 2, channels));
            EXPECT_THAT(pair.left, IsSameMatrix(eight)) << factor;
            EXPECT_THAT(pair.right, IsSameMatrix(eight)) << factor;
            EXPECT_EQ(pair.change, "values from 0 to " + std::to_string(256 * factor) +
                                       " are stretched to 8 bits");
        }
        // All 16 bits: the upper byte, as a decoder for 8 bits takes it, and not worth a word.
        const Stretched full = stretch(deep(CV_16U, 257, 0, channels), eight);
        EXPECT_THAT(full.left, IsSameMatrix(eight));
        EXPECT_EQ(full.change, "");
        EXPECT_EQ(stretch(eight, eight).left.data, eight.data);
    }
}

// 12 bits, of which 2049 levels are used, and 2047.
TEST(EightBits, KeepUnusedLevelsUpToHalfOfThem) {
    const auto between = [](double lowest, double highest) {
        const cv::Mat image = deep(CV_16U, (highest - lowest) / 255, lowest);
        return stretch(image, image);
    };
    EXPECT_EQ(between(951, 3000).left.at<unsigned char>(0, 255), 3000 / 16);
    EXPECT_EQ(between(953, 3000).left.at<unsigned char>(0, 255), 255);
}

// What has an offset, a sign or a point spans 256 levels; the right image, half as bright, alike.
TEST(EightBits, SpanWhatThePairHolds) {
    for (const auto& [depth, factor, offset] :
         {std::tuple(CV_16U, 8., 7000.), std::tuple(CV_16S, 100., -12000.),
          std::tuple(CV_32F, 1e-3, 0.), std::tuple(CV_64F, 1e200, 5e200),
          std::tuple(CV_32S, 1000., 0.)}) {
        const Stretched pair =
            stretch(deep(depth, factor, offset), deep(depth, factor / 2, offset));
        ASSERT_EQ(pair.left.type(), CV_8UC1);
        EXPECT_LE(cv::norm(pair.left, ramp(CV_8UC1), cv::NORM_INF), 1) << depth;
        EXPECT_NEAR(pair.right.at<unsigned char>(0, 200), 100, 1) << depth;
        EXPECT_THAT(pair.change, testing::HasSubstr("are stretched"));
    }
}

TEST(EightBits, AreNotDecidedByAFewStrayValues) {
    const float infinite = std::numeric_limits<float>::infinity();
    cv::Mat left = deep(CV_32F, 1, 0);
    const float strays[] = {std::nanf(""), infinite, -infinite, 1e30F};
    for (int i = 0; i < 4; ++i)
        left.at<float>(i, 100) = strays[i];
    const Stretched pair = stretch(left, deep(CV_32F, 1, 0));
    const int expected[] = {0, 255, 0, 255};
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(pair.left.at<unsigned char>(i, 100), expected[i]);
    EXPECT_LE(cv::norm(pair.left.rowRange(4, 40), ramp(CV_8UC1).rowRange(4, 40), cv::NORM_INF), 1);
    const cv::Mat nothing(4, 4, CV_32FC1, cv::Scalar(std::nanf("")));
    EXPECT_EQ(cv::countNonZero(stretch(nothing, nothing).left), 0);
    const cv::Mat constant(4, 4, CV_32FC1, cv::Scalar(3));
    EXPECT_EQ(cv::countNonZero(stretch(constant, constant).left), 0);
}

}  // namespace
}  // namespace tiomipra::test
