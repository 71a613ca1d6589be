// `tiomipra disparity` and `tiomipra depth`, run as a user would.
#include <gmock/gmock.h>

#include <cmath>
#include <opencv2/core.hpp>
#include <sstream>

#include "base/provenance.hpp"
#include "files/image_files.hpp"
#include "files/output_files.hpp"
#include "support/sample_pairs.hpp"
#include "support/scenes.hpp"

namespace tiomipra::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;

// A rig and a rendered pair on disk: a plane whose disparity of 25 pixels is a depth of 2.5, as
// focal length times baseline is 62.5.
class DepthCommand : public testing::Test {
  protected:
    DepthCommand() { render({{25.F}}); }

    void render(const std::vector<Plane>& planes) {
        SceneOptions options;
        options.planes = planes;
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

// How far, on average, the green of the points of a PLY text is from that of their pixels: f is
// 500, the centre (320.25, 236.5).
double meanColourError(const std::string& text, const cv::Mat& image) {
    std::istringstream lines(text.substr(text.find("end_header\n") + 11));
    double sum = 0;
    int count = 0;
    double x = 0, y = 0, z = 0, red = 0, green = 0, blue = 0;
    for (; lines >> x >> y >> z >> red >> green >> blue; ++count) {
        const cv::Point pixel(cvRound(x / z * 500 + 320.25), cvRound(y / z * 500 + 236.5));
        sum += std::abs(image.at<uchar>(pixel) - green);
    }
    return sum / count;
}

TEST_F(DepthCommand, MeasuresARenderedPlaneInEveryFormat) {
    const auto runWith = [&](const std::string& formats) {
        return runTiomipra(_pairs.arguments(
            "depth", {"--preset", "balanced", "--range", "1..5", "--formats", formats}));
    };
    EXPECT_THAT(runWith("ply-text").err, HasSubstr("min-disparity 12, disparity-number 64"));
    const std::string text = readFile(_pairs / "out/1.ply");
    runWith("ply,pcd,png");
    const std::string ply = readFile(_pairs / "out/1.ply"), pcd = readFile(_pairs / "out/1.pcd");
    EXPECT_EQ(text.rfind("ply\nformat ascii 1.0\ncomment program: tiomipra ", 0), 0U);
    EXPECT_LT(meanColourError(text, _left), 5);
    EXPECT_EQ(ply.rfind("ply\nformat binary_little_endian 1.0\ncomment program: tiomipra ", 0), 0U);
    EXPECT_THAT(pcd, HasSubstr("\n# program: tiomipra "));

    const auto result = report().at("result");
    const std::size_t measured = result.at("measuredPixels");
    EXPECT_GT(measured, 640U * 480 * 8 / 10);
    EXPECT_EQ(result.at("outOfRangeOfPng"), 0);
    EXPECT_NEAR(result.at("depth").at("median"), 2.5, 0.02);
    const std::string count = std::to_string(measured) + "\n";
    EXPECT_THAT(pcd, HasSubstr("\nPOINTS " + count));
    for (const std::string& cloud : {text, ply})
        EXPECT_THAT(cloud, AllOf(HasSubstr("\nelement vertex " + count),
                                 HasSubstr("\"window-size\":"), HasSubstr("calibrationSha256")));
    const cv::Mat depth = read("1_depth.png");
    EXPECT_EQ(static_cast<std::size_t>(cv::countNonZero(depth)), measured);
    EXPECT_NEAR(cv::mean(depth, depth != 0)[0], 2500, 10);
}

TEST_F(DepthCommand, PngOmitsWhatItCannotHold) {
    // In thousandths of the unit, a unit that is 40 times smaller goes beyond 16 bits.
    for (const char* side : {"rig/left.yml", "rig/right.yml"}) {
        vision::Calibration camera;
        camera.load(_pairs / side);
        camera.projectionMatrix.at<float>(0, 3) *= 40;
        camera.save(_pairs / side);
    }
    const RunResult run = runTiomipra(_pairs.arguments(
        "depth", {"--preset", "balanced", "--max-depth", "200", "--formats", "png"}));
    EXPECT_GT(report().at("result").at("outOfRangeOfPng"), 200000);
    EXPECT_THAT(run.out, HasSubstr("outside of what the 16-bit PNG holds"));
    EXPECT_LT(cv::countNonZero(read("1_depth.png")), 5000);
}

// The nearer half of the scene has the warmer colour.
TEST_F(DepthCommand, PicturesAreWarmWhereTheSceneIsNear) {
    render({{50.F, 0, 0, 320}, {20.F, 0, 320}});
    for (const std::string command : {"depth", "disparity"}) {
        runTiomipra(_pairs.arguments(
            command, {"--preset", "balanced", "--range", "1..5", "--formats", "picture"}));
        const cv::Mat picture = read("1_" + command + "_picture.png");
        const cv::Scalar onLeft = cv::mean(picture(cv::Rect(200, 200, 80, 80)));
        const cv::Scalar onRight = cv::mean(picture(cv::Rect(420, 200, 80, 80)));
        EXPECT_GT(onLeft[2], onLeft[0]) << command;
        EXPECT_LT(onRight[2], onRight[0]) << command;
    }
}

TEST_F(DepthCommand, DisparityFilesAgree) {
    const auto printed = runForJson(_pairs.arguments(
        "disparity", {"--preset", "fast", "--max-depth", "5", "--formats", "tiff,pfm,png"}));
    const cv::Mat tiff = read("1_disparity.tiff");
    const cv::Mat pfm = read("1_disparity.pfm");
    const cv::Mat png = read("1_disparity.png");
    ASSERT_EQ(tiff.type(), CV_32FC1);
    const cv::Mat measured = tiff < static_cast<double>(INFINITY);  // and not NaN
    const int count = cv::countNonZero(measured);
    EXPECT_GT(count, 640 * 480 / 2);
    EXPECT_EQ(printed.at("pairs").at(0).at("result").at("measuredPixels"), count);
    EXPECT_LT(cv::countNonZero(measured & (cv::abs(tiff - 25) > 0.5)), count / 100);
    EXPECT_EQ(cv::countNonZero((pfm != tiff) & measured), 0);
    EXPECT_EQ(cv::countNonZero((pfm != static_cast<double>(INFINITY)) & ~measured), 0);
    cv::Mat fixedPoint;
    tiff.convertTo(fixedPoint, CV_16U, 256);
    fixedPoint.setTo(0, ~measured);
    EXPECT_EQ(cv::norm(png, fixedPoint, cv::NORM_INF), 0);
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
                               HasSubstr("warning: 1: nothing was measured")));
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

// With the status and the words that name what is wrong.
TEST_F(DepthCommand, RefusesBadParameters) {
    _pairs.folder.write("window.toml", "window-size = 4\n");
    const struct {
        Arguments options;
        int status;
        std::string message;
    } cases[] = {
        {{"--window-size", "4"}, 2, "--window-size 4: Invalid window size."},
        {{"--min-disparity", "641"}, 2, "--min-disparity 641: Invalid min disparity."},
        {{"--max-depth", "0.01"}, 2, "--max-depth 0.01"},
        {{"--range", "1..5", "--max-depth", "4"}, 2, "--range excludes --max-depth"},
        {{"--range", "1..5", "--min-disparity", "4"}, 2, "--range excludes --min-disparity"},
        {{"--preset", "best"}, 2, "best not in {fast,balanced,accurate}"},
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
