#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <type_traits>

#include "support/log_capture.hpp"
#include "support/matrices.hpp"
#include "support/rigs.hpp"

namespace tiomipra::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vision::Calibration;
using vision::Stereo;

static_assert(!std::is_copy_constructible_v<Stereo> && !std::is_copy_assignable_v<Stereo>);
static_assert(std::has_virtual_destructor_v<Stereo>);

TEST(StereoCalibrations, AreEmptyAtFirstThenCopiedInAndOut) {
    EXPECT_EQ(Stereo().getCalibrations(), std::pair(Calibration(), Calibration()));
    CalibrationPair rig = makeRig();
    OpenStereo stereo(rig);
    rig.left.projectionMatrix.setTo(0);
    rig.right.cameraMatrix.setTo(0);
    stereo.getCalibrations().first.distortion.setTo(7);
    EXPECT_EQ(stereo.getCalibrations(), std::pair(makeRig().left, makeRig().right));
}

// Calibrations that hold nothing but what the minimum disparity is derived from.
CalibrationPair makeBareRig(float leftCentre, float rightCentre, float translation) {
    CalibrationPair rig;
    rig.left.width = rig.right.width = 640;
    rig.left.projectionMatrix = (cv::Mat_<float>(1, 4) << 0, 0, leftCentre, 0);
    rig.right.projectionMatrix = (cv::Mat_<float>(1, 4) << 0, 0, rightCentre, translation);
    return rig;
}

TEST(StereoCalibrations, MinDisparityIsThatOfThePointsAtTheMaximumDepth) {
    Stereo stereo;
    const std::tuple<float, float, float, float, int> cases[] = {
        {320, 310, -30, 5, 16}, {320, 320, -30, infinity, 0}, {640, 0, 0, 5, 640},
        {0, 640, 0, 5, -640},   {300, 310, -30, 4, -3},  // rounded down, not towards zero
        {0, 0, -3, .6F, 5}};                             // 4.99... in double precision
    for (const auto& [leftCentre, rightCentre, translation, maxDepth, expected] : cases) {
        const CalibrationPair rig = makeBareRig(leftCentre, rightCentre, translation);
        stereo.setMaxDepth(maxDepth);
        stereo.setCalibrations(rig.left, rig.right);
        EXPECT_EQ(stereo.getMinDisparity(), expected);
        stereo.setMaxDepth(1);
        EXPECT_EQ(stereo.getMinDisparity(), expected);
    }
}

TEST(StereoCalibrations, StayStoredWhenTheMinDisparityIsOutOfRange) {
    LogCapture log;
    OpenStereo stereo(makeRig());
    stereo._findOrComputeTransform({64, 48}, "");
    log.takeLines();
    const std::string unrepresentable = "-2147483648";
    const std::tuple<float, float, std::string> cases[] = {{-700, 1, "700"},
                                                           {641, 1, "-641"},
                                                           {2147483648.F, 1, unrepresentable},
                                                           {-infinity, 1, unrepresentable},
                                                           {-30, std::nanf(""), unrepresentable}};
    for (const auto& [translation, maxDepth, value] : cases) {
        const CalibrationPair rig = makeBareRig(0, 0, translation);
        stereo.setMaxDepth(maxDepth);
        EXPECT_THAT([&] { stereo.setCalibrations(rig.left, rig.right); },
                    Refuses<std::range_error>("Invalid min disparity."));
        EXPECT_THAT(log.takeLines(), ElementsAre("error vision.stereo setMinDisparity: Invalid "
                                                 "min disparity (" +
                                                 value + ")."));
        EXPECT_EQ(stereo.getMinDisparity(), 12);
        EXPECT_EQ(stereo.getCalibrations(), std::pair(rig.left, rig.right));
        EXPECT_THAT(stereo._transforms, IsEmpty());
    }
    // The negation of the smallest int overflows.
    stereo.setMaxDepth(1);
    CalibrationPair rig = makeBareRig(0, 0, -30);
    rig.left.width = rig.right.width = std::numeric_limits<int>::min();
    EXPECT_THROW(stereo.setCalibrations(rig.left, rig.right), std::range_error);
}

}  // namespace
}  // namespace tiomipra::test
