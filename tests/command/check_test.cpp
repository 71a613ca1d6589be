// tiomipra check, on photographs and the calibration made of them.
#include <gmock/gmock.h>

#include <filesystem>

#include "files/image_files.hpp"
#include "support/run_program.hpp"

namespace tiomipra::test {
namespace {

using testing::HasSubstr;

class Check : public testing::Test {
  protected:
    Check() {
        runTiomipra(joined({"calibrate", "--corners", "9x6", "--square", "1", "--output", _rig},
                           photographs("[01]?")));
    }

    Arguments check(const Arguments& images, const Arguments& options = {}) const {
        return joined({"check", "--calibration", _rig}, images, options);
    }

    const ScratchFolder _folder;
    const std::string _rig = _folder / "rig";
};

TEST_F(Check, AnswersByStatusAndReport) {
    const std::string output = _folder / "check";
    const RunResult result = runTiomipra(check(photographs("01"), {"--json", "--output", output}));
    const auto report = nlohmann::json::parse(result.out);
    EXPECT_EQ(report["verdict"], "calibrated");
    EXPECT_EQ(report["unit"], "");
    EXPECT_EQ(readFile(output + "/report.json"), result.out);
    EXPECT_EQ(readImage(output + "/row_differences.png").cols, 640);
    runTiomipra(check(photographs("01"), {"--report", _folder / "alone.html"}));
    EXPECT_THAT(readFile(_folder / "alone.html"), HasSubstr("pairRowDifferences"));
    const auto strict = runForJson(check(photographs("01"), {"--max-row-difference", "0.01"}), 1);
    EXPECT_EQ(strict["verdict"], "not calibrated");
    EXPECT_EQ(strict["parameters"]["maxRowDifference"], 0.01);
    const Arguments swapped{"check", "--left-calibration", _rig + "/right.yml",
                            "--right-calibration", _rig + "/left.yml"};
    EXPECT_THAT(runTiomipra(joined(swapped, photographs("01")), 1).out,
                HasSubstr("What to do: exchange the two calibration files"));
}

TEST_F(Check, NamesInputsThatGiveNoAnswer) {
    const std::string blank = _folder / "blank.png";
    writeImage(blank, cv::Mat::zeros(480, 640, CV_8UC1));
    expectRefusal(check({"--left", blank, "--right", blank}), 3, "only 0 of 0 matches");
    const std::string picture = _folder / "row_differences.png";
    std::filesystem::copy(photograph("right01.jpg"), picture);
    const Arguments images{"--left", photograph("left01.jpg"), "--right", picture};
    expectRefusal(check(images, {"--output", _folder / ""}), 3,
                  "row_differences.png' would replace the input");
    std::filesystem::create_hard_link(picture, _folder / "picture.html");
    expectRefusal(check(images, {"--report", _folder / "picture.html"}), 3,
                  "picture.html' would replace the input");
    expectNothingOnFullDisk(check(images, {"--output", _folder / "full"}), _folder / "full");
}

}  // namespace
}  // namespace tiomipra::test
