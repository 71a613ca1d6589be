// tiomipra inspect, on calibrations made of numbers.
#include <gmock/gmock.h>

#include <functional>
#include <opencv2/core.hpp>

#include "support/sample_pairs.hpp"

namespace tiomipra::test {
namespace {

using testing::HasSubstr;
using vision::Calibration;

// Focal length 500 pixels, baseline 0.12: a disparity of 60 pixels at a depth of 1.
::Rig makePair() {
    RigOptions options;
    options.baseline = 0.12F;
    options.leftCentre = {319.5F, 239.5F};
    options.rightCentreX = 319.5F;
    options.isDistorted = false;
    return makeRig(options);
}

TEST(Inspect, TellsGeometryOfUsablePair) {
    const ScratchFolder folder;
    saveRig(folder / "rig", makePair());
    const Arguments arguments{"inspect", "--calibration", folder / "rig"};
    EXPECT_THAT(runTiomipra(arguments).out, HasSubstr("baseline 0.12,"));
    const auto result = runForJson(arguments);
    EXPECT_TRUE(result["usable"]);
    EXPECT_EQ(std::string(result["program"]).rfind("tiomipra ", 0), 0U);
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
    ::Rig rig = makePair();
    GetParam().spoil(rig.left, rig.right);
    saveRig(folder / "rig", rig);
    const RunResult result = runTiomipra({"inspect", "--calibration", folder / "rig"}, 1);
    EXPECT_THAT(result.out, HasSubstr(GetParam().message));
    EXPECT_THAT(result.out, HasSubstr("What to do: "));
}

const FaultyPair faultyPairs[] = {
    {"swapped", [](auto& left, auto& right) { std::swap(left, right); },
     "swapped: the baseline is -0.12, must be above 0"},
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
    {"focalLength", [](auto& left, auto&) { left.cameraMatrix.template at<float>(0, 0) = -500; },
     "left cameraMatrix has a focal length of -500, must be above 0"},
    {"notRotation", [](auto&, auto& right) { right.rectificationMatrix *= 2; },
     "right rectificationMatrix is not a rotation"},
    {"otherRig", [](auto&, auto& right) { right.projectionMatrix.template at<float>(1, 2) = 200; },
     "differ in the principal point along y (left 239.5, right 200)"}};

INSTANTIATE_TEST_SUITE_P(Pairs, InspectFault, testing::ValuesIn(faultyPairs),
                         [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace tiomipra::test
