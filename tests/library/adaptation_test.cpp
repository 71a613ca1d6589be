#include "shared/adaptation.hpp"

#include <gmock/gmock.h>

#include <array>

#include "support/rigs.hpp"

namespace tiomipra::test {
namespace {

using testing::ElementsAre;

TEST(Adaptation, FollowsTheReductionFactor) {
    OpenStereo stereo(makeRig());
    stereo.setMinDisparity(-37);
    stereo.setDisparityNumber(160);
    stereo.setWindowSize(19);
    stereo.setSpeckleWindowSize(999);
    stereo.setSpeckleRange(29);
    stereo.setP1(361);
    stereo.setP2(19855);
    // By hand, from the rules that stand with `computeDisparity`; the factor comes first. Exactly,
    // the penalties are whole: 361 * (12 / 19)^2 is 144. In single precision some fall below.
    const std::array<int, 8> cases[] = {
        {1, -37, 160, 19, 999, 29, 361, 19855}, {2, -18, 144, 17, 499, 14, 289, 15895},
        {3, -12, 128, 16, 333, 9, 256, 14080},  {4, -9, 128, 15, 249, 7, 225, 12375},
        {5, -7, 128, 14, 199, 5, 196, 10780},   {6, -6, 112, 13, 166, 4, 169, 9295},
        {7, -5, 112, 12, 142, 4, 143, 7919},    {11, -3, 112, 8, 90, 2, 64, 3520},
        {12, -3, 96, 7, 83, 2, 49, 2695},       {40, 0, 80, -21, 24, 0, 440, 24255}};
    for (const auto& expected : cases) {
        const auto adapted = vision::adapt(stereo, expected[0]);
        EXPECT_THAT(expected,
                    ElementsAre(expected[0], adapted.minDisparity, adapted.disparityNumber,
                                adapted.windowSize, adapted.speckleWindowSize, adapted.speckleRange,
                                adapted.P1, adapted.P2));
    }
    stereo.setDisparityNumber(32);
    EXPECT_EQ(vision::adapt(stereo, 8).disparityNumber, 16);
}

}  // namespace
}  // namespace tiomipra::test
