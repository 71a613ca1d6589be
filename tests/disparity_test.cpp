#include <gmock/gmock.h>

#include <opencv2/calib3d.hpp>
#include <set>

#include "support/log_capture.hpp"
#include "support/matrices.hpp"
#include "support/rigs.hpp"
#include "support/scenes.hpp"

namespace {

using testing::IsEmpty;
using vision::Stereo;

// What the matchers are given.
struct MatcherSettings {
    int minDisparity = 1;
    int disparities = 80;
    int window = 21;
    int speckleWindow = 400;
    int speckleRange = 10;
    int P1 = 3528;
    int P2 = 14112;
    int preFilterCap = 45;
    int preFilterSize = 25;
    int textureThreshold = 1;
    int uniquenessRatio = 2;
    int disp12MaxDiff = 0;
    int mode = cv::StereoSGBM::MODE_SGBM;
};

cv::Ptr<cv::StereoMatcher> makeMatcher(Stereo::StereoAlgorithm algorithm,
                                       const MatcherSettings& s) {
    if (algorithm == Stereo::SGBM)
        return cv::StereoSGBM::create(s.minDisparity, s.disparities, s.window, s.P1, s.P2,
                                      s.disp12MaxDiff, s.preFilterCap, s.uniquenessRatio,
                                      s.speckleWindow, s.speckleRange, s.mode);
    const auto matcher = cv::StereoBM::create(s.disparities, s.window);
    matcher->setMinDisparity(s.minDisparity);
    matcher->setPreFilterCap(s.preFilterCap);
    matcher->setPreFilterSize(s.preFilterSize);
    matcher->setTextureThreshold(s.textureThreshold);
    matcher->setUniquenessRatio(s.uniquenessRatio);
    matcher->setSpeckleWindowSize(s.speckleWindow);
    matcher->setSpeckleRange(s.speckleRange);
    return matcher;
}

cv::Mat matchDirectly(Stereo::StereoAlgorithm algorithm, const MatcherSettings& settings,
                      const Scene& scene) {
    cv::Mat sixteenths;
    makeMatcher(algorithm, settings)->compute(scene.left, scene.right, sixteenths);
    cv::Mat pixels;
    sixteenths.convertTo(pixels, CV_32F, 1. / 16);
    return pixels;
}

// Two walls and a noisy right image, so that every parameter of the matchers makes a difference.
Scene makeDifficultScene(const cv::Size& size) {
    const float scale = static_cast<float>(size.width) / 640.F;
    SceneOptions options;
    options.size = size;
    options.planes = {{56 * scale, 0, size.width / 3, size.width * 2 / 3}, {14 * scale, .03F}};
    Scene scene = renderScene(options);
    cv::Mat noise(size, CV_16SC1);
    cv::RNG(3).fill(noise, cv::RNG::NORMAL, 0, 14);
    cv::add(scene.right, noise, scene.right, cv::noArray(), CV_8U);
    for (const cv::Mat& image : {scene.left, scene.right}) {
        cv::Mat top = image.rowRange(0, size.height / 4);
        top.convertTo(top, -1, 0.08, 100);
    }
    return scene;
}

struct Resolution {
    cv::Size size;
    MatcherSettings adapted;  // from default parameters and a calibrated width of 640
};

const Resolution resolutions[] = {{{640, 480}, {1, 80, 21, 400, 10, 3528, 14112}},
                                  {{480, 360}, {1, 80, 21, 400, 10, 3528, 14112}},
                                  {{320, 240}, {0, 64, 19, 200, 5, 2888, 11552}},
                                  {{213, 160}, {0, 48, 18, 133, 3, 2592, 10368}},
                                  {{160, 120}, {0, 48, 17, 100, 2, 2312, 9248}},
                                  {{80, 60}, {0, 32, 13, 50, 1, 1352, 5408}}};

const std::set<Stereo::StereoAlgorithm> both = {Stereo::BM, Stereo::SGBM};

class Disparity : public testing::TestWithParam<Stereo::StereoAlgorithm> {
  protected:
    Disparity() : _stereo(makeRig()) {
        _stereo.setMinDisparity(1);
        _stereo.setStereoAlgorithm(GetParam());
    }

    cv::Mat match(const Scene& scene) const {
        return _stereo.computeDisparity(scene.left, scene.right);
    }

    OpenStereo _stereo;
};

INSTANTIATE_TEST_SUITE_P(Matchers, Disparity, testing::Values(Stereo::BM, Stereo::SGBM),
                         [](const auto& algorithm) {
                             return algorithm.param == Stereo::BM ? "BM" : "SGBM";
                         });

TEST_P(Disparity, IsThatOfTheMatcherWithAdaptedParameters) {
    const bool isBlockMatching = GetParam() == Stereo::BM;
    const std::string prefix = "vision.stereo computeDisparity: ";
    LogCapture log;
    for (const auto& [size, adapted] : resolutions) {
        SCOPED_TRACE(size.width);
        const Scene scene = makeDifficultScene(size);
        std::vector<std::string> lines{"verbose " + prefix + "Compute block matcher" +
                                       (isBlockMatching ? "..." : " (SGBM)...")};
        if (isBlockMatching && adapted.window % 2 == 0)
            lines.push_back("error " + prefix + "Error in block matching algorithm: " +
                            openCvComplaint([&] { match(scene); }));
        else
            EXPECT_THAT(match(scene), IsSameMatrix(matchDirectly(GetParam(), adapted, scene)));
        EXPECT_EQ(log.takeLines(), lines);
    }
    EXPECT_THAT(_stereo._transforms, IsEmpty());
}

// A parameter at another value than the default, at half the calibrated width.
struct Variation {
    std::set<Stereo::StereoAlgorithm> matchers;  // that use it
    void (Stereo::*set)(int);
    int value;
    int MatcherSettings::*setting;
    int adaptedValue;
};

const Variation variations[] = {
    {both, &Stereo::setMinDisparity, -5, &MatcherSettings::minDisparity, -2},
    {both, &Stereo::setDisparityNumber, 48, &MatcherSettings::disparities, 32},
    {both, &Stereo::setDisparityNumber, 16, &MatcherSettings::disparities, 16},
    {both, &Stereo::setSpeckleWindowSize, 41, &MatcherSettings::speckleWindow, 20},
    {both, &Stereo::setSpeckleRange, 1, &MatcherSettings::speckleRange, 0},
    {both, &Stereo::setPreFilterCap, 9, &MatcherSettings::preFilterCap, 9},
    {both, &Stereo::setUniquenessRatio, 30, &MatcherSettings::uniquenessRatio, 30},
    // The default pre-filter has no window.
    {{}, &Stereo::setPreFilterSize, 5, &MatcherSettings::preFilterSize, 5},
    {{Stereo::BM}, &Stereo::setTextureThreshold, 9000, &MatcherSettings::textureThreshold, 9000},
    {{Stereo::SGBM}, &Stereo::setP1, 100, &MatcherSettings::P1, 81},
    {{Stereo::SGBM}, &Stereo::setP2, 4000, &MatcherSettings::P2, 3274},
    {{Stereo::SGBM}, &Stereo::setDisp12MaxDiff, 1000, &MatcherSettings::disp12MaxDiff, 1000}};

TEST_P(Disparity, TakesEveryNumber) {
    const Scene scene = makeDifficultScene({320, 240});
    const cv::Mat byDefault = match(scene);
    for (const auto& [matchers, set, value, setting, adaptedValue] : variations) {
        SCOPED_TRACE(std::to_string(value) + " becomes " + std::to_string(adaptedValue));
        _stereo.resetAllParameters();
        (_stereo.*set)(value);
        MatcherSettings adapted = resolutions[2].adapted;
        adapted.*setting = adaptedValue;
        const cv::Mat disparity = match(scene);
        EXPECT_THAT(disparity, IsSameMatrix(matchDirectly(GetParam(), adapted, scene)));
        EXPECT_EQ(firstDifference(disparity, byDefault).empty(), matchers.count(GetParam()) == 0);
    }
}

TEST_P(Disparity, TakesTheWindowSizeAndTheMode) {
    const Scene scene = makeDifficultScene({320, 240});
    MatcherSettings adapted = resolutions[2].adapted;
    _stereo.setFullDP(true);
    adapted.mode = cv::StereoSGBM::MODE_HH;
    EXPECT_THAT(match(scene), IsSameMatrix(matchDirectly(GetParam(), adapted, scene)));
    _stereo.setWindowSize(9);
    adapted.window = 7;
    adapted.P1 = 2134;
    adapted.P2 = 8536;
    EXPECT_THAT(match(scene), IsSameMatrix(matchDirectly(GetParam(), adapted, scene)));
}

TEST_P(Disparity, FindsRenderedSurfaces) {
    const std::vector<Plane> scenes[] = {
        {{20.F}}, {{23.4F}}, {{12.F, .05F}}, {{40.F, 0.F, 250, 420}, {15.F}}};
    for (const auto& planes : scenes) {
        SceneOptions options;
        options.planes = planes;
        const Scene scene = renderScene(options);
        const cv::Rect inside(100, 20, 520, 440);
        const cv::Mat measured = match(scene)(inside);
        const cv::Mat error = cv::abs(measured - scene.disparity(inside));
        const cv::Mat isMatched = measured >= 1;
        const cv::Mat isWrong = isMatched & (error > 1);
        const int matched = cv::countNonZero(isMatched);
        EXPECT_GT(matched, 0.9 * inside.area());
        EXPECT_LT(cv::countNonZero(isWrong), (planes.size() == 1 ? 0.001 : 0.05) * matched);
        // Semi-global matching favours whole pixels, the more so on a slope.
        EXPECT_LT(cv::mean(error, isMatched & ~isWrong)[0], GetParam() == Stereo::BM ? 0.1 : 0.4);
    }
}

TEST_P(Disparity, RefusesImagesThatDoNotFit) {
    const cv::Mat grey(480, 640, CV_8UC1);
    const cv::Mat colour(480, 640, CV_8UC3);
    const cv::Mat deep(480, 640, CV_16UC1);
    const cv::Mat lower(479, 640, CV_8UC1);
    const cv::Mat wider(480, 641, CV_8UC1);
    const char* const size = "Both image don't have the same size.";
    const char* const sizeLog = "Both images must have the same size.";
    const char* const type = "Wrong rectify type, need CV_8UC1 rectify.";
    const char* const wide =
        "left image is 641 pixels wide, must be at most as wide as the calibration, which is 640 "
        "pixels wide";
    const char* const narrow = "left image is 0 pixels wide, must be at least 1 pixel wide";
    const std::tuple<cv::Mat, cv::Mat, std::string, std::string> cases[] = {
        {grey, lower, size, sizeLog}, {colour, lower, size, sizeLog}, {grey, colour, type, ""},
        {colour, grey, type, ""},     {deep, deep, type, ""},         {wider, wider, wide, wide},
        {{}, {}, narrow, narrow}};
    LogCapture log(tevo::LogLevel::error);
    for (const auto& [left, right, exceptionText, logText] : cases) {
        const Scene scene{left, right, {}};
        EXPECT_THAT([&] { (void)match(scene); }, Refuses<std::invalid_argument>(exceptionText));
        std::vector<std::string> expected;
        if (!logText.empty())
            expected.push_back("error vision.stereo computeDisparity: " + logText);
        EXPECT_EQ(log.takeLines(), expected);
    }
    EXPECT_THROW((void)Stereo().computeDisparity(grey, grey), std::invalid_argument);
}

TEST(UnknownAlgorithm, GivesAnEmptyImage) {
    LogCapture log;
    Stereo uncalibrated;
    uncalibrated.setStereoAlgorithm(static_cast<Stereo::StereoAlgorithm>(2));
    const cv::Mat image = cv::Mat::zeros(480, 640, CV_8UC1);
    EXPECT_TRUE(uncalibrated.computeDisparity(image, image).empty());
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

}  // namespace
