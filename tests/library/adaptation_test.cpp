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
    stereo.setWindowSize(31);
    stereo.setSpeckleWindowSize(999);
    stereo.setSpeckleRange(29);
    stereo.setP1(1000);
    stereo.setP2(9000);
    // By hand, from the rules that stand with `computeDisparity`; the factor comes first.
    const std::array<int, 8> cases[] = {
        {1, -37, 160, 31, 999, 29, 1000, 9000}, {2, -18, 144, 29, 499, 14, 875, 7876},
        {3, -12, 128, 28, 333, 9, 815, 7342},   {4, -9, 128, 27, 249, 7, 758, 6827},
        {5, -7, 128, 26, 199, 5, 703, 6330},    {6, -6, 112, 25, 166, 4, 650, 5853},
        {11, -3, 112, 20, 90, 2, 416, 3746},    {12, -3, 96, 19, 83, 2, 375, 3380},
        {40, 0, 80, -9, 24, 0, 84, 758}};
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

// Exactly, 1800 * (11 / 15)^2 is 968 and 361 * (12 / 19)^2 is 144. In double precision they are
// truncated to 967 and 144.
TEST(Adaptation, OfPenaltiesIsInSinglePrecision) {
    vision::Stereo stereo;
    for (const auto& [window, factor, penalty, adapted] : {std::array{15, 4, 1800, 968},
                                                           {15, 4, 7200, 3872},
                                                           {19, 7, 361, 143},
                                                           {19, 7, 19855, 7919}}) {
        stereo.setWindowSize(window);
        stereo.setP1(penalty);
        stereo.setP2(penalty);
        EXPECT_EQ(vision::adapt(stereo, factor).P1, adapted) << penalty;
        EXPECT_EQ(vision::adapt(stereo, factor).P2, adapted) << penalty;
    }
}

}  // namespace
}  // namespace tiomipra::test
