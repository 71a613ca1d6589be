// tiomipra check, on photographs and the calibration made of them.
#include <gmock/gmock.h>

#include <cmath>
#include <filesystem>
#include <opencv2/calib3d.hpp>
#include <opencv2/imgproc.hpp>

#include "image_files.hpp"
#include "support/sample_pairs.hpp"

namespace tiomipra::test {
namespace {

using testing::HasSubstr;

class Check : public testing::Test {
  protected:
    Check() {
        runTiomipra({"calibrate", "--corners", "9x6", "--square", "1", "--left",
                     photograph("left[01]?.jpg"), "--right", photograph("right[01]?.jpg"),
                     "--output", _rig});
    }

    // The rig with the right camera's rectification turned about x.
    std::string turnedRig(double degrees) const {
        std::string path = _folder / ("turned" + std::to_string(degrees));
        CalibrationPair rig;
        rig.left.load(_rig + "/left.yml");
        rig.right.load(_rig + "/right.yml");
        cv::Mat turn;
        cv::Rodrigues(cv::Vec3f(static_cast<float>(degrees * CV_PI / 180), 0, 0), turn);
        rig.right.rectificationMatrix = turn * rig.right.rectificationMatrix;
        saveRig(path, rig);
        return path;
    }

    static Arguments check(const std::string& calibration, const std::string& left,
                           const std::string& right, const Arguments& options = {}) {
        return joined({"check", "--calibration", calibration, "--left", left, "--right", right},
                      options);
    }

    static Arguments checkFirst(const std::string& calibration, const Arguments& options = {}) {
        return check(calibration, photograph("left01.jpg"), photograph("right01.jpg"), options);
    }

    const ScratchFolder _folder;
    const std::string _rig = _folder / "rig";
};

TEST_F(Check, AcceptsRigOnItsPhotographs) {
    const std::string output = _folder / "check";
    const RunResult result = runTiomipra(checkFirst(_rig, {"--json", "--output", output}));
    const auto report = nlohmann::json::parse(result.out);
    EXPECT_EQ(report["verdict"], "calibrated");
    EXPECT_LT(report["rowDifference"]["median"], 0.5);
    EXPECT_EQ(readFile(output + "/report.json"), result.out);
    EXPECT_EQ(readImage(output + "/row_differences.png").cols, 640);

    const Arguments several =
        check(_rig, photograph("left0[1-4].jpg"), photograph("right0[1-4].jpg"), {"--jobs"});
    EXPECT_EQ(runForJson(joined(several, {"1"})), runForJson(joined(several, {"3"})));
}

TEST_F(Check, AcceptsReducedImages) {
    for (const std::string side : {"left", "right"}) {
        cv::Mat reduced;
        cv::resize(readImage(photograph(side + "01.jpg")), reduced, {320, 240}, 0, 0,
                   cv::INTER_AREA);
        writeImage(_folder / (side + ".png"), reduced);
    }
    runTiomipra(check(_rig, _folder / "left.png", _folder / "right.png"));
}

TEST_F(Check, RejectsSwappedImages) {
    for (const std::string number : {"01", "07", "14"}) {
        const RunResult result = runTiomipra(check(_rig, photograph("right" + number + ".jpg"),
                                                   photograph("left" + number + ".jpg")),
                                             1);
        EXPECT_THAT(result.out, HasSubstr("Verdict: swapped"));
    }
}

TEST_F(Check, RejectsTurnedCamera) {
    for (const double degrees : {0.5, -0.5, 0.2, 10.}) {
        const auto report = runForJson(checkFirst(turnedRig(degrees)), 1);
        EXPECT_EQ(report["verdict"], "not calibrated");
        EXPECT_NEAR(report["turnDegrees"], std::abs(degrees), 0.1 + 0.1 * std::abs(degrees));
    }
}

TEST_F(Check, NamesInputsThatGiveNoAnswer) {
    const std::string blank = _folder / "blank.png";
    writeImage(blank, cv::Mat::zeros(480, 640, CV_8UC1));
    expectRefusal(check(_rig, blank, blank), 3, "only 0 of 0 matches");
    expectRefusal(checkFirst(_rig, {"--max-row-difference", "0"}), 2, "--max-row-difference");
    expectRefusal(check(_rig, photograph("left01.jpg"), photograph("left01.jpg")), 3,
                  "show the same image");
    expectRefusal(checkFirst(_rig, {"--output", _rig}), 3, "report.json' would replace the input");
}

TEST_F(Check, RejectsSwappedFiles) {
    const RunResult result =
        runTiomipra({"check", "--left-calibration", _rig + "/right.yml", "--right-calibration",
                     _rig + "/left.yml", "--left", photograph("left01.jpg"), "--right",
                     photograph("right01.jpg")},
                    1);
    EXPECT_THAT(result.out, HasSubstr("What to do: exchange the two calibration files"));
}

TEST_F(Check, CarriesOnPastImagesThatCannotBeRead) {
    const ScratchFolder pairs;
    for (const char* name : {"left01.jpg", "right01.jpg", "right03.jpg"})
        std::filesystem::copy(photograph(name), pairs / name);
    pairs.write("left02.jpg", "no image");
    const RunResult result =
        runTiomipra(check(_rig, pairs / "left*", pairs / "right*", {"--json"}), 4);
    EXPECT_THAT(result.err, testing::AllOf(HasSubstr("right03.jpg' are taken for a pair"),
                                           HasSubstr("1 of 2 pairs can't be used"),
                                           HasSubstr("left02.jpg' is not an image")));
    const auto report = nlohmann::json::parse(result.out);
    EXPECT_LT(report["rowDifference"]["regionsJudged"], 5);
    EXPECT_THAT(report["advice"], HasSubstr("give several pairs"));
}

TEST_F(Check, LeavesNothingHalfWrittenOnFullDisk) {
    expectNothingOnFullDisk(checkFirst(_rig, {"--output", _folder / "full"}), 100,
                            _folder / "full");
}

}  // namespace
}  // namespace tiomipra::test
