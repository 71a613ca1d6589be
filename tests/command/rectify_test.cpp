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

// Of 4800x3600 pixels, which take 36 bytes each.
TEST(Rectify, RefusesPairsTooLargeAndDoesTheOthersAsTheyFit) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizers take more address space than that";
#endif
    const SamplePairs pairs(3);
    for (const std::string image : {"left/2.png", "right/2.png", "left/3.png", "right/3.png"})
        writeImage(pairs / image, cv::Mat::zeros(3600, 4800, CV_8UC1));
    const auto runWithin = [&](const char* limit) {
        return RunningProgram(pairs.arguments("rectify", {"--jobs", "3"}), limit).wait();
    };
    const RunResult tight = runWithin("ulimit -v 600000; ");
    EXPECT_EQ(tight.status, 4);
    EXPECT_THAT(tight.out, testing::HasSubstr("1 pair done"));
    EXPECT_THAT(tight.err,
                testing::ContainsRegex("2: rectifying '.*/2.png', 4800x3600, takes about "
                                       "0.622 GB of memory, must be at most 0"));
    // Room for one of them.
    EXPECT_EQ(runWithin("ulimit -v 1300000; ").status, 0);
}

}  // namespace
}  // namespace tiomipra::test
