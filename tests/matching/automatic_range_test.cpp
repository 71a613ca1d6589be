// The range that is found in scenes whose disparities are known.
#include "matching/automatic_range.hpp"

#include <gmock/gmock.h>

#include <limits>

#include "base/errors.hpp"
#include "sample_rig.hpp"
#include "support/scenes.hpp"

namespace tiomipra::test {
namespace {

using testing::HasSubstr;

// Two planes, which features show to half a pixel.
Frame frameOf(const Rig& rig, float near, float far, bool isRaw) {
    SceneOptions options;
    options.planes = {{near, 0, 0, 320}, {far, 0, 320}};
    const Scene scene = renderScene(options);
    const StereoImages images = isRaw ? StereoImages{renderRawView(scene.left, rig.left),
                                                     renderRawView(scene.right, rig.right)}
                                      : StereoImages{scene.left, scene.right};
    return {"1", "a.png", "b.png", {}, [images] { return images; }};
}

MatcherSettings find(const std::vector<Frame>& frames, const std::optional<Rig>& rig, int scale,
                     std::string* notice = nullptr) {
    return withRangeFound(rangeOf("auto", scale), rig, frames, [&](const std::string& text) {
        if (notice != nullptr)
            *notice = text;
    });
}

// The margins are 0.2 and 0.1 times 30 disparities, and f B is 62.5.
TEST(AutomaticRange, HoldsWhatFeaturesShow) {
    for (const float rightCentre : {320.25F, 300.5F}) {
        RigOptions options;
        options.rightCentreX = rightCentre;
        const Rig rig = sampleRig(options);
        const float atInfinity = 320.25F - rightCentre;
        const Frame frame = frameOf(rig, 50 + atInfinity, 20 + atInfinity, true);
        std::string notice;
        const MatcherSettings found = find({frame}, rig, 1, &notice);
        EXPECT_NEAR(found.range->nearest, 62.5 / 56, 0.02);
        EXPECT_NEAR(found.range->farthest, 62.5 / 17, 0.2);
        EXPECT_FALSE(found.range->isAutomatic);
        EXPECT_THAT(notice, HasSubstr("the range found is depths 1.1"));
        EXPECT_EQ(
            find({frameOf(rig, 50 + atInfinity, 1 + atInfinity, true)}, rig, 1).range->farthest,
            std::numeric_limits<double>::infinity());
    }
}

TEST(AutomaticRange, IsOneOfDisparitiesWithoutARig) {
    const Rig rig = sampleRig();
    const std::vector<Frame> frames{frameOf(rig, 40, 30, false), frameOf(rig, 50, 20, false)};
    for (const int scale : {1, 2}) {
        const MatcherSettings found = find(frames, std::nullopt, scale);
        EXPECT_FALSE(found.range);
        EXPECT_NEAR(found.values.at("min-disparity"), 17, 1) << "of all pairs";
        // 17 to 56, and 8 to 28 with 16 more, which the reduction takes off.
        EXPECT_EQ(found.values.at("disparity-number"), 48);
    }
    // Cameras that rectify themselves, with f B = 64 and 7 pixels between their centres.
    const Rig cameras = rectifiedRig({400, {0.16, metres}, 7, {}}, {4000, 3000});
    EXPECT_NEAR(find(frames, cameras, 1).range->farthest, 64. / (17 + 7), 0.15);
    const MatcherSettings given = rangeOf("1..5");
    EXPECT_EQ(withRangeFound(given, rig, {}, [](const std::string&) {}).range->nearest, 1);
}

TEST(AutomaticRange, NeedsFeatures) {
    const cv::Mat grey(480, 640, CV_8UC1, cv::Scalar(90));
    const Frame blank{"1", "a.png", "b.png", {}, [&] { return StereoImages{grey, grey}; }};
    const Frame broken{"2", "c.png", "d.png", {}, []() -> StereoImages {
                           throw InputError("'c.png' is damaged");
                       }};
    const auto message = [](const char* text) {
        return testing::ThrowsMessage<InputError>(HasSubstr(text));
    };
    EXPECT_THAT([&] { find({blank}, std::nullopt, 1); }, message("no pair shows enough features"));
    EXPECT_THAT([&] { find({broken}, std::nullopt, 1); }, message("found: 'c.png' is damaged"));
    EXPECT_NO_THROW(find({broken, frameOf(sampleRig(), 50, 20, false)}, std::nullopt, 1));
}

}  // namespace
}  // namespace tiomipra::test
