// tiomipra evaluate and the measures that it prints.
#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <opencv2/core.hpp>

#include "evaluation.hpp"
#include "image_files.hpp"
#include "support/run_program.hpp"

namespace tiomipra::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;

constexpr float infinity = std::numeric_limits<float>::infinity();
const float nan = std::nanf("");

// Ten pixels. Errors of the measured ones: 0, 0.5, 0.75, 1.5, 3.5 (of 100), 4 (of 64), 8.
const cv::Mat truth =
    (cv::Mat_<float>(2, 6) << 10, 10, 10, 10, 100, 64, 20, 10, 10, 0, infinity, nan);
const cv::Mat disparity =
    (cv::Mat_<float>(2, 6) << 10, 10.5F, 9.25F, 11.5F, 96.5F, 68, 12, nan, 0, 5, 5, 5);

TEST(Evaluation, AgreesWithAComputationByHand) {
    const Evaluation result = evaluate(disparity, truth);
    EXPECT_EQ(result.known, 9U);
    EXPECT_EQ(result.measured, 7U);
    EXPECT_DOUBLE_EQ(result.density, 7. / 9);
    EXPECT_THAT(result.amongMeasured.above, testing::ElementsAre(5. / 7, 4. / 7, 3. / 7, 1. / 7));
    EXPECT_THAT(result.amongKnown.above, testing::ElementsAre(7. / 9, 6. / 9, 5. / 9, 3. / 9));
    // 3.5 of 100 is less than 5 %, 4 of 64 and 8 of 20 are more.
    EXPECT_DOUBLE_EQ(result.amongMeasured.d1, 2. / 7);
    EXPECT_DOUBLE_EQ(result.amongKnown.d1, 4. / 9);
    EXPECT_DOUBLE_EQ(result.averageError, (0.5 + 0.75 + 1.5 + 3.5 + 4 + 8) / 7);
    EXPECT_DOUBLE_EQ(result.rootMeanSquareError,
                     std::sqrt((0.25 + 0.5625 + 2.25 + 12.25 + 16 + 64) / 7));
}

// A little-endian PFM file, whose rows go from bottom to top.
std::string encodePfm(const cv::Mat& image, const std::string& scale) {
    std::string file = "Pf\n" + std::to_string(image.cols) + " " + std::to_string(image.rows) +
                       "\n" + scale + "\n";
    for (int y = image.rows - 1; y >= 0; --y)
        file.append(image.ptr<char>(y), static_cast<std::size_t>(image.cols) * sizeof(float));
    return file;
}

json evaluateFiles(const Arguments& arguments) {
    return runForJson(joined({"evaluate"}, arguments))["evaluations"][0];
}

class Evaluate : public testing::Test {
  protected:
    Evaluate() {
        writeImage(_folder / "truth.tiff", truth);
        writeImage(_folder / "found.tiff", disparity);
    }

    const ScratchFolder _folder;
};

// The same numbers whatever the files that hold them.
TEST_F(Evaluate, ReadsEveryFormat) {
    cv::Mat known = truth.clone();
    cv::patchNaNs(known, 0);
    known.setTo(0, known == static_cast<double>(infinity));
    // The size of the scale says nothing about disparities.
    _folder.write("truth.pfm", encodePfm(truth, "-0.00390625"));
    cv::Mat fixed;
    known.convertTo(fixed, CV_16U, 256);
    writeImage(_folder / "truth256.png", fixed);
    known.convertTo(fixed, CV_8U, 2);
    writeImage(_folder / "truth2.png", fixed);
    _folder.write("disparity.pfm", encodePfm(disparity, "-1"));

    const std::string found = _folder / "disparity.pfm";
    const json reference =
        evaluateFiles({"--disparity", found, "--ground-truth", _folder / "truth.tiff"})["all"];
    EXPECT_EQ(reference["known"], 9);
    EXPECT_NEAR(reference["percentOfMeasured"]["bad2"], 300. / 7, 1e-9);
    EXPECT_NEAR(reference["percentOfKnown"]["d1"], 400. / 9, 1e-9);
    for (const Arguments& truthArguments :
         {Arguments{_folder / "truth.pfm"},
          {_folder / "truth256.png"},
          {_folder / "truth256.png", "--ground-truth-scale", "256"},
          {_folder / "truth2.png", "--ground-truth-scale", "2"}})
        EXPECT_EQ(
            evaluateFiles(joined({"--disparity", found, "--ground-truth"}, truthArguments))["all"],
            reference)
            << truthArguments[0];
}

TEST_F(Evaluate, ReportsNonOccludedPixelsApart) {
    // White: not occluded; grey: occluded; black: unknown.
    writeImage(_folder / "mask.png", (cv::Mat_<unsigned char>(2, 6) << 255, 255, 128, 128, 128, 128,
                                      0, 255, 0, 255, 0, 0));
    const json result = evaluateFiles({"--disparity", _folder / "found.tiff", "--ground-truth",
                                       _folder / "truth.tiff", "--mask", _folder / "mask.png"});
    EXPECT_EQ(result["all"]["known"], 9);
    EXPECT_EQ(result["nonOccluded"]["known"], 3);
    EXPECT_EQ(result["nonOccluded"]["averageError"], 0.25);
}

TEST_F(Evaluate, IsAGateWhenAskedTo) {
    writeImage(_folder / "nothing.tiff", disparity * 0);
    const auto run = [&](const std::string& found, const std::string& bound, int status) {
        return runTiomipra({"evaluate", "--disparity", _folder / found, "--ground-truth",
                            _folder / "truth.tiff", "--max-bad2", bound},
                           status);
    };
    run("found.tiff", "42.9", 0);
    const RunResult refused = run("found.tiff", "42.8", 1);
    EXPECT_THAT(refused.out, HasSubstr("42.86"));
    EXPECT_THAT(refused.err, HasSubstr("found.tiff"));
    run("nothing.tiff", "100", 1);
}

TEST_F(Evaluate, CarriesOnPastFilesThatFail) {
    writeImage(_folder / "black.png", cv::Mat::zeros(truth.size(), CV_8UC1));
    _folder.write("bad.pfm", "hello");
    const std::string good = _folder / "truth.tiff";
    const std::string black = _folder / "black.png";
    const Arguments arguments{
        "evaluate", "--disparity", _folder / "bad.pfm", good, _folder / "none", "--mask", black,
        black,      black,         "--max-bad2",        "5",  "--ground-truth", good,     good,
        good};
    const RunResult run = runTiomipra(arguments, 4);
    EXPECT_THAT(run.err, HasSubstr("2 of 3 disparity images failed:\n  " + _folder / "bad.pfm"));
    EXPECT_THAT(run.err, HasSubstr("can't read '" + _folder / "none': No such file"));
    EXPECT_THAT(run.out, HasSubstr("non-occluded: 0 pixels known, none of them measured\n"));

    const json result = runForJson(joined(arguments, {"--jobs", "1"}), 4);
    EXPECT_EQ(result, runForJson(joined(arguments, {"--jobs", "3"}), 4));
    EXPECT_EQ(result["failed"][0]["name"], _folder / "bad.pfm");
    EXPECT_EQ(result["evaluations"][0]["all"]["known"], 9);
    EXPECT_EQ(result["passed"], false);
    EXPECT_EQ(result["parameters"], json::parse(R"({"maxBad2": 5.0})"));
}

TEST_F(Evaluate, NamesWhatDoesNotFit) {
    writeImage(_folder / "small.tiff", truth.colRange(0, 3));
    writeImage(_folder / "bytes.png", cv::Mat::ones(truth.size(), CV_8UC1));
    writeImage(_folder / "colours.png", cv::Mat(2, 6, CV_8UC3));
    _folder.write("text.pfm", "Pf\n6 2\n-1\nshort");
    const struct {
        Arguments arguments;
        int status;
        std::string message;
    } cases[] = {
        {{_folder / "small.tiff"}, 3, "small.tiff' is 3x2"},
        {{_folder / "colours.png"}, 3, "colours.png' holds CV_8UC3"},
        {{_folder / "text.pfm"}, 3, "text.pfm' is not an image"},
        {{_folder / "bytes.png"}, 3, "bytes.png' holds 8-bit"},
        {{_folder / "truth.tiff", _folder / "truth.tiff"}, 3, "2 images"},
        {{_folder / "truth.tiff", "--mask", _folder / "colours.png"}, 3, "grey mask"},
        {{_folder / "truth.tiff", "--ground-truth-scale", "0"}, 2, "'0' must be a positive number"},
        {{_folder / "truth.tiff", "--max-bad2", "101"}, 2, "--max-bad2"}};
    for (const auto& [arguments, status, message] : cases)
        expectRefusal(joined({"evaluate", "--ground-truth", _folder / "truth.tiff", "--disparity"},
                             arguments),
                      status, message);
}

}  // namespace
}  // namespace tiomipra::test
