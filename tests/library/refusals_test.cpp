// Inputs that don't fit: the exception, its text and what is logged, and that nothing changes.
#include <gmock/gmock.h>

#include <functional>

#include "shared/text.hpp"
#include "support/log_capture.hpp"
#include "support/rigs.hpp"

namespace tiomipra::test {
namespace {

using vision::Calibration;
using vision::Stereo;

struct Refusal {
    std::function<void()> call;
    std::string text;    // of the exception
    std::string logged;  // behind "error vision.stereo"; the text follows a colon at its end
};

void expectRefusals(std::initializer_list<Refusal> refusals) {
    for (const auto& [call, text, logged] : refusals) {
        LogCapture log(tevo::LogLevel::error);
        EXPECT_THAT(call, Refuses<std::invalid_argument>(text));
        std::vector<std::string> lines;
        if (!logged.empty()) {
            lines.push_back("error vision.stereo" + logged +
                            (vision::endsWith(logged, ": ") ? text : ""));
        }
        EXPECT_EQ(log.takeLines(), lines);
    }
}

const int cubeSides[] = {4, 4, 4};
const std::string notFlat = "image has more than two dimensions, must have two";
const std::string sizesDiffer = "Both image don't have the same size.";
const std::string sizesDifferLog = "Both images must have the same size.";

TEST(Refusals, OfImages) {
    const cv::Mat grey(480, 640, CV_8UC1), colour(480, 640, CV_8UC3);
    const cv::Mat portrait(640, 480, CV_8UC1), wide(400, 640, CV_8UC1), wider(480, 641, CV_8UC1);
    const cv::Mat cube(3, cubeSides, CV_8UC1), cubeOfFloats(3, cubeSides, CV_32FC1);
    const std::string type = "Wrong rectify type, need CV_8UC1 rectify.";
    const std::string depthType = "Wrong disparity image type, need CV_32FC1.";
    const OpenStereo stereo(makeRig());
    const OpenStereo uncalibrated, withoutHeight(makeRig({{640, 0}}));
    expectRefusals(
        {{[&] { stereo.rectifyImages(grey, wider); }, sizesDiffer,
          " rectifyImages: " + sizesDifferLog},
         {[&] { stereo.rectifyImages(grey, colour); }, "Both images don't have the same type.",
          " rectifyImages: Both images must have the same type."},
         {[&] { stereo.rectifyImageLeft(cube); }, notFlat, " _rectifyImage: "},
         {[&] { withoutHeight.rectifyImageLeft(wide); }, "Invalid aspect ratio for new calibration",
          ".calibration scaleTo: "},
         {[&] { uncalibrated.rectifyImageRight(wide); },
          "calibrations are 0x0, must be set before images of [640 x 400] are processed",
          " computeImageTransforms: "},
         {[&] { stereo.computeDisparity(grey, portrait); }, sizesDiffer,
          " computeDisparity: " + sizesDifferLog},
         {[&] { stereo.computeDisparity(grey, colour); }, type, ""},
         {[&] { stereo.computeDisparity(cube, cube); }, notFlat, " computeDisparity: "},
         {[&] { stereo.computeDisparity({}, {}); },
          "left image is 0 pixels wide, must be at least 1 pixel wide", " computeDisparity: "},
         {[&] { stereo.computeDisparity(wider, wider); },
          "left image is 641 pixels wide, must be at most as wide as the calibration, which is 640 "
          "pixels wide",
          " computeDisparity: "},
         {[&] { stereo.computeDepth(cv::Mat(480, 640, CV_32FC2)); }, depthType, ""},
         {[&] { stereo.computeDepth(cubeOfFloats); }, notFlat, " computeDepth: "}});
    EXPECT_TRUE(stereo._transforms.empty() && uncalibrated._transforms.empty());
    EXPECT_ANY_THROW(stereo.rectifyImages({}, {}));
}

TEST(Refusals, OfCalibrations) {
    const auto [left, right] = makeRig();
    const auto with = [&rig = left](cv::Mat Calibration::*field, const cv::Mat& matrix) {
        Calibration calibration = rig;
        calibration.*field = matrix;
        return calibration;
    };
    const auto camera = &Calibration::cameraMatrix;
    const auto projection = &Calibration::projectionMatrix;
    const cv::Mat square = cv::Mat::eye(3, 3, CV_32F);
    const auto scale = [](const Calibration& calibration) {
        return [calibration] { (void)calibration.scaleTo(320, 240); };
    };
    OpenStereo stereo(makeRig());
    stereo._findOrComputeTransform({64, 48}, "");
    const auto set = [&](const Calibration& first, const Calibration& second) {
        return [&stereo, first, second] { stereo.setCalibrations(first, second); };
    };
    Calibration loaded = left;
    const std::string scaling = ".calibration scaleTo: ";
    const std::string setting = " setCalibrations: ";
    const std::string rigsDiffer = "Calibrations don't have the same size.";
    const std::string rigsDifferLog =
        setting + "Left and Right calibration don't have the same size. left: ";
    expectRefusals(
        {{scale(makeRig({{640, 481}}).left), "Invalid aspect ratio for new calibration", scaling},
         {scale({}), "width of the calibration is 0, must not be 0 to be scaled", scaling},
         {scale(with(projection, square)),
          "projectionMatrix is 3x3 CV_32FC1, must be at least 2x4 CV_32FC1", scaling},
         {scale(with(projection, cv::Mat(3, cubeSides, CV_32F))),
          "projectionMatrix is 3-dimensional CV_32FC1, must be at least 2x4 CV_32FC1", scaling},
         {scale(with(camera, cv::Mat::eye(3, 3, CV_64F))),
          "cameraMatrix is 3x3 CV_64FC1, must be at least 2x3 CV_32FC1", scaling},
         {set(makeRig({{641, 480}}).left, right), rigsDiffer,
          rigsDifferLog + "641x480 right: 640x480"},
         {set(with(projection, {}), right),
          "left projectionMatrix is 0x0 CV_8UC1, must be at least 1x4 CV_32FC1", setting},
         {set(left, with(projection, square)),
          "right projectionMatrix is 3x3 CV_32FC1, must be at least 1x4 CV_32FC1", setting},
         {[&] { loaded.load(""); }, "Invalid calibration file: \"\".", ".calibration load: "},
         {[&] { loaded.save(""); }, "Invalid calibration save file: ", ".calibration save: "}});
    EXPECT_EQ(loaded, left);
    EXPECT_EQ(stereo.getCalibrations(), std::pair(left, right));
    EXPECT_EQ(stereo.getMinDisparity(), 12);  // floor(500 * 0.125 / 5)
    EXPECT_EQ(stereo._transforms.size(), 1U);
}

// Parameters that OpenCV's matchers take without checking them.
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
    {Stereo::SGBM, {64, 32}, 17, mostDisparities, 5, 0,
     "range of disparities is 17 to 2147483648, must end below 2147483647"},
    {Stereo::BM, {3000, 8}, 2990, 16, 5, 0, ""},
    {Stereo::BM, {134217728, 1}, 134217728, 16, 5, 0,
     "range of disparities is 134217728 to 134217743, must begin within -2047 and 134217727"},
    {Stereo::SGBM, {2200, 8}, 0, 2048, 5, 0, ""},
    {Stereo::SGBM, {2200, 8}, 1, 2048, 5, 0,
     "range of disparities is 1 to 2048, must not end above 2047"},
    {Stereo::SGBM, {40000, 8}, 0, 16, 5, 0, ""},
    {Stereo::SGBM, {40000, 8}, 0, 16, 5, 1,
     "image is 40000x8, must be at most 32767 pixels long for the speckle filter"},
    {Stereo::SGBM, {15500, 15500}, 0, 16, 5, 1,
     "image is 15500x15500, must have at most 238609294 pixels for the speckle filter"},
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
