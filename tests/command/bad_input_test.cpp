// What is wrong with the input: every subcommand that reads it says so, and names it.
#include <gmock/gmock.h>

#include <filesystem>
#include <functional>

#include "files/image_files.hpp"
#include "support/matrices.hpp"
#include "support/sample_pairs.hpp"

namespace tiomipra::test {
namespace {

namespace fs = std::filesystem;

Arguments callOf(const std::string& subcommand, const SamplePairs& pairs) {
    if (subcommand == "inspect")
        return {"inspect", "--calibration", pairs / "rig"};
    if (subcommand == "evaluate")
        return {"evaluate", "--disparity", pairs / "left", "--ground-truth", pairs / "right"};
    if (subcommand == "calibrate")
        return joined({"calibrate", "--corners", "9x6", "--square", "1"}, pairs.images());
    return pairs.arguments(subcommand);
}

// `spoil` makes one thing wrong with otherwise good input.
void expectNamed(const Arguments& subcommands, const Arguments& words,
                 const std::function<void(SamplePairs&)>& spoil) {
    for (const std::string& subcommand : subcommands) {
        SamplePairs pairs(1);
        spoil(pairs);
        const bool hasFolder = fs::exists(pairs / "out");
        const RunResult run = runTiomipra(callOf(subcommand, pairs), 3);
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(fs::exists(pairs / "out"), hasFolder) << subcommand;
        EXPECT_THAT(run.err, testing::StartsWith("tiomipra " + subcommand + ": "));
        for (const std::string& word : words)
            EXPECT_THAT(run.err, testing::HasSubstr(word));
    }
}

const Arguments matching{"rectify", "disparity", "depth"};
const Arguments ofRigs = joined(matching, {"check"});
const Arguments ofPairs = joined(ofRigs, {"calibrate"});
const Arguments ofImages = joined(ofPairs, {"evaluate"});

// Zeroes the last third of the pixels.
void damageLeft(SamplePairs& pairs) {
    fs::remove(pairs / "left/1.png");
    writeImage(pairs / "left/1.tiff", makeNoise({160, 120}, CV_8UC1, 3));
    std::string file = readFile(pairs / "left/1.tiff");
    pairs.folder.write("left/1.tiff", file.replace(file.size() / 2, 6000, 6000, '\0'));
}

TEST(BadInput, CalibrationsAreNamed) {
    expectNamed(joined(ofRigs, {"inspect"}), {"rig/right.yml", "No such file"},
                [](SamplePairs& p) { fs::remove(p / "rig/right.yml"); });
    expectNamed(matching,
                {"left and right are swapped", "is -0.125, must be above 0", "to do: exchange"},
                [](SamplePairs& p) {
                    saveRig(p / "rig", {p.rig.right, p.rig.left});
                });
}

TEST(BadInput, ImagesAreNamed) {
    expectNamed(ofRigs, {"left/1.png' is 160x90", "160x120", "aspect ratio"}, [](SamplePairs& p) {
        for (const char* file : {"left/1.png", "right/1.png"})
            writeImage(p / file, cv::Mat(90, 160, CV_8UC1));
    });
    expectNamed(ofImages, {"left/1.tiff", "is damaged: "}, damageLeft);
    expectNamed(ofImages, {"nothing matches", "/left'"},
                [](SamplePairs& p) { fs::remove(p / "left/1.png"); });
    expectNamed(ofPairs, {"2 images", "1"},
                [](SamplePairs& p) { fs::copy(p / "left/1.png", p / "left/2.png"); });
}

TEST(BadInput, OptionsSayWhichImagesAreAccepted) {
    for (const std::string& subcommand : ofImages)
        expectRefusal(joined(callOf(subcommand, SamplePairs(1)), {"--max-pixels", "19199"}), 3,
                      "has 160x120 pixels, at most 19199 are accepted");
    SamplePairs pairs(1);
    damageLeft(pairs);
    const RunResult run = runTiomipra(pairs.arguments("rectify", {"--accept-damaged"}));
    EXPECT_THAT(run.err, testing::ContainsRegex("warning: '.*left/1.tiff' is damaged: "));
    EXPECT_THAT(readFile(pairs / "out/1_rectify.json"),
                testing::HasSubstr("\"acceptDamaged\": true"));
}

TEST(BadOutput, IsNamed) {
    expectNamed(ofPairs, {"/out'", "directory"},
                [](SamplePairs& p) { p.folder.write("out", "a file"); });
    expectNamed({"rectify"}, {"out/1_rectify.json", "Is a directory"},
                [](SamplePairs& p) { fs::create_directories(p / "out/1_rectify.json"); });
}

}  // namespace
}  // namespace tiomipra::test
