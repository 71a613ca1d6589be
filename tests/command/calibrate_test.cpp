// tiomipra calibrate, on photographs of a chessboard and on rendered boards.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <vision/calibration.hpp>

#include "image_files.hpp"
#include "support/rendered_boards.hpp"
#include "support/run_program.hpp"

namespace tiomipra::test {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using Arguments = std::vector<std::string>;

// Calibrates with the 13 pairs of photographs.
Arguments calibratePhotographs(const std::string& output, const Arguments& options = {}) {
    Arguments arguments{"calibrate",
                        "--corners",
                        "9x6",
                        "--left",
                        photograph("left[01]?.jpg"),
                        "--right",
                        photograph("right[01]?.jpg"),
                        "--output",
                        output};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return arguments;
}

json runForJson(Arguments arguments, int status = 0) {
    arguments.emplace_back("--json");
    const RunResult result = runTiomipra(arguments);
    EXPECT_EQ(result.status, status) << result.err;
    return json::parse(result.out);
}

vision::Calibration load(const std::string& path) {
    vision::Calibration calibration;
    calibration.load(path);
    return calibration;
}

TEST(Calibrate, ReachesSmallErrorsOnPhotographs) {
    const ScratchFolder folder;
    const std::string rig = folder / "rig";
    const RunResult result = runTiomipra(calibratePhotographs(rig, {"--square", "1"}));
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("Verdict: good"));

    const json report = json::parse(readFile(rig + "/report.json"));
    EXPECT_EQ(report["pairsUsed"], 13);
    EXPECT_LE(report["pairError"], 0.25);
    EXPECT_LE(report["rowDifference"]["mean"], 0.13);
    EXPECT_NEAR(report["baseline"], 3.33, 0.02);
    EXPECT_EQ(report["unit"], "");

    const vision::Calibration right = load(rig + "/right.yml");
    EXPECT_EQ(right.cameraMatrix.type(), CV_32FC1);
    EXPECT_EQ(right.projectionMatrix.type(), CV_32FC1);
    EXPECT_NEAR(-right.projectionMatrix.at<float>(0, 3) / right.projectionMatrix.at<float>(0, 0),
                report["baseline"], 1e-4);
    EXPECT_EQ(readImage(rig + "/rectified.png").size(), cv::Size(2 * 640, 480));
    EXPECT_FALSE(readImage(rig + "/coverage.png").empty());
    EXPECT_EQ(runTiomipra({"inspect", "--calibration", rig}).status, 0);
}

TEST(Calibrate, GivesMetresForLengthsWithSuffix) {
    const ScratchFolder folder;
    const json report = runForJson(calibratePhotographs(folder / "rig", {"--square", "25mm"}));
    EXPECT_EQ(report["unit"], "m");
    EXPECT_NEAR(report["baseline"], 3.33 * 0.025, 0.02 * 0.025);
}

TEST(Calibrate, TakesBothHalvesOfSideBySideImages) {
    const ScratchFolder folder;
    for (const char* number : {"01", "02", "03", "04", "06"}) {
        cv::Mat both;
        cv::hconcat(readImage(photograph("left" + std::string(number) + ".jpg")),
                    readImage(photograph("right" + std::string(number) + ".jpg")), both);
        writeImage(folder / (std::string(number) + ".png"), both);
    }
    const json report =
        runForJson({"calibrate", "--corners", "9x6", "--square", "1", "--side-by-side",
                    folder / "*.png", "--output", folder / "rig"});
    EXPECT_EQ(report["pairsUsed"], 5);
    EXPECT_NEAR(report["baseline"], 3.33, 0.05);
}

TEST(Calibrate, KeepsGivenIntrinsics) {
    const ScratchFolder folder;
    const std::string first = folder / "first";
    const std::string second = folder / "second";
    runForJson(calibratePhotographs(first, {"--square", "1"}));
    vision::Calibration left = load(first + "/left.yml");
    left.cameraMatrix.at<float>(0, 0) += 2;
    left.save(folder / "known.yml");
    runForJson(calibratePhotographs(
        second, {"--square", "1", "--fix-intrinsics", folder / "known.yml", first + "/right.yml"}));
    EXPECT_EQ(cv::norm(load(second + "/left.yml").cameraMatrix, left.cameraMatrix), 0);
}

// A view of another moment on one side, and one without a board.
TEST(Calibrate, LeavesOutViewsThatDoNotFit) {
    const ScratchFolder folder;
    Arguments left;
    Arguments right;
    for (const char* number : {"01", "02", "03", "04", "06", "07", "08", "09"}) {
        left.push_back(photograph("left" + std::string(number) + ".jpg"));
        right.push_back(photograph("right" + std::string(number) + ".jpg"));
    }
    right[1] = photograph("right12.jpg");
    cv::Mat fruits;
    cv::resize(readImage(photograph("fruits.jpg")), fruits, {640, 480});
    cv::cvtColor(fruits, fruits, cv::COLOR_BGR2GRAY);
    writeImage(right[5] = folder / "fruits.png", fruits);

    Arguments arguments{"calibrate", "--corners", "9x6",          "--square",
                        "1",         "--output",  folder / "rig", "--left"};
    arguments.insert(arguments.end(), left.begin(), left.end());
    arguments.emplace_back("--right");
    arguments.insert(arguments.end(), right.begin(), right.end());
    const json spoilt = runForJson(arguments, 1);
    EXPECT_EQ(spoilt["verdict"], "redo");
    EXPECT_EQ(spoilt["views"][0]["right"], right[1]);

    arguments.insert(arguments.end(), {"--reject-above", "0.5"});
    const json mended = runForJson(arguments);
    EXPECT_EQ(mended["pairsUsed"], 6);
    EXPECT_LE(mended["pairError"], 0.25);
    const json& leftOut = mended["leftOut"];
    ASSERT_EQ(leftOut.size(), 2U) << leftOut;
    EXPECT_EQ(leftOut[0]["right"], right[5]);
    EXPECT_THAT(leftOut[0]["reason"], HasSubstr("no board in " + right[5]));
    EXPECT_EQ(leftOut[1]["right"], right[1]);
    EXPECT_THAT(leftOut[1]["reason"], HasSubstr("above the limit"));
}

TEST(Calibrate, FindsSwappedCameras) {
    const ScratchFolder folder;
    const json report =
        runForJson({"calibrate", "--corners", "9x6", "--square", "1", "--output", folder / "rig",
                    "--left", photograph("right[01]?.jpg"), "--right", photograph("left[01]?.jpg")},
                   1);
    EXPECT_EQ(report["verdict"], "redo");
    EXPECT_THAT(report["faults"][0]["problem"], HasSubstr("left and right are swapped"));
}

struct BoardCase {
    std::string name;
    Board board;
    double overhang;
};

class CalibrateRendered : public testing::TestWithParam<BoardCase> {};

TEST_P(CalibrateRendered, FindsTrueRig) {
    const auto& [name, board, overhang] = GetParam();
    const RenderedRig rig;
    const ScratchFolder folder;
    int number = 10;
    for (const RenderedPair& pair : renderViews(board, rig, 12, overhang)) {
        writeImage(folder / ("left" + std::to_string(number) + ".png"), pair.left);
        writeImage(folder / ("right" + std::to_string(number++) + ".png"), pair.right);
    }
    const json report = runForJson(
        {"calibrate", "--pattern", nameOf(board.pattern), "--corners",
         std::to_string(board.corners.width) + "x" + std::to_string(board.corners.height),
         "--square", std::to_string(board.square * 1000) + "mm", "--marker",
         std::to_string(board.marker * 1000 + 1e-6) + "mm", "--left", folder / "left*.png",
         "--right", folder / "right*.png", "--output", folder / "rig"});
    EXPECT_EQ(report["pairsUsed"], 12) << report["leftOut"];
    EXPECT_NEAR(report["left"]["focalLength"], rig.focalLength, 0.01 * rig.focalLength);
    EXPECT_NEAR(report["right"]["focalLength"], rig.focalLength, 0.01 * rig.focalLength);
    EXPECT_NEAR(report["baseline"], rig.baseline, 0.01 * rig.baseline);
    EXPECT_LT(report["rowDifference"]["mean"], 0.15);
}

// Half a turn changes nothing on the 9x7 and the 7x7 board and on the grid of circles; a quarter
// neither on the 7x7 one.
const BoardCase boardCases[] = {
    {"symmetricChessboard", {Pattern::chessboard, {9, 7}, 0.02}, 0},
    {"squareChessboard", {Pattern::chessboard, {7, 7}, 0.02}, 0},
    {"circles", {Pattern::circles, {8, 6}, 0.02}, 0},
    {"asymmetricCircles", {Pattern::asymmetricCircles, {4, 11}, 0.015}, 0},
    {"charuco", {Pattern::charuco, {8, 6}, 0.02, 0.015}, 0},
    {"charucoInPart", {Pattern::charuco, {8, 6}, 0.02, 0.015}, 0.15}};

INSTANTIATE_TEST_SUITE_P(Boards, CalibrateRendered, testing::ValuesIn(boardCases),
                         [](const auto& test) { return test.param.name; });

TEST(Calibrate, NamesWrongUsage) {
    const struct {
        Arguments options;
        std::string message;
    } cases[] = {
        {{"--corners", "9x6"}, "--square is required"},
        {{"--square", "0", "--corners", "9x6"}, "'0' must be a positive number"},
        {{"--square", "1", "--corners", "2x6"}, "--corners is 2x6, must be from 3x3"},
        {{"--square", "1", "--corners", "9x6", "--pattern", "stripes"}, "stripes"},
        {{"--square", "1", "--corners", "9x6", "--pattern", "charuco"},
         "--pattern charuco needs --marker"},
        {{"--square", "1", "--corners", "9x6", "--pattern", "charuco", "--marker", "2"},
         "below the side of a square"},
        {{"--square", "1", "--corners", "30x20", "--pattern", "charuco", "--marker", "0.7"},
         "--dictionary 6x6_250 has only 250"},
        {{"--square", "1", "--corners", "9x6", "--alpha", "3"}, "--alpha is 3"}};
    for (const auto& [options, message] : cases) {
        Arguments arguments{"calibrate", "--left", "a.png", "--right", "b.png", "--output", "rig"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const RunResult result = runTiomipra(arguments);
        EXPECT_EQ(result.status, 2) << message;
        EXPECT_THAT(result.err, HasSubstr(message));
    }
}

class CalibrateInput : public testing::Test {
  protected:
    CalibrateInput() {
        for (const std::string number : {"01", "02", "03"}) {
            for (const std::string side : {"left", "right"})
                std::filesystem::copy(photograph(side + number + ".jpg"),
                                      folder / (side + number + ".jpg"));
        }
    }

    // Runs and expects an unreadable or unfitting input; nothing may have been written.
    void expectRefusal(const testing::Matcher<std::string>& message,
                       const Arguments& options = {}) {
        Arguments arguments{"calibrate", "--corners", "9x6", "--square", "1"};
        arguments.insert(arguments.end(), {"--left", folder / "left*", "--right", folder / "right*",
                                           "--output", output});
        arguments.insert(arguments.end(), options.begin(), options.end());
        const RunResult result = runTiomipra(arguments);
        EXPECT_EQ(result.status, 3);
        EXPECT_THAT(result.err, message);
        EXPECT_EQ(result.out, "");
        EXPECT_FALSE(std::filesystem::exists(output + "/right.yml"));
    }

    ScratchFolder folder;
    std::string output = folder / "rig";
};

TEST_F(CalibrateInput, NeedsThreePairs) {
    std::filesystem::copy(photograph("home.jpg"), folder / "home.jpg");
    cv::Mat home;
    cv::resize(readImage(folder / "home.jpg"), home, {640, 480});
    writeImage(folder / "left02.jpg", home);
    writeImage(folder / "right02.jpg", home);
    expectRefusal(AllOf(HasSubstr("only 2 of 3 pairs"), HasSubstr("no board in either image")));
}

TEST_F(CalibrateInput, MustBePairs) {
    std::filesystem::remove(folder / "right03.jpg");
    expectRefusal(HasSubstr("--left stands for 3 images, --right for 2"));
}

TEST_F(CalibrateInput, MustHaveOneSize) {
    for (const std::string side : {"left", "right"}) {
        cv::Mat small;
        cv::resize(readImage(folder / (side + "03.jpg")), small, {320, 240});
        writeImage(folder / (side + "03.jpg"), small);
    }
    expectRefusal(AllOf(HasSubstr("left03.jpg' is 320x240"), HasSubstr("left01.jpg' is 640x480")));
}

TEST_F(CalibrateInput, MustBeReadable) {
    std::filesystem::resize_file(folder / "right02.jpg", 5000);
    expectRefusal(HasSubstr("right02.jpg"));
    std::ofstream(folder / "right02.jpg") << "no image";
    expectRefusal(HasSubstr("right02.jpg"));
    std::filesystem::remove(folder / "right02.jpg");
    std::filesystem::create_symlink(folder / "nowhere", folder / "right02.jpg");
    expectRefusal(HasSubstr("right02.jpg"));
}

TEST_F(CalibrateInput, FixedIntrinsicsMustFitImages) {
    vision::Calibration other;
    other.width = 640;
    other.height = 360;
    other.cameraMatrix = cv::Mat::eye(3, 3, CV_32F);
    other.distortion = cv::Mat::zeros(1, 5, CV_32F);
    other.rectificationMatrix = cv::Mat::eye(3, 3, CV_32F);
    other.projectionMatrix = cv::Mat::eye(3, 4, CV_32F);
    other.save(folder / "wide.yml");
    expectRefusal(HasSubstr("wide.yml' can't be used for images of 640x480"),
                  {"--fix-intrinsics", folder / "wide.yml", folder / "wide.yml"});
    other.height = 480;
    other.cameraMatrix = cv::Mat::eye(3, 3, CV_64F);
    other.save(folder / "double.yml");
    expectRefusal(HasSubstr("double.yml"),
                  {"--fix-intrinsics", folder / "double.yml", folder / "double.yml"});
}

TEST_F(CalibrateInput, SameImagesOnBothSidesHaveNoBaseline) {
    for (const std::string number : {"01", "02", "03"})
        std::filesystem::copy(folder / ("left" + number + ".jpg"),
                              folder / ("right" + number + ".jpg"),
                              std::filesystem::copy_options::overwrite_existing);
    expectRefusal(HasSubstr("the two cameras are in the same place"));
}

TEST_F(CalibrateInput, OutputMustBeWritable) {
    std::ofstream(output) << "a file";
    expectRefusal(HasSubstr("rig"));
}

TEST(Calibrate, LeavesNothingHalfWrittenOnFullDisk) {
    const ScratchFolder folder;
    const std::string rig = folder / "rig";
    const RunResult result =
        runTiomipraOnFullDisk(calibratePhotographs(rig, {"--square", "1"}), 600);
    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.err, HasSubstr(rig));
    for (const auto& file : std::filesystem::recursive_directory_iterator(rig))
        ADD_FAILURE() << file.path() << " was left behind";
}

}  // namespace
}  // namespace tiomipra::test
