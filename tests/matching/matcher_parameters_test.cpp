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
        for (const int value : candidates) {
            const auto set = [&] { parameter.set(stereo, value); };
            ASSERT_NE(testing::Value(set, testing::Throws<std::range_error>()),
                      isListed(parameter.values, value))
                << parameter.name << " " << value;
        }
    }
}

// Unmeasured pixels are 0.
cv::Mat matchWith(const StereoImages& images, const std::map<std::string, int>& values) {
    const MatcherSettings settings = settingsOf(values);
    const auto stereo = makeStereo(settings, images.left.size());
    const Match match = matchPair(*stereo, images, {}, 1, stepsOf(settings));
    return markUnmeasured(match.disparity, match.measured, 0);
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
        auto values = valuesOfPreset("balanced");
        values["three-way"] = 0;
        values["algorithm"] = algorithm;
        values["disparity-number"] = 32;
        values["uniqueness-ratio"] = 5;
        const cv::Mat usual = matchWith({scene.left, scene.right}, values);
        const auto other = algorithm == Stereo::BM ? UsedBy::semiGlobal : UsedBy::blockMatching;
        for (const MatcherParameter& parameter : matcherParameters()) {
            // OpenCV does not run the one's filter; the other's value is the same.
            if (parameter.name == "pre-filter-size" ||
                (parameter.name == "algorithm" && algorithm == Stereo::BM))
                continue;
            auto changedValues = values;
            changedValues[std::string(parameter.name)] = others.at(parameter.name);
            const cv::Mat changed = matchWith({scene.left, scene.right}, changedValues);
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

// The figures of docs/command.md for the aloe photographs, with another digit.
TEST(MatcherPresets, MatchAsWellAsTheManualSays) {
    const StereoImages images{readImage(photograph("aloeL.jpg")),
                              readImage(photograph("aloeR.jpg"))};
    const cv::Mat truth = readDisparity(photograph("aloeGT.png"), 1.);
    const struct {
        std::string preset;
        double percentWrong;  // by more than 2 pixels, of those measured
        double percentMeasured;
    } cases[] = {{"", 6.51, 67.86},
                 {"fast", 2.05, 75.93},
                 {"balanced", 1.58, 84.06},
                 {"accurate", 0.58, 79.14},
                 {"dense", 1.54, 84.86}};
    for (const auto& [preset, percentWrong, percentMeasured] : cases) {
        auto values = valuesOfPreset(preset);
        values["disparity-number"] = 224;
        values["min-disparity"] = 0;
        const Evaluation result = evaluate(matchWith(images, values), truth);
        EXPECT_NEAR(100 * result.amongMeasured.above[2], percentWrong, 0.006) << preset;
        EXPECT_NEAR(100 * result.density, percentMeasured, 0.006) << preset;
    }
}

}  // namespace
}  // namespace tiomipra::test
