// tiomipra inspect, on calibrations made of numbers.
#include <gmock/gmock.h>

#include "support/sample_pairs.hpp"

namespace tiomipra::test {
namespace {

using testing::HasSubstr;

TEST(Inspect, TellsWhetherAPairIsUsable) {
    const ScratchFolder folder;
    const CalibrationPair rig = makeRig();
    saveRig(folder / "rig", rig);
    const Arguments arguments{"inspect", "--calibration", folder / "rig"};
    EXPECT_THAT(runTiomipra(arguments).out,
                testing::AllOf(HasSubstr("baseline 0.125,"), HasSubstr("The pair is usable.")));
    const auto usable = runForJson(arguments);
    EXPECT_TRUE(usable["usable"]);
    EXPECT_EQ(usable["command"], "inspect");
    EXPECT_EQ(usable["leftCalibration"], folder / "rig/left.yml");
    EXPECT_FALSE(usable.contains("unit"));

    const std::string hash = usable["calibrationSha256"];
    for (const std::string verdict : {"usable", "redo"}) {
        folder.write("rig/report.json", R"({"unit": "m", "verdict": ")" + verdict +
                                            R"(", "calibrationSha256": ")" + hash + "\"}");
        const auto judged = runForJson(arguments, verdict == "redo" ? 1 : 0);
        EXPECT_EQ(judged["usable"], verdict == "usable");
        EXPECT_EQ(judged["verdict"], verdict);
    }
    EXPECT_THAT(runTiomipra(arguments, 1).out, HasSubstr("should not be used"));

    saveRig(folder / "rig", {rig.right, rig.left});
    EXPECT_THAT(runTiomipra(arguments, 1).out,
                testing::ContainsRegex("swapped: the baseline is -0.125, .*\n  What to do: "));
    const auto swapped = runForJson(arguments, 1);
    EXPECT_FALSE(swapped["usable"]);
    EXPECT_EQ(swapped["faults"].size(), 1U);
    EXPECT_FALSE(swapped.contains("rig"));
}

}  // namespace
}  // namespace tiomipra::test
