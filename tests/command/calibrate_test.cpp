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

TEST_F(Calibrate, FindsSwappedCamerasAndUnreadableImages) {
    for (const char* name : {"left01.jpg", "left02.jpg", "left03.jpg", "left04.jpg", "right01.jpg",
                             "right02.jpg", "right03.jpg"})
        std::filesystem::copy(photograph(name), _folder / name);
    _folder.write("right04.jpg", "no image");
    const RunResult result =
        runTiomipra(arguments(_folder / "right*.jpg", _folder / "left*.jpg", _folder / "rig"), 1);
    EXPECT_THAT(result.out, testing::AllOf(HasSubstr("left and right are swapped"),
                                           HasSubstr("right04.jpg' is not an image")));
    EXPECT_THAT(result.err,
                testing::AllOf(HasSubstr("should not be used: calibrate again"),
                               HasSubstr("1 of 4 pairs can't be read or have another size")));
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
