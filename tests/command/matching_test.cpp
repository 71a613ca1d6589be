// Parameters from the command line to the matcher, and which pixels count as measured.
#include "matching.hpp"

#include <gmock/gmock.h>

#include <CLI/App.hpp>
#include <opencv2/core.hpp>

#include "measurements.hpp"
#include "output_files.hpp"
#include "status.hpp"
#include "support/rigs.hpp"
#include "support/run_program.hpp"
#include "support/scenes.hpp"

namespace tiomipra::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using vision::Stereo;

// Focal length times baseline is 62.5, both principal points are the same.
Rig simpleRig(const cv::Size& size = {640, 480}) {
    RigOptions options;
    options.size = size;
    options.isDistorted = false;
    const CalibrationPair rig = makeRig(options);
    return {rig.left, rig.right, "left.yml", "right.yml", "", {}};
}

MatcherSettings parse(const std::string& arguments) {
    CLI::App app;
    MatcherOptions options;
    addMatcherOptions(app, options);
    app.parse(arguments);
    return resolveSettings(options);
}

std::unique_ptr<Stereo> stereoFor(const std::string& arguments) {
    return makeStereo(parse(arguments), simpleRig());
}

TEST(MatcherOptions, LayPresetFileAndOptionsOverEachOther) {
    const ScratchFolder folder;
    const std::string file = folder / "tuning.toml";
    writeFile(file, "preset = \"accurate\"\nwindow-size = 9\np2 = 777\nrange = \"1..5\"\n");
    const auto stereo = stereoFor("--parameters " + file + " --window-size 11 --algorithm bm" +
                                  " --full-dp=false --max-depth 10");
    EXPECT_EQ(stereo->getStereoAlgorithm(), Stereo::BM);
    EXPECT_EQ(stereo->getWindowSize(), 11);
    EXPECT_EQ(stereo->getP2(), 777);
    EXPECT_EQ(stereo->getUniquenessRatio(), 20) << "of the preset";
    EXPECT_EQ(stereo->getPreFilterSize(), Stereo().getPreFilterSize()) << "given by nobody";
    EXPECT_FALSE(stereo->getFullDP());
    EXPECT_EQ(stereo->getMaxDepth(), 10.F);
    EXPECT_EQ(stereo->getMinDisparity(), 6) << "62.5 / 10";
    EXPECT_EQ(stereo->getDisparityNumber(), 64) << "6 to at least 62.5 / 1";
}

TEST(MatcherOptions, RangeCoversItsEndsAndExcludesWhatItSets) {
    const auto stereo = stereoFor("--range 1..5");
    EXPECT_EQ(stereo->getMaxDepth(), 5.F);
    EXPECT_EQ(stereo->getMinDisparity(), 12);  // floor(62.5 / 5)
    EXPECT_EQ(stereo->getDisparityNumber(), 64);
    EXPECT_THAT(explainSearch(*stereo, simpleRig(), 1),  // Z - 62.5 / (62.5 / Z + 1 / 16)
                AllOf(HasSubstr("depths from 0.8333 to 5 "), HasSubstr(", 0.02488 at 5")));
    // The library makes 6 to 32 of it at half the size: 27, rounded up, plus the 16 that it drops.
    const auto reduced = stereoFor("--range 1..5 --scale 2");
    EXPECT_EQ(reduced->getDisparityNumber(), 48);
    EXPECT_THAT(explainSearch(*reduced, simpleRig(), 2), HasSubstr("depths from 0.8446 to 5 "));
    for (const std::string other : {"--max-depth", "--min-disparity", "--disparity-number"})
        EXPECT_THROW(parse("--range 1..5 " + other + " 16"), CLI::ExcludesError) << other;
}

TEST(MatcherOptions, SavedParametersGiveTheSameMatcher) {
    const std::string all =
        "--preset=accurate --scale=2 --algorithm=bm --window-size=9 --pre-filter-cap=17 "
        "--pre-filter-size=11 --texture-threshold=3 --uniqueness-ratio=4 --p1=90 --p2=901 "
        "--speckle-window-size=33 --speckle-range=3 --disp12-max-diff=-7 --full-dp=false ";
    for (const char* const depth : {"--range=125cm..4.3m", "--range=1.25..4.3", "--max-depth=430cm",
                                    "--max-depth=4.3 --min-disparity=-20 --disparity-number=48"}) {
        const ScratchFolder folder;
        const MatcherSettings settings = parse(all + depth);
        const auto saved = makeStereo(settings, simpleRig());
        EXPECT_EQ(describeParameters(*saved, settings).at("max-depth").dump(), "4.3");
        const std::string text = encodeParameters(*saved, settings);
        writeFile(folder / "saved.toml", text);
        const MatcherSettings read = parse("--parameters " + folder / "saved.toml");
        const auto again = makeStereo(read, simpleRig());
        EXPECT_EQ(describeParameters(*again, read), describeParameters(*saved, settings));
        EXPECT_EQ(encodeParameters(*again, read), text) << "units too";
        EXPECT_EQ(mustTrustUnit(read, simpleRig()), mustTrustUnit(settings, simpleRig()));
    }
}

TEST(MatcherOptions, WarnOfWhatGoesWellButMeasuresBadly) {
    // A pixel costs at most 2 * cap + 63; the sum of a window and p2 must stay within 32767.
    // The columns that are searched in full must be more than half of 640.
    const std::pair<const char*, const char*> cases[] = {
        {"--algorithm sgbm --window-size 15 --pre-filter-cap 31 --p2 4642", "{}"},
        {"--algorithm sgbm --window-size 15 --pre-filter-cap 31 --p2 4643", " = 32768,"},
        {"--algorithm sgbm --window-size 17 --pre-filter-cap 1 --p2 5890", "{}"},  // counts as 15
        {"--algorithm sgbm --window-size 17 --pre-filter-cap 1 --p2 5891", " = 32768,"},
        {"--algorithm sgbm", " = 81585,"},  // the library's defaults
        {"--algorithm sgbm --preset balanced", "{}"},
        {"--algorithm sgbm --preset accurate", "{}"},
        {"--min-disparity 1 --disparity-number 320", "{}"},
        {"--min-disparity 2 --disparity-number 320", "321 of 640"},
        {"--min-disparity -322 --disparity-number 16", "322 of 640"}};
    for (const auto& [arguments, doubt] : cases)
        EXPECT_THAT(testing::PrintToString(findDoubts(*stereoFor(arguments), 640)),
                    HasSubstr(doubt))
            << arguments;
}

TEST(Matching, RefusesDisparitiesThatTheResultCannotHold) {
    const Rig wide = simpleRig({8192, 6144});
    const auto matchAt = [&](int width, const std::string& arguments) {
        requireMatchable(*makeStereo(parse(arguments), wide), width);
    };
    EXPECT_NO_THROW(matchAt(8192, "--min-disparity 0 --disparity-number 2048"));
    EXPECT_THROW(matchAt(8192, "--min-disparity 1 --disparity-number 2048"), UsageError);
    EXPECT_NO_THROW(matchAt(8192, "--min-disparity -2047 --disparity-number 16"));
    EXPECT_THROW(matchAt(8192, "--min-disparity -2048 --disparity-number 16"), UsageError);
    // Halved by the library.
    EXPECT_NO_THROW(matchAt(4096, "--min-disparity 1 --disparity-number 2048"));
    EXPECT_THROW(requireMatchable(*stereoFor("--disparity-number 640"), 640), UsageError);
}

class ReducedMatching : public testing::TestWithParam<std::tuple<std::string, int>> {};

// At every reduction, with windows that would come down to nothing.
TEST_P(ReducedMatching, FindsTheDisparity) {
    const auto [algorithm, factor] = GetParam();
    const cv::Size size(240, 180);
    const auto stereo = makeStereo(
        parse("--algorithm " + algorithm + " --window-size 5 --p1 100 --p2 400 --speckle-range 1" +
              " --min-disparity 7 --uniqueness-ratio 5"),
        simpleRig(size * factor));
    const auto changes = fitToWidth(*stereo, size.width);
    EXPECT_EQ(changes.empty(), factor == 1);

    SceneOptions options;
    options.size = size;
    options.planes = {{9.F}};
    const Scene scene = renderScene(options);
    const Match match = matchPair(*stereo, {scene.left, scene.right}, {}, 1);
    // The first columns have no match in the right image.
    const cv::Rect inner(100, 20, 120, 140);
    EXPECT_GT(cv::countNonZero(match.measured(inner)), inner.area() * 9 / 10);
    EXPECT_NEAR(summarise(match.disparity(inner), match.measured(inner)).median, 9, 0.25);
    // What has no match lies just below the first disparity that was searched.
    double smallest = 0;
    cv::minMaxLoc(match.disparity, &smallest);
    EXPECT_EQ(smallest, adaptParameters(*stereo, size.width).minDisparity - 1);
    EXPECT_EQ(cv::countNonZero(match.measured & (match.disparity == smallest)), 0);
}

INSTANTIATE_TEST_SUITE_P(Factors, ReducedMatching,
                         testing::Combine(testing::Values("bm", "sgbm"), testing::Values(1, 2, 4)));

// Scaled calibrations put pixel (x, y) at (x / 2, y / 2): so must the scaled images.
TEST(Matching, ReducedImagesKeepTheirGeometry) {
    cv::Mat left(97, 131, CV_8UC1);
    for (int y = 0; y < left.rows; ++y)
        for (int x = 0; x < left.cols; ++x)
            left.at<uchar>(y, x) = static_cast<uchar>(x + y);
    const auto stereo = makeStereo(parse("--scale 2"), divisibleSize(left.size(), 2));
    const Match match = matchPair(*stereo, {left, left}, {}, 2);
    EXPECT_EQ(match.left.size(), cv::Size(65, 48));
    EXPECT_EQ(match.left.at<uchar>(20, 30), left.at<uchar>(40, 60));
}

TEST(Matching, UniformImagesUnseenPixelsAndUnmatchableColumnsAreNotMeasured) {
    const cv::Size size(320, 240);
    SceneOptions options;
    options.size = size;
    const Scene scene = renderScene(options);
    const cv::Mat uniform(size, CV_8UC1, cv::Scalar(90));
    const cv::Mat unseen = cv::Mat::zeros(size, CV_8UC1);
    for (const std::string algorithm : {"bm", "sgbm"}) {
        const auto stereo =
            makeStereo(parse("--algorithm " + algorithm + " --texture-threshold 0" +
                             " --uniqueness-ratio 0 --speckle-window-size 0 --min-disparity 20"),
                       size);
        EXPECT_EQ(cv::countNonZero(matchPair(*stereo, {uniform, uniform}, {}, 1).measured), 0);
        const cv::Mat measured = matchPair(*stereo, {scene.left, scene.right}, {}, 1).measured;
        EXPECT_GT(cv::countNonZero(measured), size.area() / 2);
        // Disparities up to 99 are searched.
        EXPECT_EQ(cv::countNonZero(measured.colRange(0, 99)), 0);
        EXPECT_EQ(
            cv::countNonZero(matchPair(*stereo, {scene.left, scene.right}, unseen, 1).measured), 0);
    }
}

}  // namespace
}  // namespace tiomipra::test
