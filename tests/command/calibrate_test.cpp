// tiomipra calibrate, on photographs of a chessboard.
#include <gmock/gmock.h>

#include <filesystem>
#include <opencv2/core.hpp>

#include "files/image_files.hpp"
#include "reports/calibration_report.hpp"
#include "rigs/rig_files.hpp"
#include "rigs/rig_model_files.hpp"
#include "support/matrices.hpp"
#include "support/rigs.hpp"
#include "support/run_program.hpp"

namespace tiomipra::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;

class Calibrate : public testing::Test {
  protected:
    static Arguments arguments(const std::string& left, const std::string& right,
                               const std::string& output, const Arguments& options = {}) {
        return joined({"calibrate", "--corners", "9x6", "--square", "25mm", "--left", left,
                       "--right", right, "--output", output},
                      options);
    }

    // Calibrates with the 13 pairs of photographs, or those that `numbers` matches.
    Arguments photographs(const std::string& output, const Arguments& options = {},
                          const std::string& numbers = "[01]?") const {
        return arguments(photograph("left" + numbers + ".jpg"),
                         photograph("right" + numbers + ".jpg"), _folder / output, options);
    }

    vision::Calibration read(const std::string& name) const {
        return readCalibration(_folder / name);
    }

    const ScratchFolder _folder;
};

TEST_F(Calibrate, ReachesSmallErrorsOnPhotographs) {
    const RunResult result = runTiomipra(photographs("rig"));
    EXPECT_THAT(result.out, HasSubstr("Verdict: good"));

    const json report = json::parse(readFile(_folder / "rig/report.json"));
    EXPECT_EQ(report["pairsUsed"], 13);
    EXPECT_LE(report["pairError"], 0.25);
    EXPECT_LE(report["rowDifference"]["mean"], 0.13);
    EXPECT_NEAR(report["baseline"], 0.0832, 0.0005);
    EXPECT_EQ(report["unit"], "m");
    EXPECT_EQ(runForJson({"inspect", "--calibration", _folder / "rig"})["unit"], "m");

    const cv::Mat projection = read("rig/right.yml").projectionMatrix;
    EXPECT_NEAR(-projection.at<float>(0, 3) / projection.at<float>(0, 0), report["baseline"], 1e-6);
    EXPECT_EQ(readImage(_folder / "rig/rectified.png").size(), cv::Size(2 * 640, 480));
    EXPECT_FALSE(readImage(_folder / "rig/coverage.png").empty());
}

// Another rectification needs the model alone.
TEST_F(Calibrate, KeepsWhatWasMeasured) {
    const json whole = runForJson(photographs("whole", {"--alpha", "1"}));
    EXPECT_EQ(whole["parameters"]["alpha"], 1);
    EXPECT_TRUE(whole["parameters"]["rejectAbove"].is_null()) << "infinite";
    runTiomipra(photographs("cropped"));
    const RigModel model = readRigModel(_folder / "whole/rig.yml");
    EXPECT_EQ(model.unit, "m");
    EXPECT_TRUE(rectify(model, 1).left == read("whole/left.yml"));
    EXPECT_TRUE(rectify(model, 1).right == read("whole/right.yml"));
    EXPECT_TRUE(rectify(model, 0).right == read("cropped/right.yml"));
}

TEST_F(Calibrate, KeepsGivenIntrinsicsThatFit) {
    CalibrationPair known = makeRig();
    known.left.cameraMatrix.at<float>(0, 0) += 2;
    known.left.save(_folder / "left.yml");
    known.right.save(_folder / "right.yml");
    const Arguments fixed{"--fix-intrinsics", _folder / "left.yml", _folder / "right.yml"};
    runTiomipra(photographs("rig", fixed));
    EXPECT_THAT(read("rig/left.yml").cameraMatrix, IsSameMatrix(known.left.cameraMatrix));
    EXPECT_THAT(read("rig/right.yml").cameraMatrix, IsSameMatrix(known.right.cameraMatrix));
    expectRefusal(photographs("", fixed), 3, "would replace the input");
    const std::string image = _folder / "coverage.png";
    std::filesystem::copy(photograph("right01.jpg"), image);
    expectRefusal(arguments(photograph("left01.jpg"), image, _folder / ""), 3,
                  "coverage.png' would replace the input");

    makeRig({{640, 360}}).left.save(_folder / "left.yml");
    expectRefusal(photographs("none", fixed, "0[123]"), 3,
                  "left.yml' can't be used for images of 640x480");
    std::filesystem::remove(_folder / "right.yml");
    const RunResult early = runTiomipra(photographs("none", fixed), 3);
    EXPECT_THAT(early.err, HasSubstr("right.yml"));
    EXPECT_THAT(early.err, testing::Not(HasSubstr("[ 1/13]"))) << "found out before the search";
    EXPECT_FALSE(std::filesystem::exists(_folder / "none"));
}

// The first pair can't be read, the second one is of two moments.
TEST_F(Calibrate, LeavesOutPairsThatDoNotFit) {
    _folder.write("left00.jpg", "no image");
    _folder.write("right00.jpg", "no image");
    for (const char* number : {"01", "02", "03", "04", "06", "07", "08", "09"}) {
        const std::string left = "left" + std::string(number) + ".jpg";
        const std::string right = "right" + std::string(number) + ".jpg";
        const bool isSpoilt = right == "right01.jpg";
        std::filesystem::copy(photograph(left), _folder / left);
        std::filesystem::copy(photograph(isSpoilt ? "right12.jpg" : right), _folder / right);
    }
    const auto run = [&](const Arguments& options, int status) {
        return runForJson(
            arguments(_folder / "left*.jpg", _folder / "right*.jpg", _folder / "rig", options),
            status);
    };
    const json spoilt = run({}, 1);
    EXPECT_EQ(spoilt["verdict"], "redo");
    EXPECT_EQ(spoilt["views"][0]["right"], _folder / "right01.jpg");
    const json mended = run({"--reject-above", "0.5"}, 4);
    EXPECT_NE(mended["verdict"], "redo");
    EXPECT_EQ(mended["pairsUsed"], 7);
    EXPECT_LE(mended["pairError"], 0.25);
    EXPECT_EQ(mended["parameters"]["rejectAbove"], 0.5);
    EXPECT_EQ(mended["leftOut"][0]["right"], _folder / "right00.jpg");
    EXPECT_EQ(mended["leftOut"][1]["right"], _folder / "right01.jpg");
    const StereoImages firstUsed{readImage(photograph("left02.jpg")),
                                 readImage(photograph("right02.jpg"))};
    EXPECT_THAT(
        readImage(_folder / "rig/rectified.png"),
        IsSameMatrix(drawRectifiedPair({read("rig/left.yml"), read("rig/right.yml")}, firstUsed)));
}

// In this folder a stray pair of another size comes first; and any pattern is taken as it is.
TEST_F(Calibrate, TakesTheSizeOfMostPairs) {
    const RunResult result = runTiomipra(photographs("rig", {"--max-pairs", "6"}, "*"), 4);
    EXPECT_THAT(result.err, HasSubstr("1 of 14 pairs can't be read or have another size"));
    EXPECT_THAT(
        result.out,
        HasSubstr("7 more that show the board, in views that differ less than the 6 above"));
    const json report = json::parse(readFile(_folder / "rig/report.json"));
    EXPECT_EQ(report["pairsUsed"], 6);
    EXPECT_EQ(report["leftOutAlike"], 7);
    EXPECT_EQ(report["leftOut"][0]["left"], photograph("left.jpg"));
}

TEST_F(Calibrate, FindsSwappedCamerasAndKeepsBetterOnes) {
    const auto swapped = [&](const std::string& output, const Arguments& options = {}) {
        return runTiomipra(arguments(photograph("right0[1-4].jpg"), photograph("left0[1-4].jpg"),
                                     _folder / output, options),
                           1);
    };
    runTiomipra(photographs("rig"));
    const std::string good = readFile(_folder / "rig/left.yml");
    const RunResult kept = swapped("rig");
    EXPECT_THAT(kept.out, testing::AllOf(HasSubstr("left and right are swapped"),
                                         HasSubstr("calibrate again with the left and right")));
    EXPECT_THAT(kept.err, testing::AllOf(HasSubstr("rig/redo' are written but should not be used"),
                                         HasSubstr("rig' keeps the better ones")));
    EXPECT_EQ(readFile(_folder / "rig/left.yml"), good);
    const std::string bad = readFile(_folder / "rig/redo/left.yml");
    EXPECT_NE(bad, good);
    swapped("rig", {"--force"});
    EXPECT_EQ(readFile(_folder / "rig/left.yml"), bad);

    const auto inspected = runForJson({"inspect", "--calibration", _folder / "rig"}, 1);
    EXPECT_EQ(inspected["verdict"], "redo");
    EXPECT_THAT(runTiomipra({"rectify", "--calibration", _folder / "rig", "--left",
                             photograph("left01.jpg"), "--right", photograph("right01.jpg"),
                             "--output", _folder / "out"},
                            3)
                    .err,
                HasSubstr("verdict of report.json on"));
    std::filesystem::remove_all(_folder / "rig/redo");
    swapped("rig");
    EXPECT_FALSE(std::filesystem::exists(_folder / "rig/redo")) << "nothing better was there";
}

// As a camera that hangs head down takes them; the rig is that of the others.
TEST_F(Calibrate, TurnsImages) {
    for (const char* number : {"01", "02", "03", "04", "05", "06", "07", "08"}) {
        const std::string name = "right" + std::string(number);
        cv::Mat image = readImage(photograph(name + ".jpg"));
        cv::rotate(image, image, cv::ROTATE_180);
        writeImage(_folder / (name + ".png"), image);
    }
    const auto turned = [&](const std::string& output, int status, const Arguments& options = {}) {
        return runTiomipra(arguments(photograph("left0[1-8].jpg"), _folder / "right*.png",
                                     _folder / output, options),
                           status);
    };
    EXPECT_THAT(turned("raw", 1).out,
                testing::AllOf(HasSubstr("one camera is upside down"), HasSubstr("rotate-right")));
    turned("turned", 0, {"--rotate-right", "180"});
    const Arguments rectify{"rectify",
                            "--calibration",
                            _folder / "turned",
                            "--left",
                            photograph("left01.jpg"),
                            "--right",
                            _folder / "right01.png",
                            "--output",
                            _folder / "result"};
    EXPECT_THAT(runTiomipra(rectify).err,
                HasSubstr("right ones by 180, these are turned by 0 and 0"));
    EXPECT_EQ(runTiomipra(joined(rectify, {"--rotate-right", "180"})).err, "");
    const json made = json::parse(readFile(_folder / "result/left01_rectify.json"));
    EXPECT_EQ(made["madeWith"]["parameters"], json({{"rotateRight", 180}}));
    runTiomipra(photographs("upright", {}, "0[1-8]"));
    EXPECT_TRUE(read("turned/right.yml") == read("upright/right.yml"));
}

TEST(CalibrateOptions, NamesWrongUsage) {
    const Arguments charuco{"--corners", "9x6", "--pattern", "charuco", "--square", "1"};
    const std::pair<Arguments, std::string> cases[] = {
        {{"--corners", "9x6"}, "--square is required"},
        {{"--square", "1", "--corners", "2x6"}, "--corners is 2x6, must be from 3x3"},
        {charuco, "--pattern charuco needs --marker"},
        {joined(charuco, {"--marker", "7mm"}),
         "--square 1 and --marker 7mm must both have a suffix"},
        {{"--square", "1", "--corners", "9x6", "--alpha", "3"}, "--alpha is 3"}};
    const Arguments rest{"--left", "a.png", "--right", "b.png", "--output", "rig"};
    for (const auto& [options, message] : cases)
        expectRefusal(joined(joined({"calibrate"}, options), rest), 2, message);
}

TEST_F(Calibrate, LeavesNothingHalfWrittenOnFullDisk) {
    expectNothingOnFullDisk(photographs("full"), 600, _folder / "full");
}

}  // namespace
}  // namespace tiomipra::test
