// tiomipra check, on photographs and the calibration made of them.
#include <gmock/gmock.h>

#include <filesystem>
#include <opencv2/imgproc.hpp>

#include "files/image_files.hpp"
#include "support/run_program.hpp"

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

    Arguments check(const std::string& left, const std::string& right,
                    const Arguments& options = {}) const {
        return joined({"check", "--calibration", _rig, "--left", left, "--right", right}, options);
    }

    Arguments checkPhotographs(const std::string& numbers, const Arguments& options = {}) const {
        return check(photograph("left" + numbers + ".jpg"), photograph("right" + numbers + ".jpg"),
                     options);
    }

    const ScratchFolder _folder;
    const std::string _rig = _folder / "rig";
};

TEST_F(Check, AnswersByStatusAndReport) {
    const std::string output = _folder / "check";
    const RunResult result = runTiomipra(checkPhotographs("01", {"--json", "--output", output}));
    const auto report = nlohmann::json::parse(result.out);
    EXPECT_EQ(report["verdict"], "calibrated");
    EXPECT_EQ(report["unit"], "");
    EXPECT_EQ(readFile(output + "/report.json"), result.out);
    EXPECT_EQ(readImage(output + "/row_differences.png").cols, 640);
    EXPECT_EQ(runForJson(checkPhotographs("0[1-4]", {"--jobs", "1"})),
              runForJson(checkPhotographs("0[1-4]", {"--jobs", "3"})));
    for (const std::string side : {"left", "right"}) {
        cv::Mat reduced;
        cv::resize(readImage(photograph(side + "01.jpg")), reduced, {320, 240}, 0, 0,
                   cv::INTER_AREA);
        writeImage(_folder / (side + ".png"), reduced);
    }
    runTiomipra(check(_folder / "left.png", _folder / "right.png"));

    const auto strict = runForJson(checkPhotographs("01", {"--max-row-difference", "0.01"}), 1);
    EXPECT_EQ(strict["verdict"], "not calibrated");
    EXPECT_EQ(strict["parameters"]["maxRowDifference"], 0.01);
    EXPECT_THAT(runTiomipra({"check", "--left-calibration", _rig + "/right.yml",
                             "--right-calibration", _rig + "/left.yml", "--left",
                             photograph("left01.jpg"), "--right", photograph("right01.jpg")},
                            1)
                    .out,
                HasSubstr("What to do: exchange the two calibration files"));
}

TEST_F(Check, NamesInputsThatGiveNoAnswer) {
    const std::string blank = _folder / "blank.png";
    writeImage(blank, cv::Mat::zeros(480, 640, CV_8UC1));
    expectRefusal(check(blank, blank), 3, "only 0 of 0 matches");
    expectRefusal(checkPhotographs("01", {"--max-row-difference", "0"}), 2, "--max-row-difference");
    expectRefusal(checkPhotographs("01", {"--output", _rig}), 3,
                  "report.json' would replace the input");
    const std::string image = _folder / "row_differences.png";
    std::filesystem::copy(photograph("right01.jpg"), image);
    expectRefusal(check(photograph("left01.jpg"), image, {"--output", _folder / ""}), 3,
                  "row_differences.png' would replace the input");
    expectNothingOnFullDisk(checkPhotographs("01", {"--output", _folder / "full"}), 100,
                            _folder / "full");
}

TEST_F(Check, CarriesOnPastImagesThatCannotBeRead) {
    for (const char* name : {"left01.jpg", "right01.jpg", "right03.jpg"})
        std::filesystem::copy(photograph(name), _folder / name);
    _folder.write("left02.jpg", "no image");
    const RunResult result =
        runTiomipra(check(_folder / "left*", _folder / "right*", {"--json"}), 4);
    EXPECT_THAT(result.err, testing::AllOf(HasSubstr("right03.jpg' are taken for a pair"),
                                           HasSubstr("1 of 2 pairs can't be used"),
                                           HasSubstr("left02.jpg' is not an image")));
    const auto report = nlohmann::json::parse(result.out);
    EXPECT_EQ(report["pairs"], 1);
    EXPECT_EQ(report["failed"].size(), 1U);
}

}  // namespace
}  // namespace tiomipra::test
