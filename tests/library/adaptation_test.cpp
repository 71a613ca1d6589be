#include "shared/adaptation.hpp"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <ostream>

#include "shared/truncation.hpp"
#include "support/matrices.hpp"
#include "support/rigs.hpp"

namespace vision {

bool operator==(const AdaptedParameters& a, const AdaptedParameters& b) {
    return a.minDisparity == b.minDisparity && a.disparityNumber == b.disparityNumber &&
           a.windowSize == b.windowSize && a.speckleWindowSize == b.speckleWindowSize &&
           a.speckleRange == b.speckleRange && a.P1 == b.P1 && a.P2 == b.P2;
}

void PrintTo(const AdaptedParameters& parameters, std::ostream* out) {
    *out << "{" << parameters.minDisparity << ", " << parameters.disparityNumber << ", "
         << parameters.windowSize << ", " << parameters.speckleWindowSize << ", "
         << parameters.speckleRange << ", " << parameters.P1 << ", " << parameters.P2 << "}";
}

}  // namespace vision

namespace tiomipra::test {
namespace {

using vision::AdaptedParameters;

TEST(Adaptation, FollowsTheReductionFactor) {
    OpenStereo stereo(makeRig());
    stereo.setMinDisparity(-37);
    stereo.setDisparityNumber(160);
    stereo.setWindowSize(31);
    stereo.setSpeckleWindowSize(999);
    stereo.setSpeckleRange(29);
    stereo.setP1(1000);
    stereo.setP2(9000);
    // By hand, from the rules that stand with `computeDisparity`.
    const std::pair<int, AdaptedParameters> cases[] = {
        {1, {-37, 160, 31, 999, 29, 1000, 9000}}, {2, {-18, 144, 29, 499, 14, 875, 7876}},
        {3, {-12, 128, 28, 333, 9, 815, 7342}},   {4, {-9, 128, 27, 249, 7, 758, 6827}},
        {5, {-7, 128, 26, 199, 5, 703, 6330}},    {6, {-6, 112, 25, 166, 4, 650, 5853}},
        {11, {-3, 112, 20, 90, 2, 416, 3746}},    {12, {-3, 96, 19, 83, 2, 375, 3380}},
        {40, {0, 80, -9, 24, 0, 84, 758}}};
    for (const auto& [factor, expected] : cases)
        EXPECT_EQ(vision::adapt(stereo, factor), expected) << factor;
}

// Exactly, 1800 * (11 / 15)^2 is 968 and 361 * (12 / 19)^2 is 144. In double precision they are
// truncated to 967 and 144.
TEST(Adaptation, OfPenaltiesIsInSinglePrecision) {
    struct Case {
        int windowSize, factor, penalty, adapted;
    };
    vision::Stereo stereo;
    for (const auto& [windowSize, factor, penalty, adapted] :
         {Case{15, 4, 1800, 968}, {15, 4, 7200, 3872}, {19, 7, 361, 143}, {19, 7, 19855, 7919}}) {
        stereo.setWindowSize(windowSize);
        stereo.setP1(penalty);
        stereo.setP2(penalty);
        EXPECT_EQ(vision::adapt(stereo, factor).P1, adapted) << penalty;
        EXPECT_EQ(vision::adapt(stereo, factor).P2, adapted) << penalty;
    }
}

TEST(PyramidLevel, IsTheRoundedLogarithm) {
    // The bounds are at the square roots of 2, 8, 32, ...: 1.4, 2.8, 5.7, 11.3, 22.6.
    const std::pair<int, int> cases[] = {{1, 0},  {2, 1},  {3, 2},  {5, 2},  {6, 3},
                                         {11, 3}, {12, 4}, {22, 4}, {23, 5}, {1 << 30, 30}};
    for (const auto& [factor, level] : cases)
        EXPECT_EQ(vision::pyramidLevel(factor), level) << factor;
}

TEST(Truncation, IsTowardsZeroAndNeverUndefined) {
    constexpr int smallest = std::numeric_limits<int>::min();
    const std::pair<float, int> cases[] = {{0.F, 0},
                                           {2.9F, 2},
                                           {-2.9F, -2},
                                           {2147483520.F, 2147483520},
                                           {2147483648.F, smallest},
                                           {-2147483648.F, smallest},
                                           {-2147483904.F, smallest},
                                           {infinity, smallest},
                                           {-infinity, smallest},
                                           {std::nanf(""), smallest}};
    for (const auto& [value, whole] : cases)
        EXPECT_EQ(vision::truncateToInt(value), whole) << value;
}

}  // namespace
}  // namespace tiomipra::test
