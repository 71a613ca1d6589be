// The measures of a disparity image, and the files that they are taken from.
#include "matching/evaluation.hpp"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <opencv2/core.hpp>

#include "base/errors.hpp"
#include "files/image_files.hpp"
#include "matching/error_map.hpp"
#include "support/matrices.hpp"
#include "support/scratch_folder.hpp"

namespace tiomipra::test {
namespace {

const float nan = std::nanf("");

// Twelve pixels. Errors of the measured ones: 0, 0.5, 0.75, 1.5, 3.5 (of 100), 4 (of 64), 8.
const cv::Mat trueDisparity =
    (cv::Mat_<float>(2, 6) << 10, 10, 10, 10, 100, 64, 20, 10, 10, 0, infinity, nan);
const cv::Mat foundDisparity =
    (cv::Mat_<float>(2, 6) << 10, 10.5F, 9.25F, 11.5F, 96.5F, 68, 12, nan, 0, 5, 5, 5);
// White: not occluded; grey: occluded; black: unknown.
const cv::Mat mask = (cv::Mat_<uchar>(2, 6) << 255, 255, 128, 128, 128, 128, 0, 255, 0, 255, 0, 0);

TEST(Evaluation, AgreesWithAComputationByHand) {
    const Evaluation result = evaluate(foundDisparity, trueDisparity);
    EXPECT_EQ(result.known, 9U);
    EXPECT_EQ(result.measured, 7U);
    EXPECT_DOUBLE_EQ(result.density, 7. / 9);
    EXPECT_THAT(result.amongMeasured.above, testing::ElementsAre(5. / 7, 4. / 7, 3. / 7, 1. / 7));
    EXPECT_THAT(result.amongKnown.above, testing::ElementsAre(7. / 9, 6. / 9, 5. / 9, 3. / 9));
    // 3.5 of 100 is less than 5 %, 4 of 64 and 8 of 20 are more.
    EXPECT_DOUBLE_EQ(result.amongMeasured.d1, 2. / 7);
    EXPECT_DOUBLE_EQ(result.amongKnown.d1, 4. / 9);
    EXPECT_DOUBLE_EQ(result.averageError, (0.5 + 0.75 + 1.5 + 3.5 + 4 + 8) / 7);
    EXPECT_DOUBLE_EQ(result.rootMeanSquareError,
                     std::sqrt((0.25 + 0.5625 + 2.25 + 12.25 + 16 + 64) / 7));
    EXPECT_EQ(whyNotGoodEnough(result, 42.9), "");
    EXPECT_THAT(whyNotGoodEnough(result, 42.8), testing::HasSubstr("42.8 % of the measured"));
    const cv::Mat nothing = trueDisparity * 0;
    EXPECT_THAT(whyNotGoodEnough(evaluate(foundDisparity, nothing), 100),
                "no pixel of the ground truth is known");
    EXPECT_THAT(whyNotGoodEnough(evaluate(nothing, trueDisparity), 100),
                "none of the known pixels is measured");
}

TEST(ErrorMap, TellsSizesAndTheirHistogram) {
    const cv::Mat errors = errorSizes(foundDisparity, trueDisparity);
    const cv::Mat expected =
        (cv::Mat_<float>(2, 6) << 0, 0.5F, 0.75F, 1.5F, 3.5F, 4, 8, nan, nan, nan, nan, nan);
    EXPECT_EQ(cv::norm(errors.reshape(1, 1).colRange(0, 7), expected.reshape(1, 1).colRange(0, 7)),
              0);
    EXPECT_EQ(cv::countNonZero(errors != errors), 5);
    EXPECT_THAT(countErrors(errors), testing::ElementsAre(1, 1, 1, 1, 2, 1, 0));
}

// A stray does not outweigh a region, nor does what is hardly measured.
TEST(ErrorMap, FindsTheWorstPlaces) {
    cv::Mat errors(100, 200, CV_32FC1, cv::Scalar(0));
    errors(cv::Rect(40, 60, 20, 20)) = 3;
    errors.at<float>(5, 5) = 500;
    errors(cv::Rect(120, 0, 20, 20)) = nan;
    errors(cv::Rect(120, 0, 20, 4)) = 7;
    const std::vector<ErrorPlace> places = findWorstPlaces(errors, 2);
    ASSERT_EQ(places.size(), 2U);
    EXPECT_EQ(places[0].area, cv::Rect(40, 60, 20, 20));
    EXPECT_EQ(places[0].meanError, 3);
    EXPECT_EQ(places[0].measuredShare, 1);
    EXPECT_EQ((places[1].area & places[0].area).area(), 0);
    // The rims of a place are none of their own.
    errors(cv::Rect(30, 50, 40, 40)) = 3;
    errors(cv::Rect(140, 60, 20, 20)) = 2;
    EXPECT_EQ(findWorstPlaces(errors, 2)[1].area, cv::Rect(140, 60, 20, 20));
    EXPECT_TRUE(findWorstPlaces(errors * 0, 2).empty());
}

TEST(Evaluation, OfFilesIsMaskedByTheLightestShade) {
    const ScratchFolder folder;
    const auto evaluateWith = [&](const cv::Mat& found, const cv::Mat& itsMask) {
        writeImage(folder.path("found.tiff"), found);
        writeImage(folder.path("truth.tiff"), trueDisparity);
        writeImage(folder.path("mask.png"), itsMask);
        const EvaluatedFiles files{folder.path("found.tiff"), folder.path("truth.tiff"),
                                   folder.path("mask.png")};
        return evaluateFiles(files, readEvaluated(files));
    };
    for (const int divisor : {1, 4}) {
        const FileEvaluation result = evaluateWith(foundDisparity, mask / divisor);
        EXPECT_EQ(result.all.known, 9U);
        EXPECT_EQ(result.nonOccluded->known, 3U);
        EXPECT_EQ(result.nonOccluded->averageError, 0.25);
    }
    EXPECT_EQ(evaluateWith(foundDisparity, mask * 0).nonOccluded->known, 0U);
    const struct {
        cv::Mat found, mask;
        const char* message;
    } wrong[] = {{trueDisparity.colRange(0, 3), mask, "found.tiff' is 3x2, "},
                 {foundDisparity, mask.colRange(0, 3), "mask.png' is 3x2"},
                 {foundDisparity, cv::Mat(2, 6, CV_8UC3), "grey mask"}};
    for (const auto& files : wrong)
        EXPECT_THAT(([&] { evaluateWith(files.found, files.mask); }),
                    testing::ThrowsMessage<InputError>(testing::HasSubstr(files.message)));
}

}  // namespace
}  // namespace tiomipra::test
