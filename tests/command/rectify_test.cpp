// tiomipra rectify.
#include <gmock/gmock.h>

#include "files/image_files.hpp"
#include "support/matrices.hpp"
#include "support/run_program.hpp"
#include "support/sample_pairs.hpp"

namespace tiomipra::test {
namespace {

using testing::HasSubstr;
TEST(Rectify, WritesWhatTheLibraryMakesOfEachImage) {
    const SamplePairs pairs(1);
    const cv::Mat left = makeNoise({160, 120}, CV_16UC1, 7);
    const cv::Mat right = makeNoise({160, 120}, CV_8UC3, 8);
    writeImage(pairs / "left/1.png", left);
    writeImage(pairs / "right/1.png", right);
    const RunResult run =
        runTiomipra({"rectify", "--left-calibration", pairs / "rig/left.yml", "--right-calibration",
                     pairs / "rig/right.yml", "--left", pairs / "left/1.png", "--right",
                     pairs / "right/1.png", "--output", pairs / "out/put"});
    EXPECT_EQ(run.err, "");
    OpenStereo stereo(pairs.rig);
    EXPECT_THAT(readImage(pairs / "out/put/1_left.png", Pixels::asStored),
                IsSameMatrix(stereo.rectifyImageLeft(left)));
    EXPECT_THAT(readImage(pairs / "out/put/1_right.png", Pixels::asStored),
                IsSameMatrix(stereo.rectifyImageRight(right)));
    EXPECT_GE(readImage(pairs / "out/put/1_rows.png").cols, 2 * left.cols);
}

TEST(Rectify, TakesBothHalvesOfAVideoWhoseLengthIsUnknown) {
    const ScratchFolder folder;
    saveRig(folder / "rig", makeRig({{160, 240}}));
    // Its header promises 444 frames of 320x240, of which there are 68.
    const RunResult run =
        runTiomipra({"rectify", "--calibration", folder / "rig", "--side-by-side",
                     photograph("tree.avi"), "--output", folder / "out", "--json"});
    EXPECT_THAT(run.err, HasSubstr("tree.avi' promises 444 frames, 68 could be read"));
    EXPECT_EQ(nlohmann::json::parse(run.out)["pairs"].size(), 68U);
    EXPECT_EQ(readImage(folder / "out/tree_000067_left.png").size(), cv::Size(160, 240));
}

TEST(Rectify, RefusesWrongUsage) {
    const SamplePairs pairs(1);
    for (const Arguments& options : {Arguments{"--jobs", "0"},
                                     {"--side-by-side", "c.png"},
                                     {"--left-calibration", "l", "--right-calibration", "r"}})
        runTiomipra(pairs.arguments("rectify", options), 2);
}

}  // namespace
}  // namespace tiomipra::test
