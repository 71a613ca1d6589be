// tiomipra rectify, and with it all that commands on pairs share.
#include <gmock/gmock.h>

#include <filesystem>
#include <functional>
#include <limits>
#include <nlohmann/json.hpp>
#include <vision/stereo.hpp>

#include "image_files.hpp"
#include "support/matrices.hpp"
#include "support/run_program.hpp"
#include "support/sample_pairs.hpp"

namespace tiomipra::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;
namespace fs = std::filesystem;

TEST(Rectify, WritesWhatTheLibraryMakes) {
    const ScratchFolder folder;
    const ::Rig rig = makeRig();
    saveRig(folder / "rig", rig);
    const RunResult run = runTiomipra({"rectify", "--left-calibration", folder / "rig/left.yml",
                                       "--right-calibration", folder / "rig/right.yml", "--left",
                                       photograph("left01.jpg"), "--right",
                                       photograph("right01.jpg"), "--output", folder / "out/put"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");

    OpenStereo stereo(rig);
    const auto [left, right] = stereo.rectifyImages(readImage(photograph("left01.jpg")),
                                                    readImage(photograph("right01.jpg")));
    EXPECT_THAT(readImage(folder / "out/put/left01_left.png"), IsSameMatrix(left));
    EXPECT_THAT(readImage(folder / "out/put/left01_right.png"), IsSameMatrix(right));
    const cv::Mat rows = readImage(folder / "out/put/left01_rows.png");
    EXPECT_EQ(rows.rows, left.rows);
    EXPECT_GE(rows.cols, 2 * left.cols);
}

TEST(Rectify, KeepsSixteenBits) {
    const SamplePairs pairs(1);
    const cv::Mat image = makeNoise({160, 120}, CV_16UC1, 7);
    writeImage(pairs / "left/1.png", image);
    writeImage(pairs / "right/1.png", image);
    ASSERT_EQ(runTiomipra(pairs.arguments("rectify")).status, 0);
    OpenStereo stereo(pairs.rig);
    EXPECT_THAT(readImage(pairs / "out/1_left.png", Pixels::asStored),
                IsSameMatrix(stereo.rectifyImageLeft(image)));
}

TEST(Rectify, TakesBothHalvesOfAVideoWhoseLengthIsUnknown) {
    const ScratchFolder folder;
    saveRig(folder / "rig", makeRig({{160, 240}}));
    // Its header promises 444 frames of 320x240, of which there are 68.
    const RunResult run =
        runTiomipra({"rectify", "--calibration", folder / "rig", "--side-by-side",
                     photograph("tree.avi"), "--output", folder / "out", "--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(json::parse(run.out)["pairs"].size(), 68U);
    EXPECT_EQ(readImage(folder / "out/tree_000067_left.png").size(), cv::Size(160, 240));
}

// One thing that is wrong with otherwise good input, and how it is reported.
struct Fault {
    const char* name;
    std::function<void(const SamplePairs&)> make;
    std::vector<std::string> expected;
};

void PrintTo(const Fault& fault, std::ostream* out) {
    *out << fault.name;
}

void saveChanged(const SamplePairs& pairs, const std::function<void(::Rig&)>& change) {
    ::Rig rig = pairs.rig;
    change(rig);
    saveRig(pairs / "rig", rig);
}

const Fault faults[] = {
    {"MissingCalibration",
     [](const SamplePairs& p) { fs::remove(p / "rig/right.yml"); },
     {"rig/right.yml", "No such file"}},
    {"MalformedCalibration",
     [](const SamplePairs& p) { truncate(p / "rig/left.yml", 200); },
     {"rig/left.yml", "not a"}},
    {"IncompleteCalibration",
     [](const SamplePairs& p) {
         saveChanged(p, [](::Rig& rig) { rig.left.rectificationMatrix = cv::Mat(); });
     },
     {"rig/left.yml", "rectificationMatrix", "missing"}},
    {"DoubleMatrices",
     [](const SamplePairs& p) {
         saveChanged(p, [](::Rig& rig) {
             rig.right.cameraMatrix.convertTo(rig.right.cameraMatrix, CV_64F);
         });
     },
     {"rig/right.yml", "cameraMatrix is 3x3 CV_64FC1", "CV_32FC1"}},
    {"NotFinite",
     [](const SamplePairs& p) {
         saveChanged(p, [](::Rig& rig) {
             rig.left.distortion.at<float>(0) = std::numeric_limits<float>::infinity();
         });
     },
     {"rig/left.yml", "distortion", "not finite"}},
    {"OtherSizeOfOneCamera",
     [](const SamplePairs& p) {
         saveChanged(p, [](::Rig& rig) { rig.right = rig.right.scaleTo(80, 60); });
     },
     {"rig/left.yml", "160x120", "rig/right.yml", "80x60"}},
    {"SwappedCameras",
     [](const SamplePairs& p) {
         saveChanged(p, [](::Rig& rig) { rig.right.projectionMatrix.at<float>(0, 3) *= -1; });
     },
     {"rig/right.yml", "projectionMatrix(0,3) is 62.5", "swapped"}},
    {"NoBaseline",
     [](const SamplePairs& p) { saveChanged(p, [](::Rig& rig) { rig.right = rig.left; }); },
     {"rig/right.yml", "projectionMatrix(0,3) is 0.0", "baseline"}},
    {"MissingImage",
     [](const SamplePairs& p) {
         fs::remove(p / "left/1.png");
         fs::create_symlink("nowhere", p / "left/1.png");
     },
     {"left/1.png", "No such file"}},
    {"NotAnImage",
     [](const SamplePairs& p) { p.folder.write("left/1.png", "hello"); },
     {"left/1.png", "not an image"}},
    {"EmptyFile",
     [](const SamplePairs& p) { truncate(p / "right/1.png", 0); },
     {"right/1.png", "not an image"}},
    {"TruncatedPng",
     [](const SamplePairs& p) {
         truncate(p / "right/1.png", fs::file_size(p / "right/1.png") - 5);
     },
     {"right/1.png", "cut off"}},
    {"TruncatedJpeg",
     [](const SamplePairs& p) {
         fs::remove(p / "left/1.png");
         fs::copy(photograph("left01.jpg"), p / "left/1.jpg");
         truncate(p / "left/1.jpg", 20000);
     },
     {"left/1.jpg", "cut off"}},
    {"TruncatedTiff",
     [](const SamplePairs& p) {
         fs::remove(p / "left/1.png");
         writeImage(p / "left/1.tiff", makeNoise({160, 120}, CV_8UC1, 3));
         truncate(p / "left/1.tiff", 9000);
     },
     {"left/1.tiff", "damaged"}},
    {"SizesThatDiffer",
     [](const SamplePairs& p) { writeImage(p / "right/1.png", cv::Mat(60, 80, CV_8UC1)); },
     {"left/1.png' is 160x120", "right/1.png' is 80x60"}},
    {"OtherAspectRatio",
     [](const SamplePairs& p) {
         for (const char* file : {"left/1.png", "right/1.png"})
             writeImage(p / file, cv::Mat(90, 160, CV_8UC1));
     },
     {"left/1.png' is 160x90", "rig/left.yml' is for 160x120", "aspect ratio"}},
    {"UnequalCounts",
     [](const SamplePairs& p) { fs::copy(p / "left/1.png", p / "left/2.png"); },
     {"2 images", "1", "left/2.png"}},
    {"EmptyFolder",
     [](const SamplePairs& p) { fs::remove(p / "left/1.png"); },
     {"nothing matches", "/left'"}},
    {"UnwritableOutput",
     [](const SamplePairs& p) { p.folder.write("out", "a file"); },
     {"/out'", "directory"}},
};

class BadInput : public testing::TestWithParam<Fault> {};

TEST_P(BadInput, IsNamed) {
    const SamplePairs pairs(1);
    GetParam().make(pairs);
    const RunResult run = runTiomipra(pairs.arguments("rectify"));
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, StartsWith("tiomipra rectify: "));
    for (const std::string& part : GetParam().expected)
        EXPECT_THAT(run.err, HasSubstr(part));
}

INSTANTIATE_TEST_SUITE_P(Rectify, BadInput, testing::ValuesIn(faults),
                         [](const auto& fault) { return fault.param.name; });

TEST(Rectify, RefusesWrongUsage) {
    const SamplePairs pairs(1);
    const std::vector<std::vector<std::string>> wrong = {
        {"rectify", "--left", "a.png", "--right", "b.png", "--output", "out"},
        {"rectify", "--calibration", "rig", "--left", "a.png", "--right", "b.png"},
        {"rectify", "--calibration", pairs / "rig", "--left", "a.png", "--output", "out"},
        pairs.arguments("rectify", {"--jobs", "0"}),
        pairs.arguments("rectify", {"--side-by-side", "c.png"}),
        pairs.arguments("rectify", {"--left-calibration", "l", "--right-calibration", "r"})};
    for (const auto& arguments : wrong)
        EXPECT_EQ(runTiomipra(arguments).status, 2);
}

}  // namespace
}  // namespace tiomipra::test
