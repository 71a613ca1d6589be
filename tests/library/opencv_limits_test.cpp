// Parameters that OpenCV's matchers take without checking them.
#include <gtest/gtest.h>

#include "support/log_capture.hpp"
#include "support/rigs.hpp"

namespace tiomipra::test {
namespace {

using vision::Stereo;

struct Attempt {
    Stereo::StereoAlgorithm algorithm;
    cv::Size size;
    int minDisparity;
    int disparityNumber;
    int windowSize;
    int speckleWindowSize;
    std::string complaint;  // empty if the attempt succeeds
    int reduction = 1;      // calibrated size / image size
};

constexpr int mostDisparities = 2147483632;

// clang-format off
const Attempt attempts[] = {
    {Stereo::SGBM, {64, 32}, 0, mostDisparities, 5, 0, ""},
    {Stereo::SGBM, {64, 32}, 17, mostDisparities, 5, 0,
     "range of disparities is 17 to 2147483648, must end below 2147483647"},
    {Stereo::BM, {64, 32}, 0, mostDisparities, 5, 0, ""},
    {Stereo::BM, {3000, 8}, 2990, 16, 5, 0, ""},
    {Stereo::BM, {134217728, 1}, 134217728, 16, 5, 0,
     "range of disparities is 134217728 to 134217743, must begin within -2047 and 134217727"},
    {Stereo::BM, {3000, 32}, -2048, 16, 5, 0,
     "range of disparities is -2048 to -2033, must begin within -2047 and 134217727"},
    {Stereo::SGBM, {2200, 8}, 0, 2048, 5, 0, ""},
    {Stereo::SGBM, {2200, 8}, 1, 2048, 5, 0,
     "range of disparities is 1 to 2048, must not end above 2047"},
    {Stereo::BM, {2200, 8}, 1, 2048, 5, 0,
     "range of disparities is 1 to 2048, must not end above 2047"},
    {Stereo::SGBM, {40000, 8}, 0, 16, 5, 0, ""},
    {Stereo::SGBM, {40000, 8}, 0, 16, 5, 1,
     "image is 40000x8, must be at most 32767 pixels long for the speckle filter"},
    {Stereo::SGBM, {15500, 15500}, 0, 16, 5, 1,
     "image is 15500x15500, must have at most 238609294 pixels for the speckle filter"},
    {Stereo::SGBM, {27, 8}, -10, 16, 21, 0, ""},
    {Stereo::SGBM, {27, 8}, -10, 16, 23, 0,
     "window is 23 pixels wide, must be less than twice the 11 columns of the image that all "
     "disparities reach"},
    // The window shrinks to 0, for which OpenCV takes 5.
    {Stereo::SGBM, {50, 40}, 0, 80, 5, 400,
     "window is 5 pixels wide, must be less than twice the 2 columns of the image that all "
     "disparities reach", 5},
    {Stereo::SGBM, {302032, 1}, 0, 2032, 5, 0,
     "300000 columns and 2032 disparities take 2457616384 costs, must take at most 2147483647"},
    {Stereo::BM, {5000, 3000}, -1000, 3200, 255, 0,
     "window of 255 pixels and 3200 disparities take 2291302400 costs, must take at most "
     "2147483647"}};
// clang-format on

TEST(OpenCvLimits, AreKept) {
    const LogCapture log;
    for (const Attempt& attempt : attempts) {
        OpenStereo stereo(makeRig({attempt.size * attempt.reduction}));
        stereo.setStereoAlgorithm(attempt.algorithm);
        stereo.setMinDisparity(attempt.minDisparity);
        stereo.setDisparityNumber(attempt.disparityNumber);
        stereo.setWindowSize(attempt.windowSize);
        stereo.setSpeckleWindowSize(attempt.speckleWindowSize);
        const cv::Mat image = cv::Mat::zeros(attempt.size, CV_8UC1);
        const auto match = [&] { stereo.computeDisparity(image, image); };
        if (attempt.complaint.empty())
            EXPECT_NO_THROW(match()) << attempt.size;
        else
            EXPECT_THAT(match, Refuses<std::invalid_argument>(attempt.complaint));
    }
}

}  // namespace
}  // namespace tiomipra::test
