// From raw pairs of known depth to what was measured.
#include "matching/pair_matcher.hpp"

#include <gmock/gmock.h>

#include <cmath>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "base/errors.hpp"
#include "matching/depth_map.hpp"
#include "matching/image_reduction.hpp"
#include "matching/matcher_presets.hpp"
#include "matching/matcher_setup.hpp"
#include "matching/measured_pixels.hpp"
#include "sample_rig.hpp"
#include "support/matrices.hpp"
#include "support/scenes.hpp"

namespace tiomipra::test {
namespace {

using testing::Contains;
using testing::HasSubstr;
using vision::Stereo;

Frame frameOf(const cv::Mat& left, const cv::Mat& right) {
    return {"1", "left.png", "right.png", {}, [=] { return StereoImages{left, right}; }};
}

// A disparity of 25 in the rectified images.
Scene scenePlane(const cv::Size& size = {640, 480}) {
    SceneOptions options;
    options.size = size;
    options.planes = {{25}};
    return renderScene(options);
}

// What the raw cameras see of it.
StereoImages rawViews(const Rig& rig) {
    const Scene scene = scenePlane();
    return {renderRawView(scene.left, rig.left), renderRawView(scene.right, rig.right)};
}

class Matchers : public testing::Test {
  protected:
    PairMatcher matcherFor(const std::string& preset, const std::string& range, int scale,
                           const Rig& rig) {
        MatcherSettings settings = rangeOf(range, scale);
        settings.values = valuesOfPreset(preset);
        return {settings, rig, [this](const std::string& notice) { _notices.push_back(notice); }};
    }

    std::vector<std::string> _notices;
};

// How far from the pixel its point projects.
double distanceFrom(const cv::Point& pixel, const DepthMap& map, const DepthCamera& camera) {
    const auto point = map.points.at<cv::Vec3f>(pixel);
    const cv::Point2d place(point[0] / point[2], point[1] / point[2]);
    return cv::norm(place * camera.focalLength + camera.centre - cv::Point2d(pixel));
}

// With an offset between the principal points; what is beyond 5 is removed.
TEST(DepthMaps, FollowFromTheirCamera) {
    RigOptions options;
    options.rightCentreX = 300.25F;
    const auto stereo = makeStereo(rangeOf("1..5"), sampleRig(options));
    for (const int width : {640, 320, 160}) {
        Match match;
        match.disparity.create(width * 3 / 4, width, CV_32FC1);
        cv::randu(match.disparity, width / 20., width / 8.);
        match.measured = cv::Mat(match.disparity.size(), CV_8UC1, cv::Scalar(255));
        match.measured.row(0) = 0;
        match.reasons = (match.measured == 0) & 1;
        const DepthMap map = computeDepthMap(match, *stereo);
        const DepthCamera camera = depthCamera(*stereo, match.disparity.size());
        EXPECT_NEAR(camera.baseline, 0.125, 1e-7);
        EXPECT_NEAR(camera.disparityAtInfinity, width / 32., 1e-4);
        cv::Mat depth = camera.focalLength * 0.125 / (match.disparity - width / 32.);
        const cv::Mat isKept = match.measured & (depth > 0) & (depth <= 5);
        EXPECT_LT(cv::countNonZero(isKept), static_cast<int>(isKept.total()) - 2 * width);
        EXPECT_EQ(cv::norm(map.measured, isKept, cv::NORM_INF), 0);
        EXPECT_LT(cv::norm(map.depth, depth, cv::NORM_INF, isKept), 1e-3);
        EXPECT_LT(distanceFrom({width / 2, width / 4}, map, camera), 1e-2);
    }
}

// The unit and the maximum depth give the step.
TEST(DepthMaps, HaveAPngStepThatFitsTheUnit) {
    const struct {
        std::optional<std::string> unit;
        double maxDepth, step;
    } cases[] = {{"m", 5, 0.001},    {"m", 300, 0.001}, {"", 65.535, 0.001},
                 {"", 65.536, 0.01}, {{}, 5000, 0.1},   {{}, 6553.6, 1},
                 {"mm", 70000, 10},  {{}, 0.02, 0.001}, {{}, INFINITY, 0.001}};
    for (const auto& [unit, maxDepth, step] : cases)
        EXPECT_DOUBLE_EQ(depthPngStep(unit, maxDepth), step) << maxDepth;
}

// Without a principal point it is the middle; Z is f B / (disparity + centre offset).
TEST_F(Matchers, RectifiedCamerasMeasureWithoutCalibrations) {
    RectifiedCameras cameras{400, {0.16, metres}, 7, {}};
    const struct {
        cv::Size size;
        int scale;
        std::optional<cv::Point2d> centre, expected;
    } cases[] = {{{640, 480}, 1, {}, {{319.5, 239.5}}},
                 {{333, 251}, 2, {{170, 120}}, {{170, 120}}},
                 {{333, 251}, 2, {}, {{166, 125}}}};
    for (const auto& [size, scale, centre, expected] : cases) {
        cameras.centre = centre;
        const Scene scene = scenePlane(size);
        PairMatcher matcher =
            matcherFor("balanced", "100cm..5m", scale, rectifiedRig(cameras, {4000, 3000}));
        const Match match = matcher.match(frameOf(scene.left, scene.right));
        const DepthMap map = computeDepthMap(match, matcher.stereo());
        EXPECT_NEAR(cv::mean(map.depth, map.measured)[0], 64. / 32, 0.02);
        const DepthCamera camera{400. / scale, *expected / scale};
        EXPECT_LT(distanceFrom(cv::Point(200, 150) / scale, map, camera), 1e-2);
    }
    const auto refusal = [](const char* text) {
        return testing::ThrowsMessage<SettingError>(HasSubstr(text));
    };
    cameras.baseline.unit = "";
    const Rig ofOwnUnit = rectifiedRig(cameras, {640, 480});
    EXPECT_THAT([&] { makeStereo(rangeOf("1m..5m"), ofOwnUnit); },
                refusal("the baseline in your own unit"));
    cameras.focal = 1e200;
    EXPECT_THAT(([&] { rectifiedRig(cameras, {640, 480}); }), refusal("is not finite"));
}

// Pixels of the rectified image that blend the raw one with black beyond its edge are left out too.
TEST_F(Matchers, TheBlackMarginIsNotMeasured) {
    Rig rig = sampleRig();
    for (vision::Calibration* camera : {&rig.left, &rig.right}) {
        camera->cameraMatrix.at<float>(0, 0) *= 1.3F;  // the raw images show less
        camera->cameraMatrix.at<float>(1, 1) *= 1.3F;
    }
    const auto [left, right] = rawViews(rig);
    PairMatcher matcher = matcherFor("fast", "1..5", 1, rig);
    const Match match = matcher.match(frameOf(left, right));
    EXPECT_GT(cv::countNonZero(match.measured), 100000);
    const cv::Mat white(left.size(), CV_8UC1, cv::Scalar(255));
    const cv::Mat seen = matcher.stereo().rectifyImageLeft(white);
    const cv::Mat notSeen = seen < 255, blended = notSeen & (seen > 0);
    ASSERT_GT(cv::countNonZero(blended), 100);
    EXPECT_EQ(cv::countNonZero(match.measured & notSeen), 0);
}

TEST_F(Matchers, ImagesOfAnySizeAreMeasuredAtEveryScale) {
    const struct {
        cv::Size size;
        std::string preset;
        int scale;
        int minDisparity;  // floor(62.5 / 3 * width / 640), of the images before their reduction
        cv::Size matched;
    } cases[] = {
        {{640, 480}, "fast", 4, 20, {160, 120}},     {{640, 480}, "balanced", 2, 20, {320, 240}},
        {{640, 480}, "accurate", 4, 20, {160, 120}}, {{400, 300}, "balanced", 1, 13, {400, 300}},
        {{600, 450}, "balanced", 4, 19, {150, 112}}, {{1280, 960}, "fast", 1, 41, {1280, 960}}};
    const Rig rig = sampleRig();
    const StereoImages raw = rawViews(rig);
    for (const auto& [size, preset, scale, minDisparity, matched] : cases) {
        StereoImages images;
        cv::resize(raw.left, images.left, size, 0, 0, cv::INTER_AREA);
        cv::resize(raw.right, images.right, size, 0, 0, cv::INTER_AREA);
        cv::cvtColor(images.left, images.left, cv::COLOR_GRAY2BGR);  // one in colour, one grey
        _notices.clear();
        PairMatcher matcher = matcherFor(preset, "2..3", scale, rig);
        const Match match = matcher.match(frameOf(images.left, images.right));
        EXPECT_EQ(match.left.size(), matched);
        EXPECT_EQ(match.left.type(), CV_8UC3);
        EXPECT_EQ(matcher.stereo().getMinDisparity(), minDisparity);
        const DepthMap map = computeDepthMap(match, matcher.stereo());
        EXPECT_GT(cv::countNonZero(map.measured), matched.area() * 6 / 10);
        // An eighth of a pixel of what is matched; a quarter where the images were resampled.
        const double pixels = size.width == 640 ? 0.125 : 0.25;
        EXPECT_NEAR(cv::mean(map.depth, map.measured)[0], 2.5, pixels * 64 / matched.width);
        const auto isCut = Contains(HasSubstr("of 600x450 pixels 600x448 are matched"));
        EXPECT_EQ(testing::Value(_notices, isCut), matched.width == 150);
        EXPECT_LT(distanceFrom({matched.width * 3 / 4, matched.height / 2}, map,
                               depthCamera(matcher.stereo(), matched)),
                  1e-2);
    }
}

// The object is fitted to each size anew, and never used for a size that it was not fitted to.
TEST_F(Matchers, NoticesTellWhatWasFittedToEachSize) {
    const Rig rig = sampleRig();
    const auto [left, right] = rawViews(rig);
    PairMatcher matcher = matcherFor("balanced", "0.2..5", 2, rig);
    const cv::Mat first = matcher.match(frameOf(left, right)).measured;
    matcher.match(frameOf(left, right));
    using testing::StartsWith;
    EXPECT_THAT(_notices, testing::ElementsAre(StartsWith("note: speckle-range is 2"),
                                               StartsWith("depths from ")))
        << "once for one size; nothing of the window, as three-way has a block of its own";
    EXPECT_EQ(matcher.parameters()[1].value, Parameter::Value(7)) << "window-size";

    const cv::Mat tiny = left(cv::Rect(0, 0, 64, 48));  // narrower than the search
    EXPECT_NO_THROW(matcher.match(frameOf(tiny, tiny)));
    const cv::Mat one(3, 4, CV_8UC1, cv::Scalar(7));
    EXPECT_THROW(matcher.match(frameOf(one, one)), SettingError);
    const cv::Mat wide = left.rowRange(0, 400);
    EXPECT_THAT([&] { matcher.match(frameOf(wide, wide)); },
                testing::ThrowsMessage<InputError>(HasSubstr("'left.png' is 640x400")));
    EXPECT_EQ(cv::norm(matcher.match(frameOf(left, right)).measured, first, cv::NORM_INF), 0);
}

TEST(Matching, UniformImagesUnseenPixelsAndUnmatchableColumnsAreNotMeasured) {
    const cv::Size size(320, 240);
    SceneOptions options;
    options.size = size;
    const Scene scene = renderScene(options);
    const cv::Mat uniform(size, CV_8UC1, cv::Scalar(90));
    cv::Mat seen(size, CV_8UC1, cv::Scalar(254));
    seen.rowRange(100, 140) = 255;
    for (const auto algorithm : {Stereo::BM, Stereo::SGBM}) {
        const auto stereo = makeStereo(settingsOf({{"algorithm", algorithm},
                                                   {"texture-threshold", 0},
                                                   {"uniqueness-ratio", 0},
                                                   {"speckle-window-size", 0},
                                                   {"min-disparity", 20}}),
                                       size);
        EXPECT_EQ(cv::countNonZero(matchPair(*stereo, {uniform, uniform}, {}, 1).measured), 0);
        const Match match = matchPair(*stereo, {scene.left, scene.right}, {}, 1);
        const cv::Mat& measured = match.measured;
        EXPECT_EQ(cv::countNonZero(measured & (match.disparity < 20)), 0);
        EXPECT_GT(cv::countNonZero(measured), size.area() / 2);
        // Disparities up to 99 are searched.
        EXPECT_EQ(cv::countNonZero(measured.colRange(0, 99)), 0);
        EXPECT_GT(cv::countNonZero(measured.colRange(99, 110)), 0);
        const cv::Mat inBand =
            matchPair(*stereo, {scene.left, scene.right}, {seen, {}}, 1).measured;
        EXPECT_EQ(cv::countNonZero(inBand), cv::countNonZero(measured.rowRange(100, 140)));
    }
}

// A step has its gradient in two columns: whichever its height, it counts as the cap.
TEST(FindTextured, GradientsCountUpToTheCap) {
    cv::Mat step(20, 40, CV_8UC1, cv::Scalar(10));
    step.colRange(20, 40) = 210;
    for (const int threshold : {309, 310, 311}) {
        const cv::Mat found = findTextured(step, 5, 31, threshold);
        EXPECT_EQ(found.at<uchar>(10, 20) != 0, threshold <= 2 * 5 * 31) << threshold;
        EXPECT_EQ(found.at<uchar>(10, 30), 0);
    }
}

// Scaled calibrations put pixel (x, y) at (x / scale, y / scale): so must the scaled images.
TEST(ImageReduction, KeepsTheGeometry) {
    cv::Mat ramp(97, 131, CV_8UC1);
    for (int x = 0; x < ramp.cols; ++x)
        ramp.col(x) = x;
    for (const int scale : {1, 2, 4}) {
        for (const cv::Mat& image : {ramp, cv::Mat(ramp.t())}) {
            const cv::Mat reduced = reduce(image, scale);
            EXPECT_EQ(reduced.size(), image.size() / scale);
            EXPECT_EQ(reduced.at<uchar>(10, 15), image.at<uchar>(10 * scale, 15 * scale));
        }
    }
}

TEST(MeasuredPixels, HoldPointsThatAreFiniteAndNotRemoved) {
    const cv::Mat points =
        (cv::Mat_<cv::Vec3f>(1, 5) << cv::Vec3f(1, 2, 3), cv::Vec3f(0, 0, 0), cv::Vec3f(0, 0, 3),
         cv::Vec3f(1, infinity, 3), cv::Vec3f(1, 2, std::nanf("")));
    const cv::Mat expected = (cv::Mat_<uchar>(1, 5) << 255, 0, 255, 0, 0);
    EXPECT_EQ(cv::norm(findPoints(points), expected, cv::NORM_INF), 0);
    const cv::Mat disparity = (cv::Mat_<float>(1, 4) << 4, 5, infinity, std::nanf(""));
    EXPECT_EQ(cv::countNonZero(findMatched(disparity, 5)), 1);
}

}  // namespace
}  // namespace tiomipra::test
