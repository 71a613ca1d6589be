// tiomipra inspect, on calibrations made of numbers.
#include <gmock/gmock.h>

#include "support/sample_pairs.hpp"

namespace tiomipra::test {
namespace {

using testing::HasSubstr;

TEST(Inspect, TellsWhetherAPairIsUsable) {
    const SamplePairs pairs(0);
    const Arguments arguments{"inspect", "--calibration", pairs / "rig"};
    EXPECT_THAT(runTiomipra(arguments).out,
                testing::AllOf(HasSubstr("baseline 0.125,"), HasSubstr("The pair is usable.")));
    const auto usable = runForJson(arguments);
    EXPECT_TRUE(usable["usable"]);
    EXPECT_EQ(usable["leftCalibration"], pairs / "rig/left.yml");
    EXPECT_FALSE(usable.contains("unit"));

    const std::string hash = usable["calibrationSha256"];
    pairs.folder.write("rig/report.json",
                       R"({"unit": "m", "verdict": "redo", "calibrationSha256": ")" + hash + "\"}");
    EXPECT_EQ(runForJson(arguments, 1)["verdict"], "redo");
    EXPECT_THAT(runTiomipra(arguments, 1).out, HasSubstr("should not be used"));

    saveRig(pairs / "rig", {pairs.rig.right, pairs.rig.left});
    EXPECT_THAT(runTiomipra(arguments, 1).out,
                testing::ContainsRegex("swapped: the baseline is -0.125, .*\n  What to do: "));
    EXPECT_FALSE(runForJson(arguments, 1)["usable"]);
}

}  // namespace
}  // namespace tiomipra::test
