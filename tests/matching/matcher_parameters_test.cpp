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
#include "support/photographs.hpp"

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

class Presets : public testing::TestWithParam<std::tuple<std::string, double, double>> {};

// The figures of docs/command.md for the aloe photographs: percent of the measured pixels that are
// off by more than 2 pixels, percent measured.
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
    EXPECT_NEAR(100 * result.amongMeasured.above[2], wrong, 0.05);
    EXPECT_NEAR(100 * result.density, measured, 0.05);
}

INSTANTIATE_TEST_SUITE_P(Aloe, Presets,
                         testing::Values(std::tuple("", 6.5, 67.8), std::tuple("fast", 2.4, 60.9),
                                         std::tuple("balanced", 2.2, 70.4),
                                         std::tuple("accurate", 1.7, 69.2)));

}  // namespace
}  // namespace tiomipra::test
