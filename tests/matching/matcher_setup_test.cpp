// From settings to a matcher that searches what was asked for.
#include "matching/matcher_setup.hpp"

#include <gmock/gmock.h>

#include <cmath>

#include "base/errors.hpp"
#include "matching/matcher_search.hpp"
#include "sample_rig.hpp"
#include "support/log_capture.hpp"

namespace tiomipra::test {
namespace {

using testing::HasSubstr;
using vision::Stereo;

// As in the parallel rigs of all tests here, but for the principal points.
constexpr double focalTimesBaseline = 62.5;

struct Searched {
    int first;
    int last;  // both in pixels of the reduced images
};

Searched searchedBy(const Stereo& stereo, int width) {
    const auto adapted = adaptToWidth(stereo, width);
    return {adapted.minDisparity, adapted.minDisparity + adapted.disparityNumber - 1};
}

class DepthRanges : public testing::TestWithParam<std::tuple<float, int>> {};

// For every range: both ends are searched, and 16 disparities less would miss the near one.
TEST_P(DepthRanges, AreSearchedNoWiderThanNeeded) {
    const auto [rightCentre, scale] = GetParam();
    RigOptions options;
    options.rightCentreX = rightCentre;
    const Rig rig = sampleRig(options);
    const double atInfinity = 320.25 - static_cast<double>(rightCentre);
    const int width = 640 / scale;
    // Up to every count of disparities, with those that just go beyond a multiple of 16.
    for (double disparity = 20.5; disparity < 120; disparity += 0.5) {
        MatcherSettings settings;
        settings.scale = scale;
        settings.range = DepthRange{focalTimesBaseline / disparity, 6, "", false};
        const auto stereo = makeStereo(settings, rig);
        const auto [first, last] = searchedBy(*stereo, width);
        const double nearest = (atInfinity + disparity) / scale;
        EXPECT_EQ(stereo->getMaxDepth(), 6.F);
        EXPECT_EQ(stereo->getMinDisparity(), std::floor(atInfinity + focalTimesBaseline / 6));
        EXPECT_LE(first, std::ceil((atInfinity + focalTimesBaseline / 6) / scale));
        EXPECT_GE(last, nearest) << disparity;
        const bool isSmallest = last - first + 1 == 16 || last - 16 < std::ceil(nearest);
        EXPECT_TRUE(isSmallest) << disparity;
    }
}

INSTANTIATE_TEST_SUITE_P(Rigs, DepthRanges,
                         testing::Combine(testing::Values(320.25F, 300.5F, 336.25F),
                                          testing::Values(1, 2, 4)));

// Without a rig the same holds for disparities.
TEST(MatcherSetup, DisparitiesAreSearchedNoWiderThanNeeded) {
    for (const int scale : {1, 2, 4}) {
        for (double largest = 30; largest < 100; largest += 0.5) {
            MatcherSettings settings = rangeOf("auto", scale);
            setDisparities(settings, 12.7, largest);
            const auto stereo = makeStereo(settings, cv::Size(640, 480));
            const auto [first, last] = searchedBy(*stereo, 640 / scale);
            EXPECT_EQ(first, 12 / scale);
            EXPECT_GE(last, largest / scale);
            EXPECT_LT(last - 16, std::max(std::ceil(largest / scale), first + 0.)) << largest;
        }
    }
}

// Everything from the disparity at infinity on is searched, and nothing is removed.
TEST(MatcherSetup, ARangeMayReachToInfinity) {
    RigOptions options;
    options.rightCentreX = 300.5F;
    const auto stereo = makeStereo(rangeOf("1..inf"), sampleRig(options));
    EXPECT_EQ(stereo->getMinDisparity(), 19) << "of 19.75";
    EXPECT_EQ(stereo->getMaxDepth(), std::numeric_limits<float>::infinity());
}

// Disparities are 62.5 / depth; 62.5 / 639 is the nearest depth that leaves a column.
TEST(MatcherSetup, RefusesDepthsThatTheRigCannotMeasure) {
    const LogCapture log(tevo::LogLevel::none);
    MatcherSettings tooNear, fromFile = rangeOf("2..3");
    tooNear.maxDepth = Length{0.01, ""};
    fromFile.files["range"] = "a.toml";
    fromFile.maxDepth = Length{2, ""};
    const std::string start = ": a point there has a disparity of ";
    const std::string width =
        " pixels, must be at most the calibrated width, 640; give range or "
        "max-depth in the unit of the calibrations";
    const std::pair<MatcherSettings, std::string> cases[] = {
        {tooNear, "max-depth 0.01" + start + "6250" + width},
        {rangeOf("0.001..0.002"), "range up to 0.002" + start + "31250" + width},
        {rangeOf("0.01..3"), "range from 0.01" + start +
                                 "6250 pixels, must be less than the "
                                 "calibrated width, 640; the nearest depth possible is 0.09781"}};
    for (const auto& wrong : cases)
        EXPECT_THAT([&] { makeStereo(wrong.first, sampleRig()); },
                    Refuses<SettingError>(wrong.second));
    EXPECT_THAT([&] { makeStereo(fromFile, sampleRig()); },
                Refuses<InputError>("parameters 'a.toml': range from 2 must start nearer than "
                                    "max-depth, 2"));
    RigOptions options;
    options.baseline = 10;
    EXPECT_THAT([&] { makeStereo({}, sampleRig(options)); },
                testing::ThrowsMessage<SettingError>(
                    HasSubstr("the default maximum depth 5: a point there")));
}

// A suffix means metres: of a rig in another unit it is refused, of one in an unknown unit trusted.
TEST(MatcherSetup, ASuffixIsNotTakenOnTrustWhereTheUnitIsKnown) {
    Rig rig = sampleRig();
    MatcherSettings depth;
    depth.maxDepth = parseLength("300cm");
    for (const MatcherSettings& settings : {rangeOf("100cm..5m"), depth}) {
        rig.unit = "";
        EXPECT_THAT([&] { makeStereo(settings, rig); },
                    testing::ThrowsMessage<SettingError>(HasSubstr(
                        " is in metres, as it has a suffix, 'left.yml' in your own unit")));
        EXPECT_FALSE(mustTrustUnit(settings, rig));
        rig.unit = metres;
        EXPECT_NO_THROW(makeStereo(settings, rig));
        EXPECT_FALSE(mustTrustUnit(settings, rig));
        rig.unit.reset();
        EXPECT_NO_THROW(makeStereo(settings, rig));
        EXPECT_TRUE(mustTrustUnit(settings, rig));
    }
    EXPECT_FALSE(mustTrustUnit(rangeOf("1..5"), rig));
    EXPECT_EQ(makeStereo(rangeOf("100cm..5m"), rig)->getMaxDepth(), 5.F);
}

// A window of 5 is 3 at half the size and 1 at a quarter: 7 and 9 come down to 5. The costs grow as
// the areas do, 49 / 25 and 81 / 25.
TEST(MatcherSetup, WhatGetsTooSmallIsEnlarged) {
    const auto fitted = [](int factor, const std::map<std::string, int>& values) {
        auto stereo = makeStereo(settingsOf(values), cv::Size(640, 480));
        return std::pair(fitToWidth(*stereo, 640 / factor), std::move(stereo));
    };
    const std::map<std::string, int> small{
        {"window-size", 5}, {"p1", 100}, {"p2", 400}, {"speckle-range", 1}};
    EXPECT_THAT(fitted(1, small).first, testing::IsEmpty());
    const auto [changes, half] = fitted(2, small);
    EXPECT_THAT(changes, testing::ElementsAre(HasSubstr("speckle-range is 2 instead of 1"),
                                              HasSubstr("window-size is 7 instead of 5")));
    EXPECT_EQ(half->getP1(), 196);
    EXPECT_EQ(half->getP2(), 784);
    EXPECT_EQ(half->getSpeckleRange(), 2);
    const auto quarter = fitted(4, small).second;
    EXPECT_EQ(quarter->getWindowSize(), 9);
    EXPECT_EQ(quarter->getP1(), 324);
    EXPECT_EQ(quarter->getP2(), 1296);
    EXPECT_THAT(fitted(4, {{"window-size", 9}, {"speckle-range", 0}}).first, testing::IsEmpty());
}

}  // namespace
}  // namespace tiomipra::test
