// tiomipra calibrate, on photographs of a chessboard.
#include <gmock/gmock.h>

#include <cmath>
#include <filesystem>
#include <opencv2/calib3d.hpp>
#include <opencv2/core.hpp>

#include "files/image_files.hpp"
#include "reports/calibration_report.hpp"
#include "reports/pictures.hpp"
#include "rigs/rig_files.hpp"
#include "rigs/rig_model_files.hpp"
#include "support/matrices.hpp"
#include "support/sample_pairs.hpp"

namespace tiomipra::test {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;

const std::string allPhotographs = "[01]?";

cv::Mat_<double> numbers(const json& rows) {
    const auto columns = static_cast<int>(rows[0].is_array() ? rows[0].size() : 1);
    cv::Mat_<double> matrix(static_cast<int>(rows.size()), columns);
    for (int y = 0; y < matrix.rows; ++y) {
        for (int x = 0; x < columns; ++x)
            matrix(y, x) = rows[0].is_array() ? rows[y][x].get<double>() : rows[y].get<double>();
    }
    return matrix;
}

// That the report's own numbers lead from the board's corners to the pixels that it tells.
void expectReprojected(const json& report) {
    const cv::Mat board = numbers(report["board"]["points"]);
    cv::Mat corners;
    cv::hconcat(board, cv::Mat::zeros(board.rows, 1, CV_64F), corners);
    for (const json& view : report["views"]) {
        cv::Mat rotation;
        cv::Rodrigues(numbers(view["board"]["turn"]), rotation);
        cv::Mat shift = numbers(view["board"]["shift"]);
        for (const std::string camera : {"left", "right"}) {
            if (camera == "right") {
                const cv::Mat rightFromLeft = numbers(report["rightFromLeft"]["rotation"]);
                rotation = rightFromLeft * rotation;
                shift = rightFromLeft * shift + numbers(report["rightFromLeft"]["translation"]);
            }
            cv::Mat projected;
            cv::projectPoints(corners, rotation, shift, numbers(report[camera]["cameraMatrix"]),
                              numbers(report[camera]["coefficients"]), projected);
            const json& points = view[camera + "Points"];
            const cv::Mat reprojected = numbers(points["reprojected"]);
            EXPECT_LE(cv::norm(projected.reshape(1), reprojected, cv::NORM_INF), 0.0006);
            EXPECT_NEAR(cv::norm(reprojected, numbers(points["found"])) / std::sqrt(board.rows),
                        points["error"].get<double>(), 0.0005);
        }
        const double left = view["leftPoints"]["error"], right = view["rightPoints"]["error"];
        EXPECT_NEAR(std::hypot(left, right) / std::sqrt(2), view["pairError"].get<double>(), 1e-6);
    }
}

class Calibrate : public testing::Test {
  protected:
    Arguments calibrate(const std::string& output, const Arguments& images,
                        const Arguments& options = {}) const {
        return joined(
            {"calibrate", "--corners", "9x6", "--square", "25mm", "--output", _folder / output},
            images, options);
    }

    vision::Calibration read(const std::string& name) const {
        return readCalibration(_folder / name);
    }

    const ScratchFolder _folder;
};

// What was measured is kept, so that another rectification needs the model alone.
TEST_F(Calibrate, ReachesSmallErrorsOnPhotographs) {
    const Arguments arguments =
        calibrate("rig", photographs(allPhotographs), {"--alpha", "1", "--reject-above", "0.25"});
    EXPECT_THAT(runTiomipra(arguments).out, HasSubstr("Verdict: good"));

    const json report = json::parse(readFile(_folder / "rig/report.json"));
    EXPECT_EQ(report["pairsUsed"], 12);
    EXPECT_LE(report["pairError"], 0.25);
    EXPECT_LE(report["rowDifference"]["mean"], 0.13);
    EXPECT_NEAR(report["baseline"], 0.0832, 0.0005);
    EXPECT_EQ(report["parameters"]["alpha"], 1);
    EXPECT_EQ(report["parameters"]["rejectAbove"], 0.25);
    EXPECT_EQ(report["leftOut"].at(0)["right"], photograph("right08.jpg"));
    EXPECT_EQ(runForJson({"inspect", "--calibration", _folder / "rig"})["unit"], "m");

    const cv::Mat projection = read("rig/right.yml").projectionMatrix;
    EXPECT_NEAR(-projection.at<float>(0, 3) / projection.at<float>(0, 0), report["baseline"], 1e-6);
    const StereoImages first{readImage(photograph("left01.jpg")),
                             readImage(photograph("right01.jpg"))};
    const auto [left, right] = rectifyPair({read("rig/left.yml"), read("rig/right.yml")}, first);
    EXPECT_THAT(readImage(_folder / "rig/rectified.png"), IsSameMatrix(drawRowLines(left, right)));
    EXPECT_FALSE(readImage(_folder / "rig/coverage.png").empty());
    for (const char* picture : {"rig/coverage.png", "rig/rectified.png"})
        EXPECT_THAT(readFile(_folder / picture), HasSubstr("Software")) << "known again";
    const RigModel model = readRigModel(_folder / "rig/rig.yml");
    EXPECT_EQ(model.unit, "m");
    EXPECT_TRUE(rectify(model, 1).left == read("rig/left.yml"));
    EXPECT_TRUE(rectify(model, 1).right == read("rig/right.yml"));
    expectReprojected(report);
}

// From report.json alone, as long as the photographs are what they were.
TEST_F(Calibrate, WritesAPageThatCanBeMadeAgain) {
    for (const std::string name : {"left01", "left02", "left03", "right01", "right02", "right03"})
        fs::copy_file(photograph(name + ".jpg"), _folder / (name + ".jpg"));
    const Arguments images{"--left", _folder / "left*.jpg", "--right", _folder / "right*.jpg"};
    const Arguments remake{"report", "--calibration", _folder / "rig"};
    const auto page = [&] { return readFile(_folder / "rig/report.html"); };
    runTiomipra(calibrate("rig", images), 1);  // three pairs are too few for more
    const std::string first = page();
    EXPECT_THAT(first, HasSubstr("block-view-2-right"));
    fs::remove(_folder / "rig/report.html");
    runTiomipra(remake);
    EXPECT_TRUE(page() == first);
    runTiomipra(joined(remake, {"--max-pixels", "307199"}));
    EXPECT_THAT(page(), HasSubstr("or have more than 307199 pixels"));

    fs::remove(_folder / "left02.jpg");
    fs::copy_file(photograph("right05.jpg"), _folder / "right03.jpg",
                  fs::copy_options::overwrite_existing);
    runTiomipra(remake);
    EXPECT_THAT(page(), AllOf(HasSubstr("left02.jpg is missing"), HasSubstr("right03.jpg is mis"),
                              HasSubstr("block-rectified-left")));
    expectRefusal(joined(remake, {"--output", "page.txt"}), 2, "must end in .html");
    fs::create_hard_link(_folder / "right03.jpg", _folder / "photograph.html");
    expectRefusal(joined(remake, {"--output", _folder / "photograph.html"}), 3,
                  "would replace the input");

    fs::copy_file(photograph("left02.jpg"), _folder / "left02.jpg");
    runTiomipra(calibrate("rig", images, {"--no-report"}), 1);
    EXPECT_FALSE(fs::exists(_folder / "rig/report.html")) << "one of other calibrations";
    const auto expectNoPage = [&](const json& report, const char* why) {
        _folder.write("rig/report.json", report.dump());
        expectRefusal(remake, 3, why);
    };
    json report = json::parse(readFile(_folder / "rig/report.json"));
    json former = report;
    former.erase("rectifiedView");
    expectNoPage(former, "did not keep the corners yet: calibrate again");
    report["views"][1]["inputs"] = "none";
    expectNoPage(report, "report.json' is not the report of a calibration");
    report["calibrationSha256"] = "0";
    expectNoPage(report, "is about other calibrations");
    report["command"] = "import";
    expectNoPage(report, "comes from 'import'");
}

// The lenses of the photographs are no wide-angle ones, but are small enough for such a model.
TEST_F(Calibrate, TakesTheLensThatIsAskedFor) {
    const Arguments all = photographs(allPhotographs);
    const json report =
        runForJson(calibrate("rig", all, {"--lens", "fisheye", "--field-of-view", "55"}));
    EXPECT_EQ(report["lens"]["model"], "fisheye");
    EXPECT_EQ(report["lens"]["reason"], "as asked for");
    EXPECT_LT(report["lens"]["pinholeResidual"], 0.01);
    EXPECT_LE(report["pairError"], 0.25);
    EXPECT_EQ(report["parameters"]["fieldOfView"], 55);
    const RigModel model = readRigModel(_folder / "rig/rig.yml");
    EXPECT_EQ(model.left.lens.kind, LensKind::fisheye);
    const cv::Mat projection = read("rig/left.yml").projectionMatrix;
    EXPECT_NEAR(projection.at<float>(0, 0), 320 / std::tan(27.5 * CV_PI / 180), 0.01);
    EXPECT_EQ(read("rig/left.yml").distortion.total(), 8U);

    expectRefusal(calibrate("none", all, {"--lens", "rational", "--max-residual", "1"}), 2,
                  "are for wide-angle lenses");
    expectRefusal(calibrate("none", all,
                            {"--lens", "rational", "--fix-intrinsics", _folder / "rig/left.yml",
                             _folder / "rig/right.yml"}),
                  2, "whose files hold the lenses");
    expectRefusal(calibrate("none", all, {"--lens", "fisheye", "--max-residual", "1e-9"}), 3,
                  "(max-residual); choose a smaller field of view");
    EXPECT_FALSE(fs::exists(_folder / "none/left.yml"));
}

TEST_F(Calibrate, KeepsGivenIntrinsicsThatFit) {
    CalibrationPair known = makeRig();
    known.left.cameraMatrix.at<float>(0, 0) += 2;
    saveRig(_folder / "", known);
    const Arguments fixed{"--fix-intrinsics", _folder / "left.yml", _folder / "right.yml"};
    const Arguments all = photographs(allPhotographs);
    runTiomipra(calibrate("rig", all, fixed));
    EXPECT_THAT(read("rig/left.yml").cameraMatrix, IsSameMatrix(known.left.cameraMatrix));
    EXPECT_THAT(read("rig/right.yml").cameraMatrix, IsSameMatrix(known.right.cameraMatrix));
    expectRefusal(calibrate("", all, fixed), 3, "would replace the input");
    makeRig({{640, 360}}).left.save(_folder / "left.yml");
    expectRefusal(calibrate("none", photographs("0[123]"), fixed), 3,
                  "left.yml' can't be used for images of 640x480");
    fs::remove(_folder / "right.yml");
    const RunResult early = runTiomipra(calibrate("none", all, fixed), 3);
    EXPECT_THAT(early.err, AllOf(HasSubstr("right.yml"), testing::Not(HasSubstr("[ 1/13]"))))
        << "found out before the search";
    EXPECT_FALSE(fs::exists(_folder / "none"));
}

TEST_F(Calibrate, FindsSwappedCamerasAndKeepsBetterOnes) {
    const Arguments exchanged{"--left", photograph("right0[1-4].jpg"), "--right",
                              photograph("left0[1-4].jpg")};
    const auto swapped = [&](const Arguments& options = {}) {
        return runTiomipra(calibrate("rig", exchanged, options), 1);
    };
    runTiomipra(calibrate("rig", photographs(allPhotographs)));
    const std::string good = readFile(_folder / "rig/left.yml");
    const RunResult kept = swapped();
    EXPECT_THAT(kept.out, AllOf(HasSubstr("left and right are swapped"),
                                HasSubstr("calibrate again with the left and right")));
    EXPECT_THAT(kept.err, AllOf(HasSubstr("rig/redo' are written but should not be used"),
                                HasSubstr("rig' keeps the better ones")));
    EXPECT_EQ(readFile(_folder / "rig/left.yml"), good);
    const std::string bad = readFile(_folder / "rig/redo/left.yml");
    EXPECT_NE(bad, good);
    EXPECT_THAT(runTiomipra({"inspect", "--calibration", _folder / "rig/redo"}, 1).out,
                HasSubstr("swapped: the baseline is -"));
    swapped({"--force"});
    EXPECT_EQ(readFile(_folder / "rig/left.yml"), bad);
    EXPECT_THAT(runTiomipra(joined({"rectify", "--calibration", _folder / "rig", "--output",
                                    _folder / "out"},
                                   photographs("01")),
                            3)
                    .err,
                HasSubstr("verdict of report.json on"));
    fs::remove_all(_folder / "rig/redo");
    swapped();
    EXPECT_FALSE(fs::exists(_folder / "rig/redo")) << "nothing better was there";
}

// As a camera that hangs head down takes them; the rig is that of the others.
TEST_F(Calibrate, TurnsImages) {
    for (const char* number : {"01", "02", "03", "04", "05", "06", "07", "08"}) {
        cv::Mat image = readImage(photograph("right" + std::string(number) + ".jpg"));
        cv::rotate(image, image, cv::ROTATE_180);
        writeImage(_folder / (std::string(number) + ".png"), image);
    }
    const Arguments images{"--left", photograph("left0[1-8].jpg"), "--right", _folder / "0*.png"};
    const Arguments turn{"--rotate-right", "180"}, most{"--max-pairs", "6"};
    EXPECT_THAT(runTiomipra(calibrate("raw", images), 1).out,
                AllOf(HasSubstr("one camera is upside down"), HasSubstr("rotate-right")));
    runTiomipra(calibrate("turned", images, joined(turn, most)));
    EXPECT_EQ(runForJson(calibrate("upright", photographs("0[1-8]"), most))["pairsUsed"], 6);
    EXPECT_TRUE(read("turned/right.yml") == read("upright/right.yml"));
    const Arguments rectify = joined(
        {"rectify", "--calibration", _folder / "turned", "--output", _folder / "result"}, images);
    EXPECT_THAT(runTiomipra(rectify).err,
                HasSubstr("right ones by 180, these are turned by 0 and 0"));
    const Arguments known{"--fix-intrinsics", _folder / "turned/left.yml",
                          _folder / "turned/right.yml"};
    EXPECT_THAT(runTiomipra(calibrate("again", photographs("0[1-5]"), known)).err,
                HasSubstr("right ones by 180, these are turned by 0 and 0"));
    EXPECT_EQ(runForJson(joined(rectify, turn))["pairs"][0]["madeWith"]["parameters"],
              json({{"rotateRight", 180}}));
}

TEST_F(Calibrate, NamesWrongUsage) {
    const Arguments all = calibrate("none", photographs(allPhotographs));
    expectRefusal(joined(all, {"--alpha", "3"}), 2, "--alpha is 3");
    expectRefusal(joined(all, {"--pattern", "charuco"}), 2, "--pattern charuco needs --marker");
}

}  // namespace
}  // namespace tiomipra::test
