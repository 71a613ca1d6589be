// `tiomipra disparity` and `tiomipra depth`, run as a user would.
#include <gmock/gmock.h>

#include <opencv2/core.hpp>

#include "files/image_files.hpp"
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
};

// The farther plane is matched but removed, as it is beyond the maximum depth.
TEST_F(DepthCommand, CloudsAndImagesHoldTheSamePoints) {
    const auto runWith = [&](const char* formats) {
        return runTiomipra(_pairs.arguments(
            "depth",
            {"--preset", "balanced", "--max-depth", "2", "--min-disparity", "10",
             "--disparity-number", "96", "--scale", "2", "--resume", "--formats", formats}));
    };
    runWith("pcd,tiff,ply-text");
    EXPECT_THAT(readFile(_pairs / "out/1.ply"), HasSubstr("format ascii"));
    EXPECT_THAT(runWith("ply").out, Not(HasSubstr("already")));
    const auto result = report().at("result");
    const int measured = result.at("measuredPixels");
    EXPECT_GT(measured, 320 * 240 * 3 / 10);
    EXPECT_NEAR(result.at("depth").at("percentile1"), 1.25, 0.02);
    EXPECT_NEAR(result.at("depth").at("percentile99"), 1.25, 0.02);

    const cv::Mat depth = read("1_depth.tiff");
    EXPECT_EQ(depth.size(), cv::Size(320, 240));
    EXPECT_EQ(cv::countNonZero(depth > 0), measured) << "and not NaN";
    const std::string count = std::to_string(measured) + "\n";
    EXPECT_THAT(readFile(_pairs / "out/1.pcd"),
                AllOf(HasSubstr("\n# program: tiomipra "), HasSubstr("\nPOINTS " + count)));
    EXPECT_THAT(readFile(_pairs / "out/1.ply"),
                AllOf(HasSubstr("\ncomment program: tiomipra "), HasSubstr("\"window-size\":"),
                      HasSubstr("\nelement vertex " + count), HasSubstr("calibrationSha256")));
}

// Without a maximum the PNG reaches to a disparity of 1 pixel: 62500 millimetres.
TEST_F(DepthCommand, RigsMayBeInMillimetres) {
    RigOptions options;
    options.baseline = 125;
    saveRig(_pairs / "rig", makeRig(options));
    for (const auto& [range, step] : {std::pair{"1000..5000", 0.1}, {"1000..inf", 1.}}) {
        runTiomipra(_pairs.arguments("depth", {"--range", range, "--formats", "png"}));
        EXPECT_EQ(report().at("result").at("pngStep"), step);
    }
    runTiomipra(_pairs.arguments("rectify"));
}

// Disparities of -50 and -20, from the right image to the left one, are none that the PNG can hold.
TEST_F(DepthCommand, RectifiedImagesNeedNoCalibrations) {
    const Arguments rectified{"disparity", "--rectified",   "--left",   _pairs / "right",
                              "--right",   _pairs / "left", "--output", _pairs / "out"};
    const auto printed = runForJson(
        joined(rectified, {"--preset", "balanced", "--min-disparity", "-56", "--disparity-number",
                           "48", "--formats", "png", "--save-parameters", _pairs / "p.toml"}));
    const auto& result = printed.at("pairs").at(0).at("result");
    EXPECT_GT(result.at("measuredPixels"), 640 * 480 / 4);
    EXPECT_EQ(result.at("outOfRangeOfPng"), result.at("measuredPixels"));
    EXPECT_EQ(cv::countNonZero(read("1_disparity.png")), 0);
    EXPECT_EQ(
        runForJson(joined(rectified, {"--parameters", _pairs / "p.toml", "--formats", "png"})),
        printed);
    expectRefusal(joined(rectified, {"--range", "1..5"}), 2, "--range needs calibrations");
    expectRefusal(joined(rectified, {"--calibration", _pairs / "rig"}), 2,
                  "--calibration excludes");
}

// The second run finds the same range, and with it the same results.
TEST_F(DepthCommand, FindsTheRangeByItselfAndResumes) {
    const Arguments arguments = _pairs.arguments("depth", {"--range", "auto", "--resume"});
    EXPECT_THAT(runTiomipra(arguments).err, HasSubstr("note: the range found is depths 1."));
    EXPECT_THAT(runTiomipra(arguments).out, HasSubstr("(1 were there already)"));
}

// The parameters of the run, those that were fitted to the size of the images, and the unit.
TEST_F(DepthCommand, TellsWhatAPairWasMadeWith) {
    for (const char* file : {"left/1.png", "right/1.png"})
        writeImage(_pairs / file, cv::Mat(300, 400, CV_8UC1, cv::Scalar(90)));
    const Arguments arguments =
        _pairs.arguments("depth", {"--range", "200cm..3m", "--formats", "ply"});
    EXPECT_THAT(runTiomipra(arguments).err, HasSubstr("note: no report"));
    const std::string hash = report().at("madeWith").at("calibrationSha256");
    _pairs.folder.write("rig/report.json",
                        R"({"unit": "m", "calibrationSha256": ")" + hash + "\"}");
    EXPECT_THAT(runTiomipra(arguments).err,
                AllOf(HasSubstr(" to 3 m are searched"),
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

// A resumed run knows other cameras.
TEST_F(DepthCommand, RectifiedCamerasTakeThePlaceOfCalibrations) {
    const Arguments cameras{"depth",   "--rectified", "--focal",   "500", "--baseline", "125mm",
                            "--range", "1m..5m",      "--formats", "ply", "--resume"};
    const auto runWith = [&](const Arguments& more) {
        return runTiomipra(joined(cameras, _pairs.images(), more));
    };
    EXPECT_THAT(runWith({}).err, HasSubstr(" to 5 m are searched"));
    EXPECT_EQ(report().at("madeWith").at("unit"), "m");
    EXPECT_EQ(report().at("madeWith").at("parameters").at("baseline"), 0.125);
    EXPECT_THAT(runWith({}).out, HasSubstr("already"));
    for (const Arguments& other : {Arguments{"--centre", "300,200"}, {"--centre-offset", "1"}})
        EXPECT_THAT(runWith(other).out, Not(HasSubstr("already")));
}

// With the status and the words that name what is wrong.
TEST_F(DepthCommand, RefusesBadParameters) {
    _pairs.folder.write("window.toml", "window-size = 4\n");
    const struct {
        Arguments options;
        int status;
        std::string message;
    } cases[] = {
        {{"--parameters", _pairs / "window.toml"}, 3, "window.toml': window-size 4: Invalid"},
        {{"--parameters", "/dev/zero"}, 3, "'/dev/zero' is larger than 65536 bytes"},
        {{"--save-parameters", "/dev/full"}, 3, "'/dev/full': No space left on device"},
        {{"--save-parameters", _pairs / "left/1.png"}, 3, "would replace the input"},
    };
    for (const auto& [options, status, message] : cases)
        expectRefusal(_pairs.arguments("depth", options), status, message);
}

}  // namespace
}  // namespace tiomipra::test
