// What is said about measurements that can't be right.
#include "matching/measurement_hints.hpp"

#include <gmock/gmock.h>

#include <opencv2/core.hpp>

#include "base/text.hpp"
#include "matching/matcher_setup.hpp"
#include "sample_rig.hpp"

namespace tiomipra::test {
namespace {

// Of 1000 pixels, all measured but the first `missing`; `near` and `far` of them stand at the ends
// of the 64 disparities from `first` on, the others in between.
TEST(MeasurementHints, SayWhatIsOddAndWhatToTry) {
    const struct {
        int missing, near, far, first;
        std::string hint;
    } cases[] = {
        {900, 0, 0, 1, ""},
        {902, 0, 0, 1, "only 9.8 % of the pixels was measured; see whether left and right "},
        {1000, 0, 0, 1, "nothing was measured"},
        {0, 20, 0, 1, ""},
        {0, 21, 0, 1,
         "2.1 % of what was measured is at the near end of the range, within "
         "1 of the largest disparity, 64"},
        {500, 15, 0, 1, "3 % of what was measured"},
        {0, 0, 500, 1, ""},
        {0, 0, 510, 1, "51 % of what was measured is at the far end"},
        {0, 0, 900, 0, ""},  // nothing is farther
        {0, 0, 910, 0, "91 % of what was measured is at the far end"}};
    for (const auto& [missing, near, far, first, hint] : cases) {
        Match match;
        match.left = cv::Mat(1, 1000, CV_8UC1);
        match.disparity = cv::Mat(1, 1000, CV_32FC1, cv::Scalar(30));
        match.measured = cv::Mat(1, 1000, CV_8UC1, cv::Scalar(255));
        match.disparity.colRange(1000 - near, 1000) = 63;
        match.disparity.colRange(1000 - near - far, 1000 - near) = first + 1;
        match.disparity.colRange(0, missing) = 64;
        match.measured.colRange(0, missing) = 0;
        const auto stereo = makeStereo(
            settingsOf({{"disparity-number", 64}, {"min-disparity", first}}), match.left.size());
        const auto hints = findHints(measure(Quantity::disparity, match.disparity, ~match.measured),
                                     match, *stereo);
        ASSERT_EQ(hints.size(), hint.empty() ? 0U : 1U);
        EXPECT_THAT(joined(hints), testing::HasSubstr(hint));
    }
}

}  // namespace
}  // namespace tiomipra::test
