// Settings of several sources, and how they are written down.
#include "matching/matcher_settings.hpp"

#include <gmock/gmock.h>

#include "matching/matcher_setup.hpp"
#include "sample_rig.hpp"

namespace tiomipra::test {
namespace {

TEST(MatcherSettings, TheUpperSourceWins) {
    MatcherSettings settings = settingsOf({{"window-size", 5}, {"p2", 400}});
    settings.scale = 2;
    settings.files = {{"window-size", "a.toml"}, {"p2", "a.toml"}};
    MatcherSettings above = settingsOf({{"window-size", 11}, {"p1", 3}});
    above.files = {{"p1", "b.toml"}};
    overlay(settings, above);
    EXPECT_EQ(settings.values, settingsOf({{"window-size", 11}, {"p2", 400}, {"p1", 3}}).values);
    EXPECT_EQ(settings.scale, 2);
    const std::map<std::string, std::string> files{{"p2", "a.toml"}, {"p1", "b.toml"}};
    EXPECT_EQ(settings.files, files) << "the window was given directly";
}

// What a range or a maximum depth says anew is taken off from below; the rest stays.
TEST(MatcherSettings, DepthsReplaceTheDisparitiesThatFollowFromThem) {
    MatcherSettings disparities = settingsOf({{"min-disparity", 7}, {"disparity-number", 64}});
    disparities.maxDepth = Length{3, ""};
    MatcherSettings deeper;
    deeper.maxDepth = Length{10, "m"};
    const struct {
        MatcherSettings below, above;
        std::map<std::string, int> values;
        double farthest;
    } cases[] = {{disparities, rangeOf("1..5"), {}, 5},
                 {rangeOf("1..5"), disparities, disparities.values, 3},
                 {disparities, deeper, {{"disparity-number", 64}}, 10}};
    for (const auto& [below, above, values, farthest] : cases) {
        MatcherSettings settings = below;
        overlay(settings, above);
        EXPECT_EQ(settings.values, values);
        EXPECT_EQ(farthestDepth(settings)->value, farthest);
        EXPECT_EQ(settings.range.has_value(), below.range || above.range);
    }
}

// The depths stand in the file as they were given, the disparities only if they were.
TEST(MatcherSettings, AreWrittenWithoutWhatFollowsFromTheRig) {
    MatcherSettings both = rangeOf("1..5");
    both.values = {{"min-disparity", -20}, {"disparity-number", 48}};
    const struct {
        MatcherSettings settings;
        std::string disparities, depths;
    } cases[] = {
        {{}, "disparity-number = 80\n", "scale = 1\n"},
        {rangeOf("1..5", 2), "", "scale = 2\nrange = \"1.0..5.0\"\n"},
        {rangeOf("125cm..4.3m"), "", "scale = 1\nrange = \"1.25m..4.3m\"\n"},
        {rangeOf("2m..inf"), "", "scale = 1\nrange = \"2.0m..inf\"\n"},
        {both, "min-disparity = -20\ndisparity-number = 48\n", "scale = 1\nmax-depth = \"5.0\"\n"}};
    for (const auto& [settings, disparities, depths] : cases)
        EXPECT_EQ(
            encodeParameters(*makeStereo(settings, sampleRig()), settings),
            "algorithm = \"bm\"\nwindow-size = 21\n" + disparities +
                "pre-filter-cap = 45\npre-filter-size = 25\ntexture-threshold = 1\n"
                "uniqueness-ratio = 2\nspeckle-window-size = 400\nspeckle-range = 10\n"
                "p1 = 3528\np2 = 14112\ndisp12-max-diff = 0\nfull-dp = false\n"
                "match-light = false\nequalise = false\nfull-width = false\nthree-way = 0\n"
                "quick-right = false\nleft-right-check = 0\nrefit = false\nedge-filter = false\n"
                "min-confidence = 0\nfill-gaps = 0\nmedian = 0\n" +
                depths);
}

}  // namespace
}  // namespace tiomipra::test
