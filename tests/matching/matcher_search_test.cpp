// What is searched, in words and in limits.
#include "matching/matcher_search.hpp"

#include <gmock/gmock.h>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "matching/matcher_presets.hpp"
#include "matching/matcher_setup.hpp"
#include "sample_rig.hpp"

namespace tiomipra::test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using vision::Stereo;

std::string explain(const MatcherSettings& settings, const Rig& rig = sampleRig()) {
    return explainSearch(*makeStereo(settings, rig), rig, settings.scale.value_or(1));
}

// Disparities 12 to 75 are depths 62.5 / 75 to 62.5 / 12, of which those up to 5 are kept; a step
// of 1 / 16 pixel at depth Z is Z - 62.5 / (62.5 / Z + 1 / 16).
TEST(SearchExplained, NamesDepthsAndTheirResolution) {
    EXPECT_EQ(explain(rangeOf("1..5")),
              "depths from 0.8333 to 5 are searched (min-disparity 12, disparity-number 64, scale "
              "1); one step of disparity (0.0625 pixels) is 0.0006939 at 0.8333, 0.02488 at 5");
    Rig rig = sampleRig();
    rig.unit = metres;
    // At half the size 6 to 37 are searched, 12 to 74 of the full size, in steps of 1 / 8 pixel.
    EXPECT_EQ(
        explain(rangeOf("1..5", 2), rig),
        "depths from 0.8446 to 5 m are searched (min-disparity 12, disparity-number 48, scale "
        "2); one step of disparity (0.125 pixels) is 0.001424 m at 0.8446 m, 0.0495 m at 5 m");
    // One of 1 / 16 from infinity is 62.5 * 16.
    EXPECT_THAT(explain(rangeOf("1..inf")),
                AllOf(HasSubstr("depths from 0.9921 to inf are searched"),
                      EndsWith(" at 0.9921, all there is beyond 1000")));
}

// Disparities are 19.75 more with this right camera.
TEST(SearchExplained, KnowsTheDisparityAtInfinity) {
    RigOptions options;
    options.rightCentreX = 300.5F;
    const Rig rig = sampleRig(options);
    const auto from = [&](int minDisparity) {
        MatcherSettings settings = rangeOf("1..5");
        settings.values = {{"min-disparity", minDisparity}, {"disparity-number", 16}};
        return explain(settings, rig);
    };
    // 62.5 / (-19.75 + 30) is beyond the maximum depth, 62.5 / (-19.75 + 33) is not.
    EXPECT_THAT(from(30), HasSubstr(" to 5 are searched"));
    EXPECT_THAT(from(33), HasSubstr(" to 4.717 are searched"));
    EXPECT_THAT(from(10), HasSubstr(" to 5 are searched")) << "less than at infinity";
    EXPECT_EQ(from(4),
              "no depth is searched (min-disparity 4, disparity-number 16, scale 1): its "
              "disparities start at 19.75");
}

TEST(SearchLimits, AreThoseOfTheResultAndOfTheImages) {
    const struct {
        int minDisparity;
        int number;
        int width;
        bool isPossible;
    } cases[] = {{0, 2048, 8192, true},    {1, 2048, 8192, false}, {-2047, 16, 8192, true},
                 {-2048, 16, 8192, false}, {1, 2048, 4096, true},  // halved by the library
                 {1, 624, 640, true},      {1, 640, 640, false},   {-639, 16, 640, true},
                 {-640, 16, 640, false}};
    for (const auto& [minDisparity, number, width, isPossible] : cases) {
        const int calibratedWidth = width == 640 ? 640 : 8192;
        const auto stereo =
            makeStereo(settingsOf({{"min-disparity", minDisparity}, {"disparity-number", number}}),
                       cv::Size(calibratedWidth, 480));
        const auto require = [&, matchedWidth = width] { requireMatchable(*stereo, matchedWidth); };
        EXPECT_NE(testing::Value(require, testing::Throws<SettingError>()), isPossible)
            << minDisparity;
    }
}

// A pixel costs at most 2 * cap + 63; the sum of a window and p2 must stay within 32767. The
// columns that are searched in full must be more than half of 640.
TEST(SearchDoubts, WarnOfWhatGoesWellButMeasuresBadly) {
    const auto doubts = [](std::map<std::string, int> values) {
        const MatcherSettings settings = settingsOf(values);
        return findDoubts(*makeStereo(settings, cv::Size(640, 480)), stepsOf(settings), 640);
    };
    const auto costs = [&](int window, int cap, int p2) {
        return doubts({{"algorithm", Stereo::SGBM},
                       {"window-size", window},
                       {"pre-filter-cap", cap},
                       {"p2", p2}});
    };
    const auto columns = [&](int first, int number) {
        return doubts({{"min-disparity", first}, {"disparity-number", number}});
    };
    EXPECT_THAT(costs(15, 31, 4642), IsEmpty());
    EXPECT_THAT(costs(15, 31, 4643), ElementsAre(HasSubstr(" = 32768,")));
    EXPECT_THAT(costs(17, 1, 5890), IsEmpty()) << "a cap of 1 counts as 15";
    EXPECT_THAT(costs(17, 1, 5891), ElementsAre(HasSubstr(" = 32768,")));
    for (const MatcherPreset& preset : matcherPresets())
        EXPECT_THAT(doubts(preset.values), IsEmpty()) << preset.name;
    EXPECT_THAT(doubts({{"algorithm", Stereo::SGBM}, {"three-way", 5}, {"full-dp", 1}}),
                ElementsAre(HasSubstr("full-dp")));
    std::map<std::string, int> quick{
        {"algorithm", Stereo::SGBM}, {"three-way", 3}, {"quick-right", 1}};
    EXPECT_THAT(doubts(quick), IsEmpty()) << "nothing is matched with the window, 21";
    quick["left-right-check"] = 1;
    EXPECT_THAT(doubts(quick), ElementsAre(HasSubstr("21^2 * ")));
    quick["three-way"] = 11;
    quick.insert({{"window-size", 5}, {"pre-filter-cap", 63}, {"p2", 16000}});
    EXPECT_THAT(doubts(quick), ElementsAre(HasSubstr("11^2 * ")));
    EXPECT_THAT(doubts({{"algorithm", Stereo::BM}, {"speckle-range", 3}}),
                ElementsAre(HasSubstr("speckle-range, 3,")));
    EXPECT_THAT(doubts({{"algorithm", Stereo::BM}, {"speckle-range", 4}}), IsEmpty());
    EXPECT_THAT(columns(1, 320), IsEmpty());
    EXPECT_THAT(columns(2, 320), ElementsAre(HasSubstr("321 of 640")));
    EXPECT_THAT(columns(-320, 16), IsEmpty());
    EXPECT_THAT(columns(-322, 16), ElementsAre(HasSubstr("322 of 640")));
}

}  // namespace
}  // namespace tiomipra::test
