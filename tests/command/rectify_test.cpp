// tiomipra rectify.
#include <gmock/gmock.h>

#include "files/image_files.hpp"
#include "support/matrices.hpp"
#include "support/sample_pairs.hpp"

namespace tiomipra::test {
namespace {

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
    for (const Arguments& wrong : {Arguments{"--jobs", "0"},
                                   {"--side-by-side", "c.png"},
                                   {"--left-calibration", "l", "--right-calibration", "r"}})
        runTiomipra(pairs.arguments("rectify", wrong), 2);
}

}  // namespace
}  // namespace tiomipra::test
