// `tiomipra disparity` and `tiomipra depth`, run as a user would.
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <opencv2/core.hpp>
#include <sstream>

#include "base/provenance.hpp"
#include "files/image_files.hpp"
#include "files/output_files.hpp"
#include "matching/image_reduction.hpp"
#include "support/sample_pairs.hpp"
#include "support/scenes.hpp"

namespace tiomipra::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

// A rig and a rendered pair on disk: two planes whose disparities of 50 and 20 pixels are depths of
// 1.25 and 3.125, as focal length times baseline is 62.5.
class DepthCommand : public testing::Test {
  protected:
    DepthCommand() {
        SceneOptions options;
        options.planes = {{50.F, 0, 0, 400}, {20.F, 0, 400}};
        const Scene scene = renderScene(options);
        _left = scene.left;
        writeImage(_pairs / "left/1.png", renderRawView(scene.left, _pairs.rig.left));
        writeImage(_pairs / "right/1.png", renderRawView(scene.right, _pairs.rig.right));
    }

    cv::Mat read(const std::string& name) const {
        return readImage(_pairs / ("out/" + name), Pixels::asStored);
    }

    nlohmann::json report() const {
        return nlohmann::json::parse(readFile(_pairs / "out/1_depth.json"));
    }

    const SamplePairs _pairs{1, {}};
    cv::Mat _left;  // rectified
};

// Counts the points of a PLY text. Each, projected by the camera of the report alone, must fall on
// a pixel of `depth` that has its Z, and on its colour in `image`.
int expectPointsAt(const cv::Mat& depth, const std::string& ply, const nlohmann::json& camera,
                   const cv::Mat& image) {
    const nlohmann::json& matrix = camera.at("matrix");
    const double f = matrix[0][0], cx = matrix[0][2], cy = matrix[1][2];
    std::istringstream lines(ply.substr(ply.find("end_header\n") + 11));
    double x = 0, y = 0, z = 0, red = 0, green = 0, blue = 0, farthestOff = 0, colourErrors = 0;
    int count = 0, wrong = 0;
    for (; lines >> x >> y >> z >> red >> green >> blue; ++count) {
        const cv::Point2d place(x / z * f + cx, y / z * f + cy);
        const cv::Point pixel(cvRound(place.x), cvRound(place.y));
        farthestOff = std::max(farthestOff, cv::norm(place - cv::Point2d(pixel)));
        wrong += depth.at<float>(pixel) == static_cast<float>(z) ? 0 : 1;
        colourErrors += std::abs(image.at<uchar>(pixel) - green);
    }
    EXPECT_LT(farthestOff, 1e-3);
    EXPECT_EQ(wrong, 0);
    EXPECT_LT(colourErrors / count, 5);
    return count;
}

// The farther plane is matched but removed, as it is beyond the maximum depth.
TEST_F(DepthCommand, CloudsAndImagesHoldTheSamePoints) {
    const auto runWith = [&](const char* formats) {
        return runTiomipra(_pairs.arguments(
            "depth",
            {"--preset", "balanced", "--max-depth", "2", "--min-disparity", "10",
             "--disparity-number", "96", "--scale", "2", "--resume", "--formats", formats}));
    };
    runWith("pcd,png");
    const std::string pcd = readFile(_pairs / "out/1.pcd");
    EXPECT_THAT(runWith("ply-text,tiff,png").out, testing::Not(HasSubstr("already")));
    const std::string ply = readFile(_pairs / "out/1.ply");
    runWith("ply");
    const auto result = report().at("result");
    const int measured = result.at("measuredPixels");
    EXPECT_GT(measured, 320 * 240 * 3 / 10);
    EXPECT_NEAR(result.at("depth").at("percentile1"), 1.25, 0.02);
    EXPECT_NEAR(result.at("depth").at("percentile99"), 1.25, 0.02);

    const cv::Mat depth = read("1_depth.tiff");
    EXPECT_EQ(depth.size(), cv::Size(320, 240));
    EXPECT_EQ(cv::countNonZero(depth > 0), measured) << "and not NaN";
    EXPECT_EQ(expectPointsAt(depth, ply, result.at("camera"), reduce(_left, 2)), measured);
    EXPECT_NEAR(result.at("camera").at("baseline"), 0.125, 1e-6);
    cv::Mat millimetres;
    depth.convertTo(millimetres, CV_16U, 1000);
    millimetres.setTo(0, ~(depth > 0));
    EXPECT_EQ(cv::norm(read("1_depth.png"), millimetres, cv::NORM_INF), 0);
    const std::string count = std::to_string(measured) + "\n";
    EXPECT_THAT(pcd, AllOf(HasSubstr("\n# program: tiomipra "), HasSubstr("\nPOINTS " + count)));
    EXPECT_THAT(readFile(_pairs / "out/1.ply"),
                AllOf(HasSubstr("\ncomment program: tiomipra "), HasSubstr("\"window-size\":"),
                      HasSubstr("\nelement vertex " + count), HasSubstr("calibrationSha256")));
}

TEST_F(DepthCommand, DisparitiesAreThoseOfTheScene) {
    const auto result = runForJson(_pairs.arguments(
        "disparity", {"--preset", "fast", "--max-depth", "5", "--formats", "tiff"}))["pairs"][0];
    const cv::Mat disparity = read("1_disparity.tiff");
    const int count = cv::countNonZero(disparity > 0);
    EXPECT_EQ(result["result"]["measuredPixels"], count);
    EXPECT_GT(count, 640 * 480 / 2);
    const cv::Mat near = cv::abs(disparity - 50) < 0.5, far = cv::abs(disparity - 20) < 0.5;
    EXPECT_GT(cv::countNonZero(near.colRange(0, 390)) + cv::countNonZero(far.colRange(410, 640)),
              count * 95 / 100);
}

// A tenth is the finest power of ten of which 65535 reach 5000.
TEST_F(DepthCommand, RigsMayBeInMillimetres) {
    RigOptions options;
    options.baseline = 125;
    saveRig(_pairs / "rig", makeRig(options));
    const RunResult run = runTiomipra(_pairs.arguments(
        "depth", {"--preset", "balanced", "--range", "1000..5000", "--formats", "png"}));
    EXPECT_THAT(run.out, HasSubstr(", PNG in steps of 0.1"));
    EXPECT_EQ(report().at("result").at("pngStep"), 0.1);
    const cv::Mat depth = read("1_depth.png");
    EXPECT_NEAR(cv::mean(depth.colRange(0, 390), depth.colRange(0, 390) != 0)[0], 12500, 100);
    EXPECT_NEAR(cv::mean(depth.colRange(410, 640), depth.colRange(410, 640) != 0)[0], 31250, 200);
    // Without a maximum, up to a disparity of 1 pixel: 62500 millimetres.
    runTiomipra(_pairs.arguments("depth", {"--range", "1000..inf", "--formats", "png"}));
    EXPECT_EQ(report().at("result").at("pngStep"), 1);
    runTiomipra(_pairs.arguments("rectify"));
}

// Disparities of -50 and -20, from the right image to the left one.
TEST_F(DepthCommand, DisparityPngOmitsWhatItCannotHold) {
    const auto printed =
        runForJson({"disparity", "--rectified", "--left", _pairs / "right", "--right",
                    _pairs / "left", "--output", _pairs / "out", "--preset", "balanced",
                    "--min-disparity", "-56", "--disparity-number", "48", "--formats", "png"});
    const auto& result = printed.at("pairs").at(0).at("result");
    EXPECT_GT(result.at("measuredPixels"), 640 * 480 / 4);
    EXPECT_EQ(result.at("outOfRangeOfPng"), result.at("measuredPixels"));
    EXPECT_EQ(cv::countNonZero(read("1_disparity.png")), 0);
}

// The second run finds the same range, and with it the same results.
TEST_F(DepthCommand, FindsTheRangeByItselfAndResumes) {
    const Arguments arguments = _pairs.arguments(
        "depth", {"--preset", "balanced", "--range", "auto", "--formats", "png", "--resume"});
    EXPECT_THAT(runTiomipra(arguments).err, HasSubstr("note: the range found is depths 1."));
    EXPECT_NEAR(report().at("result").at("depth").at("median"), 1.25, 0.02);
    EXPECT_THAT(runTiomipra(arguments).out, HasSubstr("(1 were there already)"));
}

// The parameters of the run, those that were fitted to the size of the images, and the unit.
TEST_F(DepthCommand, TellsWhatAPairWasMadeWith) {
    for (const char* file : {"left/1.png", "right/1.png"})
        writeImage(_pairs / file, cv::Mat(300, 400, CV_8UC1, cv::Scalar(90)));
    const std::string hash =
        sha256(readFile(_pairs / "rig/left.yml") + readFile(_pairs / "rig/right.yml"));
    const Arguments arguments =
        _pairs.arguments("depth", {"--range", "200cm..3m", "--formats", "ply"});
    writeFile(_pairs / "rig/report.json", R"({"unit": "m"})");
    EXPECT_THAT(runTiomipra(arguments).err, HasSubstr("note: no report"));
    writeFile(_pairs / "rig/report.json", R"({"unit": "m", "calibrationSha256": ")" + hash + "\"}");
    const RunResult run = runTiomipra(arguments);
    EXPECT_THAT(run.err, AllOf(HasSubstr(" to 3 m are searched"),
                               HasSubstr("warning: 1: nothing was measured; see whether")));
    // 62.5 / 3, and the same times 400 / 640.
    const auto parameters = report().at("madeWith").at("parameters");
    EXPECT_EQ(parameters.at("min-disparity"), 20);
    EXPECT_EQ(parameters.at("rectified"), false);
    EXPECT_EQ(parameters.at("formats"), nlohmann::json({"ply"}));
    EXPECT_EQ(report().at("result").at("matcher").at("min-disparity"), 13);
    EXPECT_TRUE(report().at("result").at("depth").at("median").is_null());
    EXPECT_THAT(readFile(_pairs / "out/1.ply"),
                AllOf(HasSubstr("\"min-disparity\":13,"), HasSubstr("\ncomment unit: m\n")));
}

TEST_F(DepthCommand, RectifiedImagesHaveNoCalibrationsAndNoDepth) {
    expectRefusal(_pairs.arguments("disparity", {"--rectified"}), 2, "--calibration excludes");
    const Arguments rectified{"disparity", "--rectified",    "--left",   _pairs / "left",
                              "--right",   _pairs / "right", "--output", _pairs / "out"};
    expectRefusal(joined(rectified, {"--range", "1..5"}), 2, "--range needs calibrations");
    for (const char* option : {"--save-parameters", "--parameters"})
        runTiomipra(joined(rectified, {option, _pairs / "saved.toml"}));
}

// The rectified images of the rig stand for those of other cameras; a resumed run knows these
// again.
TEST_F(DepthCommand, RectifiedCamerasTakeThePlaceOfCalibrations) {
    const auto runWith = [&](const std::string& baseline, const Arguments& more) {
        return runTiomipra(
            joined({"depth", "--rectified", "--focal", "500", "--baseline", baseline, "--left",
                    _pairs / "l.png", "--right", _pairs / "r.png", "--output", _pairs / "out",
                    "--preset", "balanced", "--formats", "ply"},
                   more));
    };
    SceneOptions options;
    options.planes = {{25.F}};
    const Scene scene = renderScene(options);
    writeImage(_pairs / "l.png", scene.left);
    writeImage(_pairs / "r.png", scene.right);
    EXPECT_THAT(runWith("125mm", {"--range", "1m..5m"}).err, HasSubstr(" to 5 m are searched"));
    const auto report = nlohmann::json::parse(readFile(_pairs / "out/l_depth.json"));
    EXPECT_NEAR(report.at("result").at("depth").at("median"), 2.5, 0.02);
    EXPECT_EQ(report.at("madeWith").at("unit"), "m");
    EXPECT_EQ(report.at("madeWith").at("parameters").at("baseline"), 0.125);
    EXPECT_THAT(runWith("125mm", {"--range", "1m..5m", "--resume"}).out, HasSubstr("already"));
    for (const Arguments& other : {Arguments{"--centre", "300,200"}, {"--centre-offset", "1"}})
        EXPECT_THAT(runWith("125mm", joined(other, {"--range", "1m..5m", "--resume"})).out,
                    Not(HasSubstr("already")));
}

// With the status and the words that name what is wrong.
TEST_F(DepthCommand, RefusesBadParameters) {
    _pairs.folder.write("window.toml", "window-size = 4\n");
    const struct {
        Arguments options;
        int status;
        std::string message;
    } cases[] = {
        {{"--window-size", "4"}, 2, "--window-size 4: Invalid window size."},
        {{"--range", "1..5", "--min-disparity", "4"}, 2, "--range excludes --min-disparity"},
        {{"--formats", "ply,ply-text"}, 2, "--formats: ply and ply-text have the same file name"},
        {{"--parameters", _pairs / "window.toml"}, 3, "window.toml': window-size 4: Invalid"},
        {{"--parameters", "/dev/zero"}, 3, "'/dev/zero' is larger than 65536 bytes"},
        {{"--save-parameters", "/dev/full"}, 3, "'/dev/full': No space left on device"},
        {{"--save-parameters", _pairs / "left/1.png"}, 3, "would replace the input"},
        {{"--save-parameters", _pairs / "rig/right.yml"}, 3, "would replace the input"},
    };
    for (const auto& [options, status, message] : cases)
        expectRefusal(_pairs.arguments("depth", options), status, message);
}

}  // namespace
}  // namespace tiomipra::test
