// tiomipra export and tiomipra import, one after the other.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "files/own_png.hpp"
#include "rigs/rig_files.hpp"
#include "support/sample_pairs.hpp"

namespace tiomipra::test {
namespace {

using testing::HasSubstr;

TEST(Import, TakesOverWhatWasExportedAndChecksIt) {
    const SamplePairs pairs(1);
    const Arguments rig{"export", "--calibration", pairs / "rig", "--format"};
    const Arguments output{"--output", pairs / "in"};
    runTiomipra(joined(rig, {"opencv", "--output", pairs / "stereo.yml"}));
    const Arguments import{"import", pairs / "stereo.yml", "--unit", "cm"};
    const auto report = runForJson(joined(import, output));
    EXPECT_EQ(report["format"], "opencv");
    EXPECT_EQ(report["parameters"]["unit"], "cm");
    EXPECT_NEAR(report["rig"]["baseline"], 0.00125, 1e-9);
    const auto inspected = runForJson({"inspect", "--calibration", pairs / "in"});
    EXPECT_EQ(inspected["rig"], report["rig"]);
    EXPECT_EQ(inspected["unit"], "m");
    EXPECT_EQ(readCalibration(pairs / "in/left.yml"), pairs.rig.left);

    // The page of calibrations that were there before is gone with them, anybody else's is not.
    const std::string page = pairs / "in/report.html";
    std::ofstream(page) << "<p>mine";
    runTiomipra(joined(import, output));
    EXPECT_TRUE(std::filesystem::exists(page));
    std::ofstream(page) << "<meta name=\"generator\" content=\"tiomipra 1.0.0\">";

    // Without texture there is nothing to check with, and the pictures have the size.
    const std::vector<std::string> former{pairs / "in/coverage.png", pairs / "in/rectified.png"};
    for (const std::string& picture : former)
        writeTogether({newOwnPng(picture, cv::Mat(8, 8, CV_8UC1))});
    const RunResult checked = runTiomipra(
        joined(import, output, {"--left", pairs / "left/1.png", "--right", pairs / "right/1.png"}),
        3);
    EXPECT_THAT(checked.out, HasSubstr("baseline 0.00125 m"));
    EXPECT_FALSE(std::filesystem::exists(page));
    EXPECT_THAT(checked.err, HasSubstr("tiomipra import: "));
    for (const std::string& picture : former)
        EXPECT_FALSE(std::filesystem::exists(picture)) << "one of other calibrations";

    runTiomipra(joined(rig, {"ros", "--output", pairs / "one.yaml"}), 2);
    expectRefusal(joined(rig, {"kalibr", "--output", pairs / "chain.yaml"}), 3, "unit of its own");
    expectRefusal({"import", pairs / "stereo.yml", "--output", pairs / "new", "--swap"}, 3,
                  "(swap)");
    EXPECT_FALSE(std::filesystem::exists(pairs / "new"));
    expectRefusal(joined(import, {"--alpha", "2"}, output), 2, "--alpha is 2, must be from 0 to 1");
    EXPECT_THAT(runTiomipra({"import", "--format", "list"}).out, HasSubstr("\nkalibr "));
    EXPECT_THAT(runTiomipra({"export", "--format", "list"}).out, HasSubstr("\nros "));
}

}  // namespace
}  // namespace tiomipra::test
