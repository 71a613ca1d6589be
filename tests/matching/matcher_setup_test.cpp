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

// Both ends are searched, in pixels of the reduced images, and 16 disparities less would miss the
// upper one.
void expectSearched(const Stereo& stereo, int scale, double smallest, double largest) {
    const auto adapted = adaptToWidth(stereo, 640 / scale);
    const int first = adapted.minDisparity, last = first + adapted.disparityNumber - 1;
    EXPECT_LE(first, std::ceil(smallest / scale));
    EXPECT_GE(last, largest / scale);
    EXPECT_TRUE(last - first + 1 == 16 || last - 16 < std::ceil(largest / scale)) << largest;
}

// Up to every count of disparities, with those that just go beyond a multiple of 16.
TEST(MatcherSetup, RangesAreSearchedNoWiderThanNeeded) {
    for (const int scale : {1, 2, 4}) {
        for (const float rightCentre : {320.25F, 300.5F, 336.25F}) {
            RigOptions options;
            options.rightCentreX = rightCentre;
            const Rig rig = sampleRig(options);
            const double atInfinity = 320.25 - static_cast<double>(rightCentre);
            const double smallest = atInfinity + focalTimesBaseline / 6;
            for (double disparity = 20.5; disparity < 120; disparity += 0.5) {
                MatcherSettings settings;
                settings.scale = scale;
                settings.range = DepthRange{focalTimesBaseline / disparity, 6, "", false};
                const auto stereo = makeStereo(settings, rig);
                EXPECT_EQ(stereo->getMaxDepth(), 6.F);
                EXPECT_EQ(stereo->getMinDisparity(), std::floor(smallest));
                expectSearched(*stereo, scale, smallest, atInfinity + disparity);
            }
        }
        // Without a rig the same holds for disparities.
        for (double largest = 30; largest < 100; largest += 0.5) {
            MatcherSettings settings = rangeOf("auto", scale);
            setDisparities(settings, 12.7, largest);
            expectSearched(*makeStereo(settings, cv::Size(640, 480)), scale, 12, largest);
        }
    }
    // From the disparity at infinity on, 19.75, and nothing is removed.
    RigOptions options;
    options.rightCentreX = 300.5F;
    const auto stereo = makeStereo(rangeOf("1..inf"), sampleRig(options));
    EXPECT_EQ(stereo->getMinDisparity(), 19);
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
    const struct {
        MatcherSettings settings;
        float baseline;
        std::string message;
    } cases[] = {{tooNear, 0.125F,
                  "max-depth 0.01" + start + "6250 pixels, must be at most the calibrated "},
                 {rangeOf("0.001..0.002"), 0.125F, "range up to 0.002" + start + "31250 pixels"},
                 {rangeOf("0.01..3"), 0.125F,
                  "less than the calibrated width, 640; the nearest depth "
                  "possible is 0.09781"},
                 {{}, 10, "the default maximum depth 5" + start},
                 {fromFile, 0.125F,
                  "parameters 'a.toml': range from 2 must start nearer than max-depth, 2"}};
    for (const auto& single : cases) {
        RigOptions options;
        options.baseline = single.baseline;
        EXPECT_THAT(([&] { makeStereo(single.settings, sampleRig(options)); }),
                    testing::ThrowsMessage<Error>(HasSubstr(single.message)));
    }
}

// A suffix means metres: of a rig in another unit it is refused, of one in an unknown unit trusted.
TEST(MatcherSetup, ASuffixIsNotTakenOnTrustWhereTheUnitIsKnown) {
    Rig own = sampleRig(), ofMetres = own, unknown = own;
    own.unit = "";
    ofMetres.unit = metres;
    unknown.unit.reset();
    MatcherSettings depth;
    depth.maxDepth = parseLength("300cm");
    for (const MatcherSettings& settings : {rangeOf("100cm..5m"), depth}) {
        EXPECT_THAT([&] { makeStereo(settings, own); },
                    testing::ThrowsMessage<SettingError>(HasSubstr(
                        " is in metres, as it has a suffix, 'left.yml' in your own unit")));
        EXPECT_NO_THROW(makeStereo(settings, ofMetres));
        EXPECT_EQ(makeStereo(settings, unknown)->getMaxDepth(), farthestDepth(settings)->value);
        EXPECT_FALSE(mustTrustUnit(settings, own) || mustTrustUnit(settings, ofMetres));
        EXPECT_TRUE(mustTrustUnit(settings, unknown));
    }
    EXPECT_FALSE(mustTrustUnit(rangeOf("1..5"), unknown));
}

// A window of 5 is 3 at half the size and 1 at a quarter: 7 and 9 come down to 5. The costs grow as
// the areas do, 49 / 25 and 81 / 25.
TEST(MatcherSetup, WhatGetsTooSmallIsEnlarged) {
    const auto fitted = [](int factor, const std::map<std::string, int>& values) {
        auto stereo = makeStereo(settingsOf(values), cv::Size(640, 480));
        return std::pair(fitToWidth(*stereo, {}, 640 / factor), std::move(stereo));
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
