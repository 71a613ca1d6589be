// What is wrong with the input: every subcommand that reads it says so, and names it.
#include <gmock/gmock.h>

#include <filesystem>
#include <functional>
#include <limits>

#include "image_files.hpp"
#include "support/matrices.hpp"
#include "support/sample_pairs.hpp"

namespace tiomipra::test {
namespace {

using testing::HasSubstr;
namespace fs = std::filesystem;

// One thing that is wrong with otherwise good input, and the words that name it.
struct Fault {
    std::string name;
    std::function<void(const SamplePairs&)> make;
    std::vector<std::string> words;
};

Fault inRig(const std::string& name, const Arguments& words,
            const std::function<void(CalibrationPair&)>& change) {
    const auto make = [change](const SamplePairs& pairs) {
        CalibrationPair rig = pairs.rig;
        change(rig);
        saveRig(pairs / "rig", rig);
    };
    return {name, make, words};
}

const std::vector<Fault> unreadableCalibrations{
    {"MissingCalibration",
     [](const SamplePairs& p) { fs::remove(p / "rig/right.yml"); },
     {"rig/right.yml", "No such file"}},
    {"EmptyCalibration",
     [](const SamplePairs& p) { p.folder.write("rig/left.yml", ""); },
     {"rig/left.yml", "is empty"}},
    {"MalformedCalibration",
     [](const SamplePairs& p) {
         p.folder.write("rig/left.yml", "%YAML:1.0\n---\nwidth: 64\n\theight: 48");
     },
     {"rig/left.yml", "not a calibration: line 4: Tabs are prohibited"}},
    inRig("IncompleteCalibration", {"rig/left.yml", "rectificationMatrix", "missing"},
          [](CalibrationPair& rig) { rig.left.rectificationMatrix = cv::Mat(); })};

const std::vector<Fault> unusableCalibrations{
    inRig("DoubleMatrices", {"cameraMatrix is 3x3 CV_64FC1", "CV_32FC1"},
          [](CalibrationPair& rig) {
              rig.right.cameraMatrix.convertTo(rig.right.cameraMatrix, CV_64F);
          }),
    inRig("NotFinite", {"left", "distortion", "not finite"},
          [](CalibrationPair& rig) {
              rig.left.distortion.at<float>(0) = std::numeric_limits<float>::infinity();
          }),
    inRig("ShapeOfMatrix", {"right projectionMatrix is 3x3 CV_32FC1, must be 3x4 CV_32FC1"},
          [](CalibrationPair& rig) { rig.right.projectionMatrix = cv::Mat::eye(3, 3, CV_32F); }),
    inRig("CountOfCoefficients", {"left distortion is 1x3 CV_32FC1"},
          [](CalibrationPair& rig) { rig.left.distortion = cv::Mat::zeros(1, 3, CV_32F); }),
    inRig("FocalLength", {"left cameraMatrix has a focal length of -500, must be above 0"},
          [](CalibrationPair& rig) { rig.left.cameraMatrix.at<float>(0, 0) = -500; }),
    inRig("NoRotation", {"right rectificationMatrix is not a rotation"},
          [](CalibrationPair& rig) { rig.right.rectificationMatrix *= 2; }),
    inRig("OtherPrincipalPoint", {"differ in the principal point along y (left 236.5, right 200)"},
          [](CalibrationPair& rig) { rig.right.projectionMatrix.at<float>(1, 2) = 200; }),
    inRig("CamerasAboveEachOther", {"the cameras lie above each other"},
          [](CalibrationPair& rig) { rig.right.projectionMatrix.at<float>(1, 3) = -62.5F; }),
    inRig("OtherSizeOfOneCamera", {"left", "160x120", "right", "80x60"},
          [](CalibrationPair& rig) { rig.right = rig.right.scaleTo(80, 60); }),
    inRig("NoBaseline", {"baseline"}, [](CalibrationPair& rig) { rig.right = rig.left; }),
    {"OtherAspectRatio",
     [](const SamplePairs& p) {
         for (const char* file : {"left/1.png", "right/1.png"})
             writeImage(p / file, cv::Mat(90, 160, CV_8UC1));
     },
     {"left/1.png' is 160x90", "160x120", "aspect ratio"}}};

const std::vector<Fault> swappedCalibrations{inRig(
    "SwappedCameras",
    {"left and right are swapped", "baseline is -0.125, must be above 0", "what to do: exchange"},
    [](CalibrationPair& rig) { std::swap(rig.left, rig.right); })};

const std::vector<Fault> unreadableImages{
    {"MissingImage",
     [](const SamplePairs& p) {
         fs::remove(p / "left/1.png");
         fs::create_symlink("nowhere", p / "left/1.png");
     },
     {"left/1.png", "No such file"}},
    {"NotAnImage",
     [](const SamplePairs& p) { p.folder.write("left/1.png", "hello"); },
     {"left/1.png", "not an image"}},
    {"TruncatedPng",
     [](const SamplePairs& p) {
         fs::resize_file(p / "left/1.png", fs::file_size(p / "left/1.png") - 5);
     },
     {"left/1.png", "cut off"}},
    {"TruncatedJpeg",
     [](const SamplePairs& p) {
         fs::remove(p / "left/1.png");
         fs::copy(photograph("left01.jpg"), p / "left/1.jpg");
         fs::resize_file(p / "left/1.jpg", 20000);
     },
     {"left/1.jpg", "cut off"}},
    {"TruncatedTiff",
     [](const SamplePairs& p) {
         fs::remove(p / "left/1.png");
         writeImage(p / "left/1.tiff", makeNoise({160, 120}, CV_8UC1, 3));
         fs::resize_file(p / "left/1.tiff", 9000);
     },
     {"left/1.tiff", "damaged"}},
    {"EmptyFolder",
     [](const SamplePairs& p) { fs::remove(p / "left/1.png"); },
     {"nothing matches", "/left'"}}};

const std::vector<Fault> mismatches{
    {"SizesThatDiffer",
     [](const SamplePairs& p) { writeImage(p / "right/1.png", cv::Mat(60, 80, CV_8UC1)); },
     {"left/1.png' is 160x120", "right/1.png' is 80x60"}},
    {"UnequalCounts",
     [](const SamplePairs& p) { fs::copy(p / "left/1.png", p / "left/2.png"); },
     {"2 images", "1"}}};

const std::vector<Fault> unwritableOutput{
    {"UnwritableOutput",
     [](const SamplePairs& p) { p.folder.write("out", "a file"); },
     {"/out'", "directory"}}};

// Each in place of a result: that of the whole pair, and one file of it.
const std::vector<Fault> unwritableResults{
    {"FolderForReport",
     [](const SamplePairs& p) { fs::create_directories(p / "out/1_rectify.json"); },
     {"out/1_rectify.json", "Is a directory"}},
    {"FolderForImage",
     [](const SamplePairs& p) { fs::create_directories(p / "out/1_left.png"); },
     {"out/1_left.png", "Is a directory"}}};

const struct {
    std::vector<std::string> subcommands;
    std::vector<Fault> faults;
} groups[] = {
    {{"rectify", "disparity", "depth", "check", "inspect"}, unreadableCalibrations},
    {{"rectify", "disparity", "depth", "check"}, unusableCalibrations},
    {{"rectify", "disparity", "depth"}, swappedCalibrations},
    {{"rectify", "disparity", "depth", "check", "calibrate", "evaluate"}, unreadableImages},
    {{"rectify", "disparity", "depth", "check", "calibrate"}, mismatches},
    {{"rectify", "disparity", "depth", "check", "calibrate"}, unwritableOutput},
    {{"rectify"}, unwritableResults}};

struct Case {
    std::string subcommand;
    Fault fault;
};

std::vector<Case> allCases() {
    std::vector<Case> cases;
    for (const auto& [subcommands, faults] : groups) {
        for (const std::string& subcommand : subcommands) {
            for (const Fault& fault : faults)
                cases.push_back({subcommand, fault});
        }
    }
    return cases;
}

Arguments callOf(const std::string& subcommand, const SamplePairs& pairs) {
    if (subcommand == "inspect")
        return {"inspect", "--calibration", pairs / "rig"};
    if (subcommand == "evaluate")
        return {"evaluate", "--disparity", pairs / "left", "--ground-truth", pairs / "right"};
    if (subcommand == "calibrate")
        return {"calibrate",    "--corners", "9x6",           "--square", "1",          "--left",
                pairs / "left", "--right",   pairs / "right", "--output", pairs / "out"};
    return pairs.arguments(subcommand);
}

class BadInput : public testing::TestWithParam<Case> {};

TEST_P(BadInput, IsNamed) {
    const auto& [subcommand, fault] = GetParam();
    const SamplePairs pairs(1);
    fault.make(pairs);
    const RunResult run = runTiomipra(callOf(subcommand, pairs), 3);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, testing::StartsWith("tiomipra " + subcommand + ": "));
    for (const std::string& word : fault.words)
        EXPECT_THAT(run.err, HasSubstr(word));
}

INSTANTIATE_TEST_SUITE_P(Command, BadInput, testing::ValuesIn(allCases()), [](const auto& test) {
    return test.param.subcommand + test.param.fault.name;
});

TEST(FullDisk, LeavesNoHalfFile) {
    for (const char* subcommand : {"rectify", "disparity", "depth"}) {
        const SamplePairs pairs(2);
        expectNothingOnFullDisk(pairs.arguments(subcommand), 600, pairs / "out");
    }
}

}  // namespace
}  // namespace tiomipra::test
