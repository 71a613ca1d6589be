// The table of the matchers' parameters and the presets, against what the library and OpenCV do.
#include "matching/matcher_parameters.hpp"

#include <gmock/gmock.h>

#include <set>

#include "files/disparity_files.hpp"
#include "matching/evaluation.hpp"
#include "matching/matcher_presets.hpp"
#include "matching/matcher_setup.hpp"
#include "matching/pair_matcher.hpp"
#include "sample_rig.hpp"
#include "support/log_capture.hpp"
#include "support/matrices.hpp"
#include "support/photographs.hpp"
#include "support/scenes.hpp"

namespace tiomipra::test {
namespace {

using vision::Stereo;

bool accepts(Stereo& stereo, const MatcherParameter& parameter, int value) {
    try {
        parameter.set(stereo, value);
        return true;
    } catch (const std::range_error&) {
        return false;
    }
}

bool isListed(const ParameterValues& values, int value) {
    return value >= values.minimum && value <= values.maximum &&
           (std::int64_t{value} - values.minimum) % values.step == 0;
}

// The library's setters are the reference; the limits of min-disparity depend on the calibrations.
TEST(MatcherParameters, AcceptExactlyTheValuesInTheTable) {
    const LogCapture log(tevo::LogLevel::none);
    std::set<int> candidates{
        ParameterValues::lowest, ParameterValues::highest, 9999, 10000, 10001, 16 * 1000};
    for (int value = -40; value <= 1100; ++value)
        candidates.insert(value);
    for (const MatcherParameter& parameter : matcherParameters()) {
        if (parameter.name == parameter_names::minDisparity ||
            parameter.kind != MatcherParameter::Kind::number)
            continue;
        Stereo stereo;
        for (const int value : candidates)
            ASSERT_EQ(accepts(stereo, parameter, value), isListed(parameter.values, value))
                << parameter.name << " " << value;
    }
}

cv::Mat matchWith(const Scene& scene, Stereo::StereoAlgorithm algorithm, const std::string& name,
                  int value) {
    std::map<std::string, int> values{{"window-size", 7},
                                      {"disparity-number", 32},
                                      {"uniqueness-ratio", 5},
                                      {"speckle-window-size", 30},
                                      {"speckle-range", 1},
                                      {"p1", 60},
                                      {"p2", 240},
                                      {"algorithm", algorithm},
                                      {"texture-threshold", 1}};
    if (!name.empty())
        values[name] = value;
    const auto stereo = makeStereo(settingsOf(values), scene.left.size());
    const Match match = matchPair(*stereo, {scene.left, scene.right}, {}, 1);
    return markUnmeasured(match.disparity, match.measured, -1000);
}

// Another value changes what comes out, and nothing where the table names the other matcher.
TEST(MatcherParameters, AreUsedByTheMatchersThatTheTableNames) {
    using UsedBy = MatcherParameter::UsedBy;
    const std::map<std::string_view, int> others{{"algorithm", Stereo::BM},
                                                 {"window-size", 15},
                                                 {"min-disparity", 12},
                                                 {"disparity-number", 16},
                                                 {"pre-filter-cap", 2},
                                                 {"texture-threshold", 6000},
                                                 {"uniqueness-ratio", 60},
                                                 {"speckle-range", 31},
                                                 {"speckle-window-size", 0},
                                                 {"p1", 3000},
                                                 {"p2", 9000},
                                                 {"disp12-max-diff", 500},
                                                 {"full-dp", 1},
                                                 {"pre-filter-size", 9}};
    SceneOptions options;
    options.size = {320, 120};
    options.planes = {{22.F, 0, 0, 150}, {9.F, 0.01F, 150}};
    Scene scene = renderScene(options);
    scene.right += makeNoise(options.size, CV_8UC1, 7) / 8;
    for (const auto algorithm : {Stereo::BM, Stereo::SGBM}) {
        const cv::Mat usual = matchWith(scene, algorithm, "", 0);
        const auto other = algorithm == Stereo::BM ? UsedBy::semiGlobal : UsedBy::blockMatching;
        for (const MatcherParameter& parameter : matcherParameters()) {
            // OpenCV does not run the one's filter; the other's value is the same.
            if (parameter.name == "pre-filter-size" ||
                (parameter.name == "algorithm" && algorithm == Stereo::BM))
                continue;
            const int value = others.at(parameter.name);
            const cv::Mat changed = matchWith(scene, algorithm, std::string(parameter.name), value);
            EXPECT_EQ(cv::norm(changed, usual, cv::NORM_INF) == 0, parameter.usedBy == other)
                << parameter.name << " " << algorithm;
        }
    }
}

TEST(MatcherParameters, AreDescribedByUseAndValues) {
    std::map<std::string_view, std::string> texts;
    for (const MatcherParameter& parameter : matcherParameters())
        texts[parameter.name] = describe(parameter);
    EXPECT_EQ(texts["p2"], "Cost of a larger change, sgbm only: 0 or more");
    EXPECT_EQ(texts["pre-filter-size"], "Window of the pre-filter, bm only: odd, 5 to 255");
    EXPECT_EQ(texts["disparity-number"], "How many are searched: a positive multiple of 16");
    EXPECT_THAT(texts["speckle-window-size"], testing::EndsWith("removed: 0 (off) to 1000"));
    EXPECT_THAT(texts["full-dp"], testing::EndsWith("slower, sgbm only"));
}

class Presets : public testing::TestWithParam<std::tuple<std::string, double, double>> {};

// The figures of docs/command.md for the aloe photographs, with another digit: percent of the
// measured pixels that are off by more than 2 pixels, percent measured.
TEST_P(Presets, MatchAsWellAsTheManualSays) {
    const auto& [name, wrong, measured] = GetParam();
    MatcherSettings settings = settingsOf(valuesOfPreset(name));
    settings.values["disparity-number"] = 224;
    PairMatcher matcher(settings, std::nullopt, [](const std::string&) {});
    const Frame frame{"aloe", "left", "right", {}, [] {
                          return StereoImages{readImage(photograph("aloeL.jpg")),
                                              readImage(photograph("aloeR.jpg"))};
                      }};
    const Match match = matcher.match(frame);
    const cv::Mat truth = readDisparity(photograph("aloeGT.png"), 1.);
    const Evaluation result = evaluate(markUnmeasured(match.disparity, match.measured, 0), truth);
    EXPECT_NEAR(100 * result.amongMeasured.above[2], wrong, 0.006);
    EXPECT_NEAR(100 * result.density, measured, 0.006);
}

INSTANTIATE_TEST_SUITE_P(Aloe, Presets,
                         testing::Values(std::tuple("", 6.52, 67.78),
                                         std::tuple("fast", 2.37, 60.94),
                                         std::tuple("balanced", 2.23, 70.44),
                                         std::tuple("accurate", 1.73, 69.24)));

}  // namespace
}  // namespace tiomipra::test
