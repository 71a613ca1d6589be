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

const cv::Size size(640, 48);

// A far plane and a narrow near one, which features show to half a pixel; raw images with a rig.
Frame frameOf(float near, float far, const std::optional<Rig>& rig = {}) {
    SceneOptions options;
    options.size = size;
    options.planes = {{near, 0, 300, 340}, {far}};
    const Scene scene = renderScene(options);
    const StereoImages images = rig ? StereoImages{renderRawView(scene.left, rig->left),
                                                   renderRawView(scene.right, rig->right)}
                                    : StereoImages{scene.left, scene.right};
    return {"1", "a.png", "b.png", {}, [images] { return images; }};
}

MatcherSettings find(const std::vector<Frame>& frames, const std::optional<Rig>& rig,
                     int scale = 1) {
    return withRangeFound(rangeOf("auto", scale), rig, frames, [](const std::string&) {});
}

// The margins are 0.2 and 0.1 times 30 disparities, and f B is 62.5.
TEST(AutomaticRange, HoldsWhatFeaturesShow) {
    constexpr float atInfinity = 19.75F;
    RigOptions options;
    options.size = size;
    options.leftCentre = {320.25F, 23.5F};
    options.rightCentreX = options.leftCentre.x - atInfinity;
    const Rig rig = sampleRig(options);
    const auto range = find({frameOf(50 + atInfinity, 20 + atInfinity, rig)}, rig).range;
    EXPECT_NEAR(range->nearest, 62.5 / 56, 0.02);
    EXPECT_NEAR(range->farthest, 62.5 / 17, 0.2);
    EXPECT_FALSE(range->isAutomatic);
    EXPECT_EQ(find({frameOf(50 + atInfinity, 1 + atInfinity, rig)}, rig).range->farthest,
              std::numeric_limits<double>::infinity());
    // Cameras that rectify themselves: f B is 64, and infinity at -7 leaves a margin beyond 0.
    const Rig cameras = rectifiedRig({400, {0.16, metres}, 7, {}}, {4000, 3000});
    EXPECT_NEAR(find({frameOf(31, 1)}, cameras).range->farthest, 64. / (1 - 3 + 7), 1);
}

TEST(AutomaticRange, IsOneOfDisparitiesWithoutARig) {
    const std::vector<Frame> frames{frameOf(40, 30), frameOf(50, 20)};
    for (const int scale : {1, 2}) {
        const MatcherSettings found = find(frames, std::nullopt, scale);
        EXPECT_FALSE(found.range);
        EXPECT_NEAR(found.values.at("min-disparity"), 17, 1) << "of all pairs";
        // 17 to 56, and 8 to 28 with 16 more, which the reduction takes off.
        EXPECT_EQ(found.values.at("disparity-number"), 48);
    }
}

TEST(AutomaticRange, NeedsFeatures) {
    const cv::Mat grey(size, CV_8UC1, cv::Scalar(90));
    const Frame blank{"1", "a.png", "b.png", {}, [&] { return StereoImages{grey, grey}; }};
    const Frame broken{"2", "c.png", "d.png", {}, []() -> StereoImages {
                           throw InputError("'c.png' is damaged");
                       }};
    const auto message = [](const char* text) {
        return testing::ThrowsMessage<InputError>(HasSubstr(text));
    };
    EXPECT_THAT([&] { find({blank}, {}); }, message("no pair shows enough features"));
    EXPECT_THAT([&] { find({broken}, {}); }, message("found: 'c.png' is damaged"));
    EXPECT_NO_THROW(find({broken, frameOf(50, 20)}, {}));
}

}  // namespace
}  // namespace tiomipra::test
