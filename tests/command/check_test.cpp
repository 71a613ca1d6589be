// tiomipra check, on photographs and the calibration made of them.
#include <gmock/gmock.h>

#include <cmath>
#include <filesystem>
#include <opencv2/calib3d.hpp>
#include <opencv2/imgproc.hpp>
#include <vision/calibration.hpp>

#include "image_files.hpp"
#include "support/run_program.hpp"

namespace tiomipra::test {
namespace {

using testing::HasSubstr;

class Check : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        folder = std::make_unique<ScratchFolder>();
        rig = *folder / "rig";
        const RunResult result = runTiomipra({"calibrate", "--corners", "9x6", "--square", "1",
                                              "--left", photograph("left[01]?.jpg"), "--right",
                                              photograph("right[01]?.jpg"), "--output", rig});
        ASSERT_EQ(result.status, 0) << result.err;
    }

    static void TearDownTestSuite() { folder.reset(); }

    // The rig with the right camera's rectification turned about x.
    static std::string turnedRig(double degrees) {
        std::string turned = *folder / ("turned" + std::to_string(degrees));
        std::filesystem::create_directory(turned);
        std::filesystem::copy(rig + "/left.yml", turned + "/left.yml");
        vision::Calibration right;
        right.load(rig + "/right.yml");
        cv::Mat turn;
        cv::Rodrigues(cv::Vec3d(degrees * CV_PI / 180, 0, 0), turn);
        turn.convertTo(turn, CV_32F);
        right.rectificationMatrix = turn * right.rectificationMatrix;
        right.save(turned + "/right.yml");
        return turned;
    }

    static RunResult check(const std::string& calibration, const std::string& left,
                           const std::string& right, const Arguments& options = {}) {
        return runTiomipra(joined(
            {"check", "--calibration", calibration, "--left", left, "--right", right}, options));
    }

    static std::unique_ptr<ScratchFolder> folder;
    static std::string rig;
};

std::unique_ptr<ScratchFolder> Check::folder;
std::string Check::rig;

TEST_F(Check, AcceptsRigOnItsPhotographs) {
    const std::string output = *folder / "check";
    const RunResult result = check(rig, photograph("left01.jpg"), photograph("right01.jpg"),
                                   {"--json", "--output", output});
    EXPECT_EQ(result.status, 0) << result.out << result.err;
    const auto report = nlohmann::json::parse(result.out);
    EXPECT_EQ(report["verdict"], "calibrated");
    EXPECT_LT(report["rowDifference"]["median"], 0.5);
    EXPECT_EQ(readFile(output + "/report.json"), result.out);
    EXPECT_EQ(readImage(output + "/row_differences.png").cols, 640);

    const auto severalBy = [](const std::string& jobs) {
        return check(rig, photograph("left0[1-4].jpg"), photograph("right0[1-4].jpg"),
                     {"--json", "--jobs", jobs});
    };
    const RunResult several = severalBy("1");
    EXPECT_EQ(several.status, 0) << several.out << several.err;
    EXPECT_EQ(several.out, severalBy("3").out);
}

TEST_F(Check, AcceptsReducedImages) {
    for (const std::string side : {"left", "right"}) {
        cv::Mat reduced;
        cv::resize(readImage(photograph(side + "01.jpg")), reduced, {320, 240}, 0, 0,
                   cv::INTER_AREA);
        writeImage(*folder / (side + ".png"), reduced);
    }
    const RunResult result = check(rig, *folder / "left.png", *folder / "right.png");
    EXPECT_EQ(result.status, 0) << result.out << result.err;
}

TEST_F(Check, RejectsSwappedImages) {
    for (const std::string number : {"01", "07", "14"}) {
        const RunResult result =
            check(rig, photograph("right" + number + ".jpg"), photograph("left" + number + ".jpg"));
        EXPECT_EQ(result.status, 1) << result.err;
        EXPECT_THAT(result.out, HasSubstr("Verdict: swapped"));
    }
}

TEST_F(Check, RejectsTurnedCamera) {
    for (const double degrees : {0.5, -0.5, 0.2, 10.}) {
        const RunResult result = check(turnedRig(degrees), photograph("left01.jpg"),
                                       photograph("right01.jpg"), {"--json"});
        EXPECT_EQ(result.status, 1) << degrees << result.err;
        const auto report = nlohmann::json::parse(result.out);
        EXPECT_EQ(report["verdict"], "not calibrated");
        EXPECT_NEAR(report["turnDegrees"], std::abs(degrees), 0.1 + 0.1 * std::abs(degrees));
    }
}

TEST_F(Check, NamesInputsThatGiveNoAnswer) {
    const std::string blank = *folder / "blank.png";
    writeImage(blank, cv::Mat::zeros(480, 640, CV_8UC1));
    const RunResult result = check(rig, blank, blank);
    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.err, HasSubstr("only 0 of 0 matches"));
    EXPECT_EQ(check(rig, blank, blank, {"--max-row-difference", "0"}).status, 2);
    const RunResult same = check(rig, photograph("left01.jpg"), photograph("left01.jpg"));
    EXPECT_EQ(same.status, 3);
    EXPECT_THAT(same.err, HasSubstr("show the same image"));
}

TEST_F(Check, RejectsSwappedFiles) {
    const RunResult result =
        runTiomipra({"check", "--left-calibration", rig + "/right.yml", "--right-calibration",
                     rig + "/left.yml", "--left", photograph("left01.jpg"), "--right",
                     photograph("right01.jpg")});
    EXPECT_EQ(result.status, 1) << result.err;
    EXPECT_THAT(result.out, HasSubstr("What to do: exchange the two calibration files"));
}

TEST_F(Check, CarriesOnPastImagesThatCannotBeRead) {
    const ScratchFolder pairs;
    for (const char* name : {"left01.jpg", "right01.jpg", "right03.jpg"})
        std::filesystem::copy(photograph(name), pairs / name);
    pairs.write("left02.jpg", "no image");
    const RunResult result = check(rig, pairs / "left*", pairs / "right*", {"--json"});
    EXPECT_EQ(result.status, 4);
    EXPECT_THAT(result.err, testing::AllOf(HasSubstr("right03.jpg' are taken for a pair"),
                                           HasSubstr("1 of 2 pairs can't be used"),
                                           HasSubstr("left02.jpg' is not an image")));
    const auto report = nlohmann::json::parse(result.out);
    EXPECT_LT(report["rowDifference"]["regionsJudged"], 5);
    EXPECT_THAT(report["advice"], HasSubstr("give several pairs"));
}

TEST_F(Check, LeavesNothingHalfWrittenOnFullDisk) {
    const std::string output = *folder / "full";
    const RunResult result =
        runTiomipraOnFullDisk({"check", "--calibration", rig, "--left", photograph("left01.jpg"),
                               "--right", photograph("right01.jpg"), "--output", output},
                              100);
    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.err, HasSubstr("can't write '" + output));
    EXPECT_TRUE(std::filesystem::is_empty(output));
}

}  // namespace
}  // namespace tiomipra::test
