// tiomipra calibrate, on photographs of a chessboard and on rendered boards.
#include <gmock/gmock.h>

#include <filesystem>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "calibration_files.hpp"
#include "calibration_report.hpp"
#include "image_files.hpp"
#include "support/rendered_boards.hpp"
#include "support/rigs.hpp"
#include "support/run_program.hpp"

namespace tiomipra::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;

const Arguments calibrateBoard{"calibrate", "--corners", "9x6", "--square", "1"};

// Calibrates with the 13 pairs of photographs.
Arguments calibratePhotographs(const std::string& output) {
    return joined(calibrateBoard, {"--left", photograph("left[01]?.jpg"), "--right",
                                   photograph("right[01]?.jpg"), "--output", output});
}

TEST(Calibrate, ReachesSmallErrorsOnPhotographs) {
    const ScratchFolder folder;
    const std::string rig = folder / "rig";
    const RunResult result = runTiomipra(calibratePhotographs(rig));
    EXPECT_THAT(result.out, HasSubstr("Verdict: good"));

    const json report = json::parse(readFile(rig + "/report.json"));
    EXPECT_EQ(report["pairsUsed"], 13);
    EXPECT_LE(report["pairError"], 0.25);
    EXPECT_LE(report["rowDifference"]["mean"], 0.13);
    EXPECT_NEAR(report["baseline"], 3.33, 0.02);
    EXPECT_EQ(report["unit"], "");

    const vision::Calibration right = readCalibration(rig + "/right.yml");
    EXPECT_NEAR(-right.projectionMatrix.at<float>(0, 3) / right.projectionMatrix.at<float>(0, 0),
                report["baseline"], 1e-4);
    EXPECT_EQ(readImage(rig + "/rectified.png").size(), cv::Size(2 * 640, 480));
    EXPECT_FALSE(readImage(rig + "/coverage.png").empty());
    runTiomipra({"inspect", "--calibration", rig});
}

TEST(Calibrate, KeepsGivenIntrinsics) {
    const ScratchFolder folder;
    const std::string first = folder / "first";
    const std::string second = folder / "second";
    runForJson(calibratePhotographs(first));
    vision::Calibration left = readCalibration(first + "/left.yml");
    left.cameraMatrix.at<float>(0, 0) += 2;
    left.save(folder / "known.yml");
    runForJson(joined(calibratePhotographs(second),
                      {"--fix-intrinsics", folder / "known.yml", first + "/right.yml"}));
    EXPECT_EQ(cv::norm(readCalibration(second + "/left.yml").cameraMatrix, left.cameraMatrix), 0);
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

    const Arguments arguments =
        joined(joined(calibrateBoard, joined({"--output", folder / "rig", "--left"}, left)),
               joined({"--right"}, right));
    const json spoilt = runForJson(arguments, 1);
    EXPECT_EQ(spoilt["verdict"], "redo");
    EXPECT_EQ(spoilt["views"][0]["right"], right[1]);

    const json mended = runForJson(joined(arguments, {"--reject-above", "0.5"}));
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
    const json report = runForJson(
        joined(calibrateBoard, {"--output", folder / "rig", "--left", photograph("right[01]?.jpg"),
                                "--right", photograph("left[01]?.jpg")}),
        1);
    EXPECT_EQ(report["verdict"], "redo");
    EXPECT_THAT(report["faults"][0]["problem"], HasSubstr("left and right are swapped"));
}

// Too few corners leave the finder a choice.
TEST(DetectBoard, DoesNotDependOnFormerImages) {
    for (const char* name : {"left02.jpg", "left05.jpg", "left06.jpg"}) {
        const cv::Mat image = toGrey(readImage(photograph(name)));
        const Board board{Pattern::chessboard, {3, 3}};
        const Detection first = detectBoard(image, board);
        EXPECT_FALSE(first.empty());
        EXPECT_EQ(detectBoard(image, board).points, first.points) << name;
    }
}

TEST(CalibrationReport, JudgesPlacesOfCamerasByUsableErrorsOnly) {
    const CalibrationPair rig = makeRig();
    RigSolution solution;
    solution.imageSize = {640, 480};
    solution.leftCalibration = rig.right;
    solution.rightCalibration = rig.left;
    for (const double error : {0.9, 40.}) {
        solution.pairError = error;
        EXPECT_EQ(makeReport(solution, {}, {}, {}, "").faults.empty(), error > 1) << error;
    }
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
    EXPECT_EQ(report["unit"], "m");
    EXPECT_EQ(runForJson({"inspect", "--calibration", folder / "rig"})["unit"], "m");
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
    for (const auto& [options, message] : cases)
        expectRefusal(
            joined({"calibrate", "--left", "a.png", "--right", "b.png", "--output", "rig"},
                   options),
            2, message);
}

class CalibrateInput : public testing::Test {
  protected:
    CalibrateInput() {
        for (const char* file : {"left01.jpg", "left02.jpg", "left03.jpg", "right01.jpg",
                                 "right02.jpg", "right03.jpg"})
            std::filesystem::copy(photograph(file), _folder / file);
    }

    Arguments arguments(const Arguments& board = calibrateBoard) const {
        return joined(board, {"--left", _folder / "left*", "--right", _folder / "right*",
                              "--output", _folder / "rig"});
    }

    // Expects input that does not fit; nothing may have been written.
    void expectMisfit(const std::string& message, const Arguments& options = {},
                      const Arguments& board = calibrateBoard) {
        expectRefusal(joined(arguments(board), options), 3, message);
        EXPECT_FALSE(std::filesystem::exists(_folder / "rig/right.yml"));
    }

    ScratchFolder _folder;
};

TEST_F(CalibrateInput, NeedsThreePairsOfOneSize) {
    for (const char* file : {"left02.jpg", "right02.jpg"})
        writeImage(_folder / file, cv::Mat::zeros(480, 640, CV_8UC1));
    expectMisfit("only 2 of 3 pairs");
    for (const char* file : {"left02.jpg", "right02.jpg"})
        writeImage(_folder / file, cv::Mat::zeros(240, 320, CV_8UC1));
    expectMisfit("left02.jpg' is 320x240");
}

// OpenCV finds 8x6 corners on this board of 9x6 as well.
TEST_F(CalibrateInput, BoardMustNotBeLarger) {
    expectMisfit("the board in " + (_folder / "left02.jpg") +
                     " has more than 8x6 corners; --corners must count all of them",
                 {}, {"calibrate", "--corners", "8x6", "--square", "1"});
}

TEST_F(CalibrateInput, IsLeftOutWhenOthersSuffice) {
    _folder.write("left04.jpg", "no image");
    std::filesystem::copy(photograph("right04.jpg"), _folder / "right04.jpg");
    for (const char* file : {"left05.jpg", "right05.jpg"})
        writeImage(_folder / file, cv::Mat::zeros(240, 320, CV_8UC1));
    const RunResult result = runTiomipra(arguments(), 1);  // Three pairs make no usable rig.
    EXPECT_THAT(result.err, HasSubstr("2 of 5 pairs can't be read or have another size"));
    EXPECT_THAT(result.out, HasSubstr("left04.jpg' is not an image"));
    EXPECT_THAT(result.out, HasSubstr("left05.jpg' is 320x240"));
}

TEST_F(CalibrateInput, FixedIntrinsicsMustFitImages) {
    const std::string file = _folder / "camera.yml";
    vision::Calibration camera = makeRig({{640, 360}}).left;
    camera.save(file);
    expectMisfit("camera.yml' can't be used for images of 640x480",
                 {"--fix-intrinsics", file, file});
    camera = makeRig().left;
    camera.cameraMatrix.convertTo(camera.cameraMatrix, CV_64F);
    camera.save(file);
    expectMisfit("camera.yml", {"--fix-intrinsics", file, file});
}

TEST_F(CalibrateInput, SameImagesOnBothSidesHaveNoBaseline) {
    expectRefusal(joined(calibrateBoard, {"--left", _folder / "left*", "--right", _folder / "left*",
                                          "--output", _folder / "rig"}),
                  3, "the two cameras are in the same place");
}

TEST(Calibrate, LeavesNothingHalfWrittenOnFullDisk) {
    const ScratchFolder folder;
    expectNothingOnFullDisk(calibratePhotographs(folder / "rig"), 600, folder / "rig");
}

}  // namespace
}  // namespace tiomipra::test
