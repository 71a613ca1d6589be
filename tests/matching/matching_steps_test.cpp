// What the steps around the matcher add and reject, on scenes of known disparity.
#include "matching/matching_steps.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "base/errors.hpp"
#include "files/image_files.hpp"
#include "matching/disparity_search.hpp"
#include "matching/edge_filter.hpp"
#include "matching/gap_filling.hpp"
#include "matching/image_preparation.hpp"
#include "matching/left_right_check.hpp"
#include "matching/light_matching.hpp"
#include "matching/matcher_search.hpp"
#include "matching/matcher_setup.hpp"
#include "matching/measured_pixels.hpp"
#include "matching/subpixel_refit.hpp"
#include "matching/unmeasured.hpp"
#include "sample_rig.hpp"
#include "support/matrices.hpp"
#include "support/photographs.hpp"
#include "support/scenes.hpp"

namespace tiomipra::test {
namespace {

using vision::Stereo;

const cv::Size sceneSize(320, 120);
constexpr int wall = 10;
constexpr int bar = 30;

// A bar in columns 150 to 159 before a wall. Both cameras see the wall from column 10 on, but for
// the columns that the bar hides from the right one: those whose matches are in columns 120 to 129,
// which are 130 to 139.
Scene barBeforeWall() {
    SceneOptions options;
    options.size = sceneSize;
    constexpr int end = 1 << 20;
    constexpr float beyondLeft = 200;  // what the right camera alone sees
    options.planes = {
        {bar, 0, 150, 160}, {wall, 0, 0, 150}, {wall, 0, 160, end}, {beyondLeft, 0, end, end}};
    return renderScene(options);
}

const std::map<std::string, int> semiGlobal{{"algorithm", Stereo::SGBM},
                                            {"window-size", 5},
                                            {"pre-filter-cap", 31},
                                            {"uniqueness-ratio", 0},
                                            {"p1", 72},
                                            {"p2", 288},
                                            {"disparity-number", 48},
                                            {"min-disparity", 0},
                                            {"speckle-window-size", 50},
                                            {"speckle-range", 1},
                                            {"texture-threshold", 50}};

FoundDisparities find(const Scene& scene, const MatchingSteps& steps) {
    const auto stereo = makeStereo(settingsOf(semiGlobal), scene.left.size());
    return findDisparities(*stereo, steps, {scene.left, scene.right, {}, {}, scene.left});
}

// Of the pixels in these columns.
double shareOf(const cv::Mat& pixels, int begin, int end) {
    const cv::Mat part = pixels.colRange(begin, end);
    return static_cast<double>(cv::countNonZero(part)) / static_cast<double>(part.total());
}

cv::Mat near(const FoundDisparities& found, double disparity, double tolerance = 1) {
    return (found.reasons == 0) & (cv::abs(found.disparity - disparity) <= tolerance);
}

TEST(MatchingSteps, TakeTheirOwnValuesOnly) {
    EXPECT_EQ(stepsOf(settingsOf({{"three-way", 3}, {"median", 5}})).threeWay, 3);
    for (const auto& [name, value] : std::map<std::string, int>{{"three-way", 2},
                                                                {"three-way", 13},
                                                                {"median", 4},
                                                                {"equalise", 2},
                                                                {"min-confidence", 101},
                                                                {"left-right-check", -1}})
        EXPECT_THROW(stepsOf(settingsOf({{name, value}})), SettingError) << name;
}

// Bit for bit, with its speckle filter.
TEST(FindDisparities, WithoutStepsIsWhatTheLibraryGives) {
    const cv::Mat left = toGrey(readImage(photograph("aloeL.jpg")));
    const cv::Mat right = toGrey(readImage(photograph("aloeR.jpg")));
    const cv::Rect part(300, 300, 640, 240);
    for (const int algorithm : {Stereo::BM, Stereo::SGBM}) {
        auto values = semiGlobal;
        values["algorithm"] = algorithm;
        values["window-size"] = 9;
        values["speckle-window-size"] = 300;
        values["disparity-number"] = 160;
        const auto stereo = makeStereo(settingsOf(values), part.size());
        const cv::Mat expected = stereo->computeDisparity(left(part), right(part));
        const cv::Mat matched = findMatched(expected, 0);
        const FoundDisparities found =
            findDisparities(*stereo, {}, {left(part), right(part), {}, {}, {}});
        EXPECT_EQ(cv::countNonZero((found.reasons == 0) & ~matched), 0);
        EXPECT_EQ(cv::norm(found.disparity, expected, cv::NORM_INF, found.reasons == 0), 0);
        const cv::Mat judged = (found.reasons == static_cast<int>(Reason::speckle)) |
                               (found.reasons == static_cast<int>(Reason::notUnique));
        EXPECT_EQ(cv::countNonZero(judged & matched), 0);
        EXPECT_GT(cv::countNonZero(found.reasons == static_cast<int>(Reason::speckle)), 300);
    }
}

TEST(FindDisparities, FullWidthMeasuresAllThatBothCamerasSee) {
    const Scene scene = barBeforeWall();
    MatchingSteps steps;
    EXPECT_EQ(shareOf(find(scene, steps).reasons == 0, 0, 47), 0);
    for (const int block : {0, 3}) {
        steps.threeWay = block;
        steps.fullWidth = 1;
        const FoundDisparities found = find(scene, steps);
        EXPECT_GT(shareOf(near(found, wall), wall + 2, 110), 0.95) << block;
        EXPECT_GT(shareOf(near(found, bar), 151, 159), 0.9) << block;
        EXPECT_LT(shareOf(found.reasons == 0, 0, wall - 2), 0.3) << block;
        const cv::Mat columns = [&] {
            cv::Mat x(found.disparity.size(), CV_32FC1);
            for (int i = 0; i < x.cols; ++i)
                x.col(i) = i;
            return x;
        }();
        EXPECT_EQ(cv::countNonZero((found.reasons == 0) & (found.disparity > columns + 0.5)), 0)
            << "outside of the right image";
    }
}

// At the smallest disparity fractions lead below it, and beside a region without texture the filter
// has nothing to go by.
TEST(FindDisparities, NothingMeasuredIsOutsideOfTheRange) {
    Scene scene = barBeforeWall();
    scene.left.colRange(220, 320).setTo(128);
    auto values = semiGlobal;
    values["min-disparity"] = wall;
    const auto stereo = makeStereo(settingsOf(values), sceneSize);
    for (const bool isWhole : {false, true}) {
        MatchingSteps steps;
        steps.fullWidth = steps.refit = steps.leftRightCheck = isWhole ? 1 : 0;
        steps.edgeFilter = 1;
        steps.fillGaps = 2;
        const FoundDisparities found =
            findDisparities(*stereo, steps, {scene.left, scene.right, {}, {}, scene.left});
        const cv::Mat measured = found.reasons == 0;
        EXPECT_EQ(cv::countNonZero(measured & (found.disparity < wall)), 0);
        EXPECT_EQ(cv::countNonZero(measured & (found.disparity > wall + 48)), 0);
        EXPECT_GT(shareOf(near(found, wall, 0.2), 62, 120), 0.9);
        // The filter needs both images' disparities up to their ends.
        EXPECT_GT(shareOf(near(found, wall, 0.2), 165, 210), 0.9);
    }
}

TEST(FindDisparities, LeftRightCheckDropsWhatOneCameraSees) {
    MatchingSteps steps;
    steps.leftRightCheck = 1;
    for (const int block : {0, 3}) {
        steps.threeWay = block;
        const FoundDisparities found = find(barBeforeWall(), steps);
        EXPECT_LT(shareOf(found.reasons == 0, 131, 139), 0.1) << block;
        EXPECT_GT(shareOf(near(found, wall), 170, 310), 0.95) << block;
        EXPECT_GT(shareOf(near(found, bar), 151, 159), 0.9) << block;
    }
}

TEST(FindDisparities, QuickRightMatchesTheRightImageInFiveDirections) {
    const Scene scene = barBeforeWall();
    Scene exchanged = scene;
    cv::flip(scene.right, exchanged.left, 1);
    cv::flip(scene.left, exchanged.right, 1);
    MatchingSteps fiveDirections, steps;
    fiveDirections.fullWidth = 1;
    cv::Mat right;
    cv::flip(find(exchanged, fiveDirections).disparity, right, 1);
    steps.threeWay = 3;
    const cv::Mat left = find(scene, steps).disparity;
    steps.quickRight = steps.leftRightCheck = 1;
    const FoundDisparities found = find(scene, steps);
    EXPECT_EQ(cv::norm(found.disparity, left, cv::NORM_INF), 0);
    auto withFullDp = semiGlobal;
    withFullDp["full-dp"] = 1;
    const auto stereo = makeStereo(settingsOf(withFullDp), sceneSize);
    EXPECT_THAT(
        findDisparities(*stereo, steps, {scene.left, scene.right, {}, {}, scene.left}).reasons,
        IsSameMatrix(found.reasons));
    const cv::Mat agreeing = findAgreeing(left, right, 0, 1);
    EXPECT_EQ(cv::countNonZero((found.reasons == 0) & ~agreeing), 0);
    EXPECT_EQ(cv::countNonZero((found.reasons == static_cast<int>(Reason::leftRight)) & agreeing),
              0);
}

TEST(FindDisparities, UniformWallsAndUnseenPixelsAreNotMeasured) {
    Scene scene = barBeforeWall();
    scene.left.rowRange(0, 60) = 90;
    scene.right.rowRange(0, 60) = 90;
    cv::Mat seen(sceneSize, CV_8UC1, cv::Scalar(255)), seenRight = seen.clone();
    seen.colRange(200, 220) = 0;
    seenRight.colRange(250 - wall, 260 - wall) = 0;
    // A gap that is closed with what the right image does not show.
    scene.left.colRange(278, 294) = 90;
    scene.right.colRange(278 - wall, 294 - wall) = 90;
    seenRight.colRange(284 - wall, 288 - wall) = 0;
    MatchingSteps steps;
    steps.fullWidth = steps.equalise = steps.edgeFilter = steps.refit = 1;
    steps.threeWay = 3;
    steps.leftRightCheck = 1;
    steps.fillGaps = 2;
    steps.median = 5;
    const auto stereo = makeStereo(settingsOf(semiGlobal), sceneSize);
    const FoundDisparities found =
        findDisparities(*stereo, steps, {scene.left, scene.right, seen, seenRight, scene.left});
    const auto shareWith = [&](Reason reason, int begin, int end) {
        return shareOf(found.reasons.rowRange(64, 120) == static_cast<int>(reason), begin, end);
    };
    EXPECT_EQ(cv::countNonZero(found.reasons.rowRange(0, 55) == 0), 0);
    EXPECT_EQ(found.reasons.at<uchar>(30, 100), static_cast<int>(Reason::noTexture));
    EXPECT_EQ(shareWith(Reason::notSeen, 200, 220), 1);
    EXPECT_GT(shareWith(Reason::notSeen, 251, 259), 0.9);
    EXPECT_LT(shareWith(Reason::none, 284, 288), 0.1);
    EXPECT_GT(shareWith(Reason::none, 225, 245), 0.95);
    EXPECT_GT(shareWith(Reason::none, 289, 291), 0.95);
    const ReasonCounts counts = countReasons(found.reasons);
    EXPECT_EQ(std::accumulate(counts.begin(), counts.end(), std::size_t{0}), sceneSize.area());
    EXPECT_EQ(counts.at(static_cast<std::size_t>(Reason::none)),
              cv::countNonZero(found.reasons == 0));
}

TEST(FindDisparities, ConfidenceIsLowWhereOneCameraSees) {
    const Scene scene = barBeforeWall();
    MatchingSteps steps;
    steps.givesConfidence = true;
    const FoundDisparities found = find(scene, steps);
    EXPECT_GT(cv::mean(found.confidence.colRange(200, 300))[0], 240);
    EXPECT_LT(cv::mean(found.confidence.colRange(132, 138))[0], 60);
    EXPECT_EQ(cv::countNonZero(found.reasons == static_cast<int>(Reason::unsure)), 0);
    steps.minConfidence = 25;
    const FoundDisparities sure = find(scene, steps);
    EXPECT_EQ(cv::countNonZero((sure.reasons == 0) & (found.confidence < 63)), 0);
    EXPECT_GT(cv::countNonZero(sure.reasons == static_cast<int>(Reason::unsure)), 0);
    EXPECT_GT(shareOf(near(sure, wall), 200, 300), 0.95);
    EXPECT_TRUE(find(scene, {}).confidence.empty());
}

// A fiftieth of the contrast, and the right image a third darker.
TEST(FindDisparities, EqualisedImagesStandBadLight) {
    Scene scene = barBeforeWall();
    scene.left.convertTo(scene.left, -1, 1. / 50, 60);
    scene.right.convertTo(scene.right, -1, 0.67 / 50, 40);
    MatchingSteps steps;
    EXPECT_LT(shareOf(near(find(scene, steps), wall), 170, 318), 0.5);
    steps.equalise = 1;
    EXPECT_GT(shareOf(near(find(scene, steps), wall), 170, 318), 0.9);
}

// A third darker, and half of that again in the corners.
TEST(MatchLight, UndoesAVignette) {
    const Scene scene = renderScene({});
    cv::Mat dark = scene.right.clone();
    for (int y = 0; y < dark.rows; ++y) {
        for (int x = 0; x < dark.cols; ++x) {
            const double u = x / 320. - 1, v = y / 240. - 1;
            auto& pixel = dark.at<uchar>(y, x);
            pixel = cv::saturate_cast<uchar>(pixel * 0.67 * (1 - 0.25 * (u * u + v * v)));
        }
    }
    const vision::AdaptedParameters search{1, 32, 21, 0, 0, 0, 0};
    const auto differenceTo = [&](const cv::Mat& image) {
        return cv::norm(scene.right, image, cv::NORM_L1) / static_cast<double>(dark.total());
    };
    EXPECT_GT(differenceTo(dark), 30);
    EXPECT_LT(differenceTo(matchLight(scene.left, dark, search)), 2);
    for (const double share : {1., 0.97, 0.9}) {
        const cv::Mat right = scene.right * share;
        EXPECT_EQ(matchLight(scene.left, right, search).data == right.data, share > 0.95) << share;
    }
    const cv::Mat bright(dark.size(), CV_8UC1, cv::Scalar(200));
    EXPECT_EQ(matchLight(bright, dark, search).data, dark.data) << "nothing to compare";
}

// Disparity 8 + x / 40.
TEST(RefitSubpixels, FollowsSlantedPlanes) {
    SceneOptions options;
    options.size = sceneSize;
    options.planes = {{8, 1.F / 40}};
    const Scene scene = renderScene(options);
    cv::Mat truth(sceneSize, CV_32FC1);
    for (int x = 0; x < truth.cols; ++x)
        truth.col(x) = 8 + x / 40.;
    cv::Mat whole;
    truth.convertTo(whole, CV_32S);
    whole.convertTo(whole, CV_32F);
    cv::Mat measured(sceneSize, CV_8UC1, cv::Scalar(255));
    measured.rowRange(0, 10) = 0;
    const cv::Mat found = refitSubpixels(whole, measured, scene.left, scene.right);
    const cv::Rect inside(30, 16, 270, 90);
    EXPECT_LT(cv::norm(found(inside), truth(inside), cv::NORM_L1) / inside.area(), 0.08);
    EXPECT_GT(cv::norm(whole(inside), truth(inside), cv::NORM_L1) / inside.area(), 0.2);
    EXPECT_EQ(cv::norm(found.rowRange(0, 10), whole.rowRange(0, 10), cv::NORM_INF), 0);
}

int clampedAt(const cv::Mat& image, int y, int x) {
    return image.at<short>(std::clamp(y, 0, image.rows - 1), std::clamp(x, 0, image.cols - 1));
}

// The fit pixel by pixel, from gradients.
float plainRefit(const cv::Mat& left, const cv::Mat& right, int y, int x, float disparity) {
    const int whole = cvRound(disparity);
    std::array<double, 3> sums{};
    for (int k = 0; k < 3; ++k)
        for (int i = y - 5; i <= y + 5; ++i)
            for (int j = x - 5; j <= x + 5; ++j)
                sums.at(static_cast<std::size_t>(k)) +=
                    std::abs(clampedAt(left, i, j) - clampedAt(right, i, j - (whole + k - 1)));
    const double slope = std::max(sums[0], sums[2]) - sums[1];
    if (whole > x || x - whole >= left.cols || sums[1] > std::min(sums[0], sums[2]))
        return disparity;
    return static_cast<float>(whole + (slope > 0 ? (sums[0] - sums[2]) / (2 * slope) : 0));
}

// Runs of 1, 16, 17 and 40 pixels from the first to the last column, at positive and negative
// disparities.
TEST(RefitSubpixels, IsThatOfEveryPixelAlone) {
    cv::Mat left, right(40, 93, CV_8UC1), disparity(right.size(), CV_32FC1);
    cv::GaussianBlur(makeNoise(right.size(), CV_8UC1, 3), left, {5, 5}, 1);
    for (int y = 0; y < right.rows; ++y) {
        const int shift = y < 20 ? 8 : -3;
        for (int x = 0; x < right.cols; ++x) {
            right.at<uchar>(y, x) = left.at<uchar>(y, std::clamp(x + shift, 0, right.cols - 1));
            const bool isOff = x == 0 || (x > 16 && x < 34) || x > 74;
            disparity.at<float>(y, x) = static_cast<float>(shift) + (isOff ? 1.2F : 0.1F);
        }
    }
    cv::Mat measured(right.size(), CV_8UC1, cv::Scalar(255)), gradients[2];
    measured.at<uchar>(10, 20) = 0;
    for (int side = 0; side < 2; ++side) {
        cv::Sobel(side == 0 ? left : right, gradients[side], CV_16S, 1, 0);
        gradients[side] = cv::max(cv::min(gradients[side], 31), -31);
    }
    const cv::Mat found = refitSubpixels(disparity, measured, left, right);
    cv::Mat expected = disparity.clone();
    for (int y = 0; y < expected.rows; ++y)
        for (int x = 0; x < expected.cols; ++x)
            if (measured.at<uchar>(y, x) != 0)
                expected.at<float>(y, x) =
                    plainRefit(gradients[0], gradients[1], y, x, disparity.at<float>(y, x));
    EXPECT_THAT(found, IsSameMatrix(expected));
    EXPECT_GT(cv::countNonZero(found != disparity), found.total() / 2);
}

TEST(EdgeFilter, HasNothingWhereNothingAgrees) {
    const cv::Mat left(30, 40, CV_32FC1, cv::Scalar(5)), right(30, 40, CV_32FC1, cv::Scalar(12));
    const auto filtered =
        filterAlongEdges(left, right, -3000, cv::Mat(30, 40, CV_8UC1, cv::Scalar(80)));
    EXPECT_EQ(cv::countNonZero(filtered.disparity >= -3000), 0);
    EXPECT_EQ(cv::countNonZero(filtered.confidence), 0);
}

TEST(GapFilling, JoinsEndsThatAreNear) {
    const auto none = std::numeric_limits<float>::quiet_NaN();
    cv::Mat disparity = (cv::Mat_<float>(2, 7) << none, 10, none, none, 11.5, none, 20,  //
                         none, 1, none, 3, none, none, none);
    cv::Mat measured = disparity == disparity;
    const cv::Mat all(disparity.size(), CV_8UC1, cv::Scalar(255));
    cv::Mat fillable = all.clone();
    fillable.at<uchar>(0, 3) = 0;
    fillGaps(disparity, measured, fillable, 2);
    const cv::Mat expected = (cv::Mat_<uchar>(2, 7) << 0, 1, 1, 0, 1, 0, 1,  //
                              0, 1, 1, 1, 0, 0, 0);
    EXPECT_THAT(measured, IsSameMatrix(expected * 255));
    EXPECT_FLOAT_EQ(disparity.at<float>(0, 2), 10.5);
    EXPECT_FLOAT_EQ(disparity.at<float>(1, 2), 2);

    cv::Mat wide(1, 40, CV_32FC1, cv::Scalar(7)), ends(1, 40, CV_8UC1, cv::Scalar(0));
    ends.at<uchar>(0, 0) = ends.at<uchar>(0, 34) = ends.at<uchar>(0, 37) = 255;
    fillGaps(wide, ends, cv::Mat(ends.size(), CV_8UC1, cv::Scalar(255)), 1);
    EXPECT_EQ(cv::countNonZero(ends), 5) << "33 are too many, 2 are not";

    cv::Mat speck(5, 5, CV_32FC1, cv::Scalar(4)), known(5, 5, CV_8UC1, cv::Scalar(255));
    speck.at<float>(2, 2) = 40;
    speck.at<float>(2, 3) = 90;
    known.at<uchar>(2, 3) = 0;
    const cv::Mat smooth = smoothByMedian(speck, known, 3);
    EXPECT_EQ(smooth.at<float>(2, 2), 4);
    EXPECT_EQ(smooth.at<float>(2, 3), 90) << "not measured, so as it was";
    // Rows without any, at the top too, don't count as what stands there.
    for (const int row : {0, 1, 3}) {
        known.row(row) = 0;
        speck.row(row) = 90;
    }
    EXPECT_EQ(cv::norm(smoothByMedian(speck, known, 5).row(2).colRange(0, 3),
                       cv::Mat(1, 3, CV_32FC1, cv::Scalar(4)), cv::NORM_INF),
              0);
}

}  // namespace
}  // namespace tiomipra::test
