// tiomipra inspect, on calibrations made of numbers.
#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>
#include <vision/calibration.hpp>

#include "support/run_program.hpp"

namespace tiomipra::test {
namespace {

using vision::Calibration;

// Focal length 500 pixels, baseline 0.12: a disparity of 60 pixels at a depth of 1.
Calibration makeCalibration(float offset) {
    Calibration calibration;
    calibration.width = 640;
    calibration.height = 480;
    calibration.cameraMatrix = (cv::Mat_<float>(3, 3) << 500, 0, 319.5, 0, 500, 239.5, 0, 0, 1);
    calibration.distortion = cv::Mat::zeros(1, 5, CV_32F);
    calibration.rectificationMatrix = cv::Mat::eye(3, 3, CV_32F);
    calibration.projectionMatrix = cv::Mat::zeros(3, 4, CV_32F);
    calibration.cameraMatrix.copyTo(calibration.projectionMatrix.colRange(0, 3));
    calibration.projectionMatrix.at<float>(0, 3) = 500 * offset;
    return calibration;
}

std::vector<std::string> saveAndNameFiles(const ScratchFolder& folder, const Calibration& left,
                                          const Calibration& right) {
    left.save(folder / "left.yml");
    right.save(folder / "right.yml");
    return {"inspect", "--calibration", folder / "."};
}

TEST(Inspect, TellsGeometryOfUsablePair) {
    const ScratchFolder folder;
    auto arguments = saveAndNameFiles(folder, makeCalibration(0.F), makeCalibration(-0.12F));
    const RunResult text = runTiomipra(arguments);
    EXPECT_EQ(text.status, 0) << text.err;
    EXPECT_NE(text.out.find("baseline 0.12,"), std::string::npos) << text.out;

    arguments.emplace_back("--json");
    const auto result = nlohmann::json::parse(runTiomipra(arguments).out);
    EXPECT_TRUE(result["usable"]);
    const auto& rig = result["rig"];
    EXPECT_NEAR(rig["baseline"], 0.12, 1e-6);
    // 2 atan(320 / 500)
    EXPECT_NEAR(rig["left"]["fieldOfViewDegrees"]["horizontal"], 65.238, 1e-3);
    bool knowsDepthOfOne = false;
    for (const auto& step : rig["depths"]) {
        const double depth = step["depth"];
        EXPECT_NEAR(step["disparity"], 60 / depth, 1e-4);
        const double oneStepCloser = 60 / (60 / depth + 1. / 16);
        EXPECT_NEAR(step["resolution"], depth - oneStepCloser, 0.04 * depth);
        knowsDepthOfOne |= depth == 1;
    }
    EXPECT_TRUE(knowsDepthOfOne);
}

struct FaultyPair {
    std::string name;
    std::function<void(Calibration& left, Calibration& right)> spoil;
    std::string message;
};

class InspectFault : public testing::TestWithParam<FaultyPair> {};

TEST_P(InspectFault, IsNamedWithRemedy) {
    const ScratchFolder folder;
    Calibration left = makeCalibration(0.F);
    Calibration right = makeCalibration(-0.12F);
    GetParam().spoil(left, right);
    const RunResult result = runTiomipra(saveAndNameFiles(folder, left, right));
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.out.find(GetParam().message), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("What to do: "), std::string::npos) << result.out;
}

const FaultyPair faultyPairs[] = {
    {"swapped", [](auto& left, auto& right) { std::swap(left, right); },
     "swapped: the baseline is -0.12, must be above 0"},
    {"sameCamera", [](auto& left, auto& right) { right = left; }, "the baseline is 0"},
    {"vertical",
     [](auto&, auto& right) {
         std::swap(right.projectionMatrix.template at<float>(0, 3),
                   right.projectionMatrix.template at<float>(1, 3));
     },
     "the cameras lie above each other"},
    {"doubles", [](auto& left, auto&) { left.cameraMatrix.convertTo(left.cameraMatrix, CV_64F); },
     "left cameraMatrix is 3x3 CV_64FC1, must be 3x3 CV_32FC1"},
    {"shape", [](auto&, auto& right) { right.projectionMatrix = cv::Mat::eye(3, 3, CV_32F); },
     "right projectionMatrix is 3x3 CV_32FC1, must be 3x4 CV_32FC1"},
    {"distortion", [](auto& left, auto&) { left.distortion = cv::Mat::zeros(1, 3, CV_32F); },
     "left distortion is 1x3 CV_32FC1"},
    {"notFinite",
     [](auto& left, auto&) {
         left.distortion.template at<float>(2) = std::numeric_limits<float>::quiet_NaN();
     },
     "left distortion is not finite at row 0, column 2"},
    {"sizes", [](auto&, auto& right) { right.width = 320; },
     "the image sizes differ (left 640x480, right 320x480)"},
    {"focalLength", [](auto& left, auto&) { left.cameraMatrix.template at<float>(0, 0) = -500; },
     "left cameraMatrix has a focal length of -500, must be above 0"},
    {"notRotation", [](auto&, auto& right) { right.rectificationMatrix *= 2; },
     "right rectificationMatrix is not a rotation"},
    {"otherRig", [](auto&, auto& right) { right.projectionMatrix.template at<float>(1, 2) = 200; },
     "differ in the principal point along y (left 239.5, right 200)"}};

INSTANTIATE_TEST_SUITE_P(Pairs, InspectFault, testing::ValuesIn(faultyPairs),
                         [](const auto& test) { return test.param.name; });

TEST(Inspect, RefusesWhatIsNoCalibration) {
    const ScratchFolder folder;
    EXPECT_EQ(runTiomipra({"inspect"}).status, 2);
    const RunResult missing = runTiomipra({"inspect", "--calibration", folder / "nowhere"});
    EXPECT_EQ(missing.status, 3);
    EXPECT_NE(missing.err.find("nowhere/left.yml"), std::string::npos) << missing.err;
    EXPECT_EQ(missing.out, "");
}

}  // namespace
}  // namespace tiomipra::test
