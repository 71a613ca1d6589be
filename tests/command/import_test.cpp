// tiomipra export and tiomipra import, one after the other.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "files/own_png.hpp"
#include "rigs/rig_files.hpp"
#include "rigs/rig_model_files.hpp"
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
    const std::string mark = "<meta name=\"generator\" content=\"tiomipra 1.0.0\">";
    std::ofstream(page) << mark << "<title>Check of a calibrated rig</title>";
    runTiomipra(joined(import, output));
    EXPECT_TRUE(std::filesystem::exists(page));
    std::ofstream(page) << mark << "<title>Calibration of two cameras</title>";

    const std::vector<std::string> former{pairs / "in/coverage.png", pairs / "in/rectified.png"};
    for (const std::string& picture : former)
        writeTogether({newOwnPng(picture, cv::Mat(8, 8, CV_8UC1))});
    // Without texture there is nothing to check with, and the pictures have the size.
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

// An equidistant lens shows as many radians as its image is focal lengths wide; the pinhole that
// stands for it in the calibration would show 106 degrees.
TEST(Import, TellsWhatWideAngleLensesShow) {
    const ScratchFolder folder;
    RigModel model;
    model.left = {
        {640, 480}, {240, 0, 319.5, 0, 240, 239.5, 0, 0, 1}, {LensKind::fisheye, {0, 0, 0, 0}}};
    model.right = model.left;
    model.rightFromLeftTranslation = {-0.1, 0, 0};
    folder.write("wide.yml", encodeRigModel(model));
    const auto report = runForJson({"import", folder / "wide.yml", "--output", folder / "rig"});
    for (const char* camera : {"left", "right"})
        EXPECT_NEAR(report["rig"][camera]["fieldOfViewDegrees"]["horizontal"],
                    640 / 240. * 180 / CV_PI, 1e-9);
    const Arguments inspect{"inspect", "--calibration", folder / "rig"};
    EXPECT_EQ(runForJson(inspect)["rig"], report["rig"]);
    EXPECT_THAT(runTiomipra(inspect).out, HasSubstr("152.8 x 114.6 "));

    model.rightFromLeftTranslation *= 2;
    folder.write("rig/rig.yml", encodeRigModel(model));
    EXPECT_THAT(runTiomipra(inspect).err, HasSubstr("rig.yml' is of other cameras than"));
}

}  // namespace
}  // namespace tiomipra::test
