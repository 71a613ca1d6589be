// What becomes of images of other depths, by values.
#include "files/eight_bits.hpp"

#include <gmock/gmock.h>

#include <opencv2/core.hpp>

#include "support/matrices.hpp"

namespace tiomipra::test {
namespace {

// Factor times 0 to 255, plus the offset, in a column for each.
cv::Mat ramp(int type, double factor = 1, double offset = 0) {
    cv::Mat image(40, 256, CV_8UC(CV_MAT_CN(type)));
    for (int x = 0; x < image.cols; ++x)
        image.col(x).setTo(cv::Scalar::all(x));
    image.convertTo(image, type, factor, offset);
    return image;
}

struct Stretched {
    cv::Mat left, right;
    std::string change = stretchToEightBits(left, right);
};

// By a power of two when at least half of the levels are used: bit for bit what 8 bits would be.
TEST(EightBits, AreThoseOfTheCameraForUnsignedNumbers) {
    for (const int channels : {1, 3}) {
        const cv::Mat eight = ramp(CV_8UC(channels));
        for (const int factor : {4, 16, 64}) {
            const int type = CV_16UC(channels);
            const Stretched pair{ramp(type, factor), ramp(type, factor, factor / 2)};
            EXPECT_THAT(pair.left, IsSameMatrix(eight)) << factor;
            EXPECT_THAT(pair.right, IsSameMatrix(eight)) << factor;
            EXPECT_EQ(pair.change, "values from 0 to " + std::to_string(256 * factor) +
                                       " are stretched to 8 bits");
        }
        // All 16 bits: the upper byte, as a decoder for 8 bits takes it, and not worth a word.
        const Stretched full{ramp(CV_16UC(channels), 257), eight};
        EXPECT_THAT(full.left, IsSameMatrix(eight));
        EXPECT_EQ(full.change, "");
        EXPECT_EQ((Stretched{eight, eight}).left.data, eight.data);
    }
}

// 12 bits, of which 2049 levels are used, and 2047.
TEST(EightBits, KeepUnusedLevelsUpToHalfOfThem) {
    for (const auto& [lowest, expected] : {std::pair(951, 3000 / 16), std::pair(953, 255)}) {
        const cv::Mat image = ramp(CV_16UC1, (3000 - lowest) / 255., lowest);
        EXPECT_EQ((Stretched{image, image}).left.at<unsigned char>(0, 255), expected);
    }
}

// What has an offset, a sign or a point spans 256 levels; the right image, half as bright, alike.
TEST(EightBits, SpanWhatThePairHolds) {
    for (const auto& [depth, factor, offset] :
         {std::tuple(CV_16U, 8., 7000.), std::tuple(CV_16S, 100., -12000.),
          std::tuple(CV_32F, 1e-3, 0.), std::tuple(CV_64F, 1e200, 5e200),
          std::tuple(CV_32S, 1000., 0.)}) {
        const Stretched pair{ramp(depth, factor, offset), ramp(depth, factor / 2, offset)};
        ASSERT_EQ(pair.left.type(), CV_8UC1);
        EXPECT_LE(cv::norm(pair.left, ramp(CV_8UC1), cv::NORM_INF), 1) << depth;
        EXPECT_NEAR(pair.right.at<unsigned char>(0, 200), 100, 1) << depth;
        EXPECT_THAT(pair.change, testing::HasSubstr("are stretched"));
    }
}

TEST(EightBits, AreNotDecidedByAFewStrayValues) {
    cv::Mat left = ramp(CV_32FC1);
    const std::pair<float, int> strays[] = {
        {std::nanf(""), 0}, {infinity, 255}, {-infinity, 0}, {1e30F, 255}};
    for (int i = 0; i < 4; ++i)
        left.at<float>(i, 100) = strays[i].first;
    const Stretched pair{left, ramp(CV_32FC1)};
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(pair.left.at<unsigned char>(i, 100), strays[i].second);
    EXPECT_LE(cv::norm(pair.left.rowRange(4, 40), ramp(CV_8UC1).rowRange(4, 40), cv::NORM_INF), 1);
    for (const float constant : {std::nanf(""), 3.F}) {
        const cv::Mat image(4, 4, CV_32FC1, cv::Scalar(constant));
        EXPECT_EQ(cv::countNonZero(Stretched{image, image}.left), 0);
    }
}

}  // namespace
}  // namespace tiomipra::test
