// What is said about measurements that can't be right.
#include "matching/measurement_hints.hpp"

#include <gmock/gmock.h>

#include <opencv2/core.hpp>

#include "matching/matcher_setup.hpp"
#include "sample_rig.hpp"

namespace tiomipra::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// Of 1000 pixels, all measured but the first `missing`; `near` and `far` of them stand at the ends
// of the disparities 1 to 64, the others in between.
std::vector<std::string> hints(int missing, int near, int far, float firstDisparity = 1) {
    Match match;
    match.left = cv::Mat(10, 100, CV_8UC1);
    match.disparity = cv::Mat(10, 100, CV_32FC1, cv::Scalar(30));
    match.measured = cv::Mat(10, 100, CV_8UC1, cv::Scalar(255));
    cv::Mat disparities = match.disparity.reshape(1, 1);
    cv::Mat measured = match.measured.reshape(1, 1);
    disparities.colRange(1000 - near, 1000) = 63;
    disparities.colRange(1000 - near - far, 1000 - near) = firstDisparity + 1;
    disparities.colRange(0, missing) = 64;
    measured.colRange(0, missing) = 0;
    const auto stereo = makeStereo(
        settingsOf({{"disparity-number", 64}, {"min-disparity", static_cast<int>(firstDisparity)}}),
        match.left.size());
    return findHints(measure(Quantity::disparity, match.disparity, match.measured), match, *stereo);
}

TEST(MeasurementHints, SayWhatIsOddAndWhatToTry) {
    EXPECT_THAT(hints(900, 0, 0), IsEmpty());
    EXPECT_THAT(hints(902, 0, 0), ElementsAre(HasSubstr("only 9.8 % of the pixels was measured; "
                                                        "see whether left and right are exch")));
    EXPECT_THAT(hints(1000, 0, 0), ElementsAre(HasSubstr("nothing was measured")));
    EXPECT_THAT(hints(0, 20, 0), IsEmpty());
    EXPECT_THAT(hints(0, 21, 0),
                ElementsAre(HasSubstr("2.1 % of what was measured is at the near end of the range, "
                                      "within 1 of the largest disparity, 64")));
    EXPECT_THAT(hints(500, 15, 0), ElementsAre(HasSubstr("3 % of what was measured")));
    EXPECT_THAT(hints(0, 0, 500), IsEmpty());
    EXPECT_THAT(hints(0, 0, 510),
                ElementsAre(HasSubstr("51 % of what was measured is at the far end")));
    EXPECT_THAT(hints(0, 0, 510, 0), IsEmpty()) << "nothing is farther";
}

}  // namespace
}  // namespace tiomipra::test
