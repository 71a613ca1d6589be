// tiomipra inspect, on calibrations made of numbers.
#include <gmock/gmock.h>

#include "support/sample_pairs.hpp"

namespace tiomipra::test {
namespace {

using testing::HasSubstr;

TEST(Inspect, TellsGeometryOfUsablePair) {
    // A disparity of 60 pixels at a depth of 1.
    RigOptions options;
    options.baseline = 0.12F;
    options.isDistorted = false;
    const ScratchFolder folder;
    saveRig(folder / "rig", makeRig(options));
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

TEST(Inspect, NamesFaultsWithTheirRemedies) {
    const CalibrationPair rig = makeRig();
    const ScratchFolder folder;
    saveRig(folder / "rig", {rig.right, rig.left});
    EXPECT_THAT(runTiomipra({"inspect", "--calibration", folder / "rig"}, 1).out,
                testing::ContainsRegex("swapped: the baseline is -0.125, .*\n  What to do: "));
}

}  // namespace
}  // namespace tiomipra::test
