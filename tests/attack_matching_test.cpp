// Parameters and images that OpenCV's functions take without checking them.
#include <gtest/gtest.h>

#include <limits>
#include <vision/stereo.hpp>

#include "support/log_capture.hpp"
#include "support/matrices.hpp"
#include "support/rigs.hpp"

namespace {

using vision::Stereo;

struct Attempt {
    std::string complaint;  // none: goes well
    Stereo::StereoAlgorithm algorithm;
    cv::Size size;
    int minDisparity = 0;
    int disparityNumber = 16;
    int windowSize = 5;
    int speckleWindowSize = 0;
};

void PrintTo(const Attempt& attempt, std::ostream* out) {
    *out << attempt.size << " " << attempt.complaint;
}

class MatcherLimits : public testing::TestWithParam<Attempt> {};

TEST_P(MatcherLimits, AreKept) {
    const Attempt& attempt = GetParam();
    RigOptions options;
    options.size = attempt.size;
    const LogCapture log;
    OpenStereo stereo(makeRig(options));
    stereo.setStereoAlgorithm(attempt.algorithm);
    stereo.setMinDisparity(attempt.minDisparity);
    stereo.setDisparityNumber(attempt.disparityNumber);
    stereo.setWindowSize(attempt.windowSize);
    stereo.setSpeckleWindowSize(attempt.speckleWindowSize);
    const cv::Mat image = cv::Mat::zeros(attempt.size, CV_8UC1);
    const auto match = [&] { stereo.computeDisparity(image, image); };
    if (attempt.complaint.empty())
        EXPECT_NO_THROW(match());
    else
        EXPECT_THAT(match, Refuses<std::invalid_argument>(attempt.complaint));
}

constexpr int mostDisparities = 2147483632;

INSTANTIATE_TEST_SUITE_P(
    Attack, MatcherLimits,
    testing::Values(
        Attempt{"", Stereo::SGBM, {64, 32}, 0, mostDisparities},
        Attempt{"range of disparities is 17 to 2147483648, must end below 2147483647",
                Stereo::SGBM,
                {64, 32},
                17,
                mostDisparities},
        Attempt{"range of disparities is -2048 to -2033, must begin within -2047 and 134217727",
                Stereo::BM,
                {3000, 32},
                -2048},
        Attempt{"", Stereo::SGBM, {2200, 8}, 0, 2048},
        Attempt{"range of disparities is 1 to 2048, must not end above 2047",
                Stereo::SGBM,
                {2200, 8},
                1,
                2048},
        Attempt{"image is 40000x8, must be at most 32767 pixels long for the speckle filter",
                Stereo::SGBM,
                {40000, 8},
                0,
                16,
                5,
                1},
        Attempt{"", Stereo::SGBM, {40000, 8}}, Attempt{"", Stereo::SGBM, {27, 8}, 0, 16, 21},
        Attempt{"window is 23 pixels wide, must be less than twice the 11 columns of the image "
                "that all disparities reach",
                Stereo::SGBM,
                {27, 8},
                0,
                16,
                23},
        Attempt{"300000 columns and 2032 disparities take 2457616384 costs, must take at most "
                "2147483647",
                Stereo::SGBM,
                {302032, 1},
                0,
                2032},
        Attempt{"window of 255 pixels and 3200 disparities take 2291302400 costs, must take at "
                "most 2147483647",
                Stereo::BM,
                {5000, 3000},
                -1000,
                3200,
                255}));

// Block matching writes nothing when there are columns to match but no room for its window.
TEST(Matching, ResultHoldsNothingThatWasInMemoryBefore) {
    RigOptions options;
    options.size = {100, 64};
    OpenStereo stereo(makeRig(options));
    stereo.setMinDisparity(1);
    const cv::Mat image = makeNoise(options.size, CV_8UC1, 1);
    for (int i = 0; i < 8; ++i)
        cv::Mat(options.size, CV_16SC1, cv::Scalar(1234));
    EXPECT_THAT(stereo.computeDisparity(image, image),
                IsSameMatrix(cv::Mat(options.size, CV_32FC1, cv::Scalar(0))));
}

TEST(HostileImages, OfThreeDimensionsAreRefused) {
    const int sizes[] = {4, 4, 4};
    const cv::Mat bytes(3, sizes, CV_8UC1, cv::Scalar(0));
    const cv::Mat floats(3, sizes, CV_32FC1, cv::Scalar(0));
    RigOptions options;
    options.size = {4, 4};
    options.baseline = 0.01F;
    const LogCapture log;
    const OpenStereo stereo(makeRig(options));
    const std::string complaint = "image has more than two dimensions, must have two";
    EXPECT_THAT([&] { stereo.rectifyImages(bytes, bytes); },
                Refuses<std::invalid_argument>(complaint));
    EXPECT_THAT([&] { stereo.computeDepth(floats); }, Refuses<std::invalid_argument>(complaint));
    EXPECT_THROW(stereo.computeDisparity(bytes, bytes), std::invalid_argument);
}

}  // namespace
