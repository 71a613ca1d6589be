// `tiomipra disparity` and `tiomipra depth`, run as a user would.
#include <gmock/gmock.h>

#include <array>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <sstream>

#include "calibration_files.hpp"
#include "cloud_files.hpp"
#include "image_files.hpp"
#include "output_files.hpp"
#include "provenance.hpp"
#include "support/sample_pairs.hpp"
#include "support/scenes.hpp"

namespace tiomipra::test {
namespace {

using testing::HasSubstr;

using Point = std::array<float, 6>;  // x, y, z, red, green, blue

struct Cloud {
    std::string header;
    std::vector<Point> points;
};

// A reader of PLY and PCD from their definitions.
Cloud readCloud(const std::string& path) {
    std::istringstream file(readFile(path));
    Cloud cloud;
    std::string line;
    while (std::getline(file, line) && line != "end_header" && line != "DATA binary")
        cloud.header += line + "\n";
    const bool isPcd = line == "DATA binary";
    const bool isText = cloud.header.rfind("ply\nformat ascii 1.0\n", 0) == 0;
    const auto count = cloud.header.find(isPcd ? "\nPOINTS " : "\nelement vertex ");
    cloud.points.resize(
        std::stoul(cloud.header.substr(cloud.header.find_first_of("0123456789", count))));
    const auto read = [&file](auto value) {
        file.read(reinterpret_cast<char*>(&value), sizeof value);
        return value;
    };
    for (Point& point : cloud.points) {
        for (std::size_t i = 0; i < (isPcd ? 3 : point.size()); ++i) {
            if (isText)
                file >> point[i];
            else
                point[i] = i < 3 ? read(0.F) : static_cast<float>(read(std::uint8_t{}));
        }
        const std::uint32_t colour = isPcd ? read(std::uint32_t{}) : 0;
        for (std::size_t i = 0; i < 3 && isPcd; ++i)
            point[3 + i] = static_cast<float>(colour >> (16 - 8 * i) & 255);
    }
    EXPECT_TRUE(file) << "cut off";
    file >> std::ws;
    EXPECT_EQ(file.peek(), EOF) << "more than " << cloud.points.size() << " points";
    return cloud;
}

TEST(CloudFiles, ColoursAreRedGreenAndBlue) {
    const std::vector<CloudPoint> cloud{{{1, 2, 3}, {10, 20, 30}}};  // blue, green, red
    const std::pair<CloudFormat, std::string> cases[] = {
        {CloudFormat::plyText, "\n1 2 3 30 20 10\n"},
        {CloudFormat::plyBinary, "\x1e\x14\x0a"},
        {CloudFormat::pcd, std::string("\x0a\x14\x1e\0", 4)}};
    for (const auto& [format, end] : cases)
        EXPECT_THAT(encodeCloud(cloud, format, {}), testing::EndsWith(end));
}

// A rig and a rendered pair of a plane on disk: its disparity of 25 pixels is a depth of 2.5, as
// focal length times baseline is 62.5.
class DepthCommand : public testing::Test {
  protected:
    DepthCommand() {
        SceneOptions options;
        options.planes = {{25.F}};
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

TEST_F(DepthCommand, MeasuresARenderedPlaneInEveryFormat) {
    const auto runWith = [&](const std::string& formats) {
        const RunResult run = runTiomipra(_pairs.arguments(
            "depth", {"--preset", "balanced", "--range", "1..5", "--formats", formats}));
        EXPECT_THAT(run.err, HasSubstr("min-disparity 12, disparity-number 64"));
    };
    runWith("ply-text");
    const Cloud text = readCloud(_pairs / "out/1.ply");
    runWith("ply,pcd,png,picture");
    const auto [header, points] = readCloud(_pairs / "out/1.ply");
    const Cloud pcd = readCloud(_pairs / "out/1.pcd");
    EXPECT_TRUE(text.points == points && pcd.points == points);
    EXPECT_EQ(header.rfind("ply\nformat binary_little_endian 1.0\ncomment program: tiomipra ", 0),
              0U);
    for (const std::string words :
         {"\"window-size\":", "calibrationSha256",
          "property float x\nproperty float y\nproperty float z\nproperty uchar red\n"
          "property uchar green\nproperty uchar blue\n"})
        EXPECT_THAT(header, HasSubstr(words));
    for (const std::string words :
         {"\n# program: tiomipra ", "\nFIELDS x y z rgb\nSIZE 4 4 4 4\nTYPE F F F F\n",
          "\nHEIGHT 1\n"})
        EXPECT_THAT(pcd.header, HasSubstr(words));
    EXPECT_THAT(pcd.header, HasSubstr("\nWIDTH " + std::to_string(points.size()) + "\n"));

    EXPECT_GT(points.size(), _left.total() * 8 / 10);
    EXPECT_EQ(points.size(), report().at("result").at("measuredPixels"));
    std::size_t offPlane = 0, offColour = 0;
    for (const auto& [x, y, z, red, green, blue] : points) {
        // f B / Z is the disparity; back in the image, the pixel has the point's colour.
        offPlane += std::abs(62.5F / z - 25.F) > 0.5F;
        const cv::Point pixel(cvRound(x / z * 500.F + 320.25F), cvRound(y / z * 500.F + 236.5F));
        ASSERT_TRUE(cv::Rect({}, _left.size()).contains(pixel));
        offColour += std::abs(static_cast<float>(_left.at<uchar>(pixel)) - green) > 25;
    }
    EXPECT_LT(offPlane, points.size() / 100);
    EXPECT_LT(offColour, points.size() / 100);

    const cv::Mat depth = read("1_depth.png");
    ASSERT_EQ(depth.type(), CV_16UC1);
    EXPECT_EQ(std::size_t(cv::countNonZero(depth)), points.size());
    EXPECT_NEAR(cv::mean(depth, depth != 0)[0], 2500, 10);
    EXPECT_GT(read("1_depth_picture.png").rows, _left.rows) << "image and colour bar";
}

TEST_F(DepthCommand, PngOmitsWhatItCannotHold) {
    // In thousandths of the unit, a unit that is 40 times smaller goes beyond 16 bits.
    for (const char* side : {"rig/left.yml", "rig/right.yml"}) {
        vision::Calibration camera = readCalibration(_pairs / side);
        camera.projectionMatrix.at<float>(0, 3) *= 40;
        camera.save(_pairs / side);
    }
    const RunResult run = runTiomipra(_pairs.arguments(
        "depth", {"--preset", "balanced", "--max-depth", "200", "--formats", "png"}));
    EXPECT_GT(report().at("result").at("outOfRangeOfPng"), 200000);
    EXPECT_THAT(run.out, HasSubstr("outside of what the 16-bit PNG holds"));
    EXPECT_LT(cv::countNonZero(read("1_depth.png")), 5000);
}

TEST_F(DepthCommand, DisparityFilesAgree) {
    const auto printed =
        runForJson(_pairs.arguments("disparity", {"--preset", "fast", "--max-depth", "5",
                                                  "--formats", "tiff,pfm,png,picture"}));
    const cv::Mat tiff = read("1_disparity.tiff");
    const cv::Mat pfm = read("1_disparity.pfm");
    const cv::Mat png = read("1_disparity.png");
    ASSERT_EQ(tiff.type(), CV_32FC1);
    ASSERT_EQ(png.type(), CV_16UC1);
    std::size_t measured = 0, off = 0;
    for (int y = 0; y < tiff.rows; ++y)
        for (int x = 0; x < tiff.cols; ++x) {
            const float value = tiff.at<float>(y, x);
            const bool isMeasured = !std::isnan(value);
            ASSERT_EQ(pfm.at<float>(y, x), isMeasured ? value : INFINITY);
            ASSERT_EQ(png.at<std::uint16_t>(y, x), isMeasured ? cvRound(value * 256) : 0);
            measured += isMeasured;
            off += isMeasured && std::abs(value - 25.F) > 0.5F;
        }
    EXPECT_GT(measured, tiff.total() / 2);
    EXPECT_LT(off, measured / 100);
    EXPECT_EQ(printed.at("pairs").at(0).at("result").at("measuredPixels"), measured);
}

TEST_F(DepthCommand, ImagesOfAnySizeAndScaleAreMeasured) {
    const struct {
        cv::Size size;
        std::string preset;
        int scale;
        int minDisparity;  // 62.5 / 3 * width / 640
        cv::Size matched;
    } cases[] = {
        {{640, 480}, "fast", 4, 20, {160, 120}},     {{640, 480}, "balanced", 2, 20, {320, 240}},
        {{640, 480}, "accurate", 2, 20, {320, 240}}, {{640, 480}, "accurate", 4, 20, {160, 120}},
        {{400, 300}, "balanced", 1, 13, {400, 300}}, {{600, 450}, "balanced", 4, 19, {150, 112}},
        {{1280, 960}, "fast", 1, 41, {1280, 960}}};
    const std::string files[] = {_pairs / "left/1.png", _pairs / "right/1.png"};
    const cv::Mat raw[] = {readImage(files[0]), readImage(files[1])};
    for (const auto& [size, preset, scale, minDisparity, matched] : cases) {
        cv::Mat images[2];
        for (int i = 0; i < 2; ++i)
            cv::resize(raw[i], images[i], size, 0, 0, cv::INTER_AREA);
        cv::cvtColor(images[0], images[0], cv::COLOR_GRAY2BGR);  // one in colour, the other grey
        writeImage(files[0], images[0]);
        writeImage(files[1], images[1]);
        const RunResult run =
            runTiomipra(_pairs.arguments("depth", {"--preset", preset, "--range", "2..3", "--scale",
                                                   std::to_string(scale), "--formats", "png,ply"}));
        EXPECT_EQ(run.err.find("600x448 are matched") != std::string::npos, size.width == 600);
        const cv::Mat depth = read("1_depth.png");
        EXPECT_EQ(depth.size(), matched);
        EXPECT_GT(cv::countNonZero(depth), int(depth.total()) * 6 / 10) << preset << matched;
        // An eighth of a pixel of what is matched; a quarter where the images were resampled.
        const double pixels = size == raw[0].size() ? 0.125 : 0.25;
        EXPECT_NEAR(cv::mean(depth, depth != 0)[0], 2500, pixels * 64000 / matched.width) << preset;
        EXPECT_EQ(report().at("result").at("matcher").at("min-disparity"), minDisparity);
        EXPECT_EQ(report().at("madeWith").at("parameters").at("min-disparity"), 20);
        EXPECT_THAT(readFile(_pairs / "out/1.ply"),
                    HasSubstr("\"min-disparity\":" + std::to_string(minDisparity) + ","));
    }
}

// One object matches all of them.
TEST_F(DepthCommand, AnImageThatIsTooSmallDoesNotHarmTheNext) {
    for (const std::string side : {"left", "right"}) {
        const cv::Mat image = readImage(_pairs / (side + "/1.png"));
        writeImage(_pairs / (side + "/2.png"), image(cv::Rect(0, 0, 64, 48)));
        writeImage(_pairs / (side + "/3.png"), image);
    }
    const auto result = runForJson(
        _pairs.arguments("depth", {"--disparity-number", "64", "--jobs", "1", "--formats", "png"}),
        4);
    EXPECT_EQ(result["failed"].size(), 1U);
    EXPECT_EQ(result["pairs"][1]["result"], result["pairs"][0]["result"]);
}

TEST_F(DepthCommand, KnowsTheUnitByTheReportOnItsCalibrations) {
    const std::string hash =
        sha256(readFile(_pairs / "rig/left.yml") + readFile(_pairs / "rig/right.yml"));
    const struct {
        nlohmann::json report;
        int status;
        std::vector<std::string> words;
    } cases[] = {
        {{{"calibrationSha256", hash}, {"unit", "m"}}, 0, {" to 5 m are searched", " m at 5 m"}},
        {{{"calibrationSha256", hash}, {"unit", ""}}, 2, {"--range is in metres", "your own unit"}},
        {{{"calibrationSha256", "of another rig"}, {"unit", ""}}, 0, {"note: no report"}},
        {{{"calibrationSha256", hash}}, 0, {"note: no report"}}};
    for (const auto& [report, status, words] : cases) {
        writeFile(_pairs / "rig/report.json", report.dump());
        const RunResult run = runTiomipra(
            _pairs.arguments("depth", {"--range", "100cm..5m", "--formats", "ply"}), status);
        for (const std::string& word : words)
            EXPECT_THAT(run.err, HasSubstr(word));
        if (report.value("unit", "") == "m") {
            EXPECT_THAT(readFile(_pairs / "out/1.ply"), HasSubstr("\ncomment unit: m\n"));
        }
    }
}

TEST_F(DepthCommand, WarnsWhereNothingIsMeasured) {
    for (const char* file : {"left/1.png", "right/1.png"})
        writeImage(_pairs / file, cv::Mat(480, 640, CV_8UC1, cv::Scalar(90)));
    const RunResult run = runTiomipra(_pairs.arguments("depth", {"--formats", "picture"}));
    EXPECT_THAT(run.err, HasSubstr("warning: 1: nothing was measured"));
    EXPECT_TRUE(report().at("result").at("depth").at("median").is_null());
}

TEST_F(DepthCommand, RectifiedImagesHaveNoCalibrationsAndNoDepth) {
    expectRefusal(_pairs.arguments("disparity", {"--rectified"}), 2, "--calibration excludes");
    const Arguments rectified{"disparity", "--rectified",    "--left",   _pairs / "left",
                              "--right",   _pairs / "right", "--output", _pairs / "out"};
    expectRefusal(joined(rectified, {"--range", "1..5"}), 2,
                  "--range and --max-depth need calibrations");
    for (const char* option : {"--save-parameters", "--parameters"})
        runTiomipra(joined(rectified, {option, _pairs / "saved.toml"}));
}

TEST_F(DepthCommand, MatchesRectifiedPhotographsWithoutCalibrations) {
    runTiomipra({"disparity", "--rectified", "--left", photograph("aloeL.jpg"), "--right",
                 photograph("aloeR.jpg"), "--preset", "fast", "--disparity-number", "224",
                 "--output", _pairs / "out", "--formats", "pfm"});
    const cv::Mat disparity = read("aloeL_disparity.pfm");
    const cv::Mat truth = readImage(photograph("aloeGT.png"), Pixels::eightBit);
    const cv::Mat compared = (truth > 0) & (disparity < INFINITY);
    cv::Mat error;
    cv::absdiff(disparity, cv::Mat_<float>(truth), error);
    EXPECT_GT(cv::countNonZero(compared), int(truth.total()) / 2);
    EXPECT_LT(cv::countNonZero(compared & (error > 2)), cv::countNonZero(compared) / 20);
}

// With the status and the words that name what is wrong.
TEST_F(DepthCommand, RefusesBadParameters) {
    _pairs.folder.write("unknown.toml", "window-sise = 5\n");
    _pairs.folder.write("window.toml", "window-size = 4\n");
    _pairs.folder.write("range.toml", "range = \"2..3\"\n");
    _pairs.folder.write("text.toml", "full-dp = maybe\n");
    _pairs.folder.write("short.toml", "p1 = 100\nx=\n");
    _pairs.folder.write("binary.toml", std::string("p1 = \0\xff", 7));
    const struct {
        Arguments options;
        int status;
        std::string message;
    } cases[] = {
        {{"--window-size", "4"}, 2, "--window-size 4: Invalid window size."},
        {{"--min-disparity", "641"}, 2, "--min-disparity 641: Invalid min disparity."},
        {{"--disparity-number", "17"}, 2, "Invalid disparity number."},
        {{"--range", "0.01..3"},
         2,
         "--range from 0.01: a point there has a disparity of 6250 pixels, must be less than the "
         "calibrated width, 640; the nearest depth possible is 0.09781"},  // 62.5 / 639
        {{"--max-depth", "0.01"}, 2, "--max-depth 0.01"},
        {{"--range", "5"}, 2, "--range: '5' must be NEAR..FAR"},
        {{"--preset", "best"}, 2, "best not in {fast,balanced,accurate}"},
        {{"--parameters", _pairs / "unknown.toml"}, 3, "'window-sise' is not a parameter"},
        {{"--parameters", _pairs / "nosuch.toml"}, 3, "nosuch.toml"},
        {{"--parameters", _pairs / "window.toml"}, 3, "window.toml': window-size 4: Invalid"},
        {{"--parameters", _pairs / "range.toml", "--max-depth", "2"},
         3,
         "range.toml': range from 2 must start nearer than max-depth, 2"},
        {{"--parameters", _pairs / "text.toml"}, 3, "text.toml': --full-dp: maybe not in"},
        {{"--parameters", _pairs / "short.toml"}, 3, "short.toml': 'x=' is not a parameter"},
        {{"--parameters", _pairs / "binary.toml"}, 3, "binary.toml': is not a text file"},
        {{"--parameters", "/dev/zero"}, 3, "'/dev/zero' is larger than 65536 bytes"},
        {{"--save-parameters", "/dev/full"}, 3, "'/dev/full': No space left on device"},
        {{"--save-parameters", _pairs / "left/1.png"}, 3, "would replace the input"},
    };
    for (const auto& [options, status, message] : cases)
        expectRefusal(_pairs.arguments("depth", options), status, message);
}

}  // namespace
}  // namespace tiomipra::test
