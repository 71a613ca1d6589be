#include <gmock/gmock.h>

#include <functional>
#include <opencv2/calib3d.hpp>
#include <set>

#include "support/log_capture.hpp"
#include "support/matrices.hpp"
#include "support/rigs.hpp"
#include "support/scenes.hpp"

namespace tiomipra::test {
namespace {

using testing::IsEmpty;
using vision::Stereo;

// What the matchers are given.
struct Settings {
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

cv::Ptr<cv::StereoMatcher> makeMatcher(Stereo::StereoAlgorithm algorithm, const Settings& s) {
    if (algorithm == Stereo::SGBM) {
        return cv::StereoSGBM::create(s.minDisparity, s.disparities, s.window, s.P1, s.P2,
                                      s.disp12MaxDiff, s.preFilterCap, s.uniquenessRatio,
                                      s.speckleWindow, s.speckleRange, s.mode);
    }
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

cv::Mat matchDirectly(Stereo::StereoAlgorithm algorithm, const Settings& settings,
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
    Settings adapted;  // from default parameters and a calibrated width of 640
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
        if (isBlockMatching && adapted.window % 2 == 0) {
            lines.push_back("error " + prefix + "Error in block matching algorithm: " +
                            openCvComplaint([&] { match(scene); }));
        } else
            EXPECT_THAT(match(scene), IsSameMatrix(matchDirectly(GetParam(), adapted, scene)));
        EXPECT_EQ(log.takeLines(), lines);
    }
    EXPECT_THAT(_stereo._transforms, IsEmpty());
}

// A parameter at another value than the default, at half the calibrated width.
struct Variation {
    std::set<Stereo::StereoAlgorithm> matchers;  // whose result depends on the parameter
    std::function<void(Stereo&, int)> set;
    int value;
    std::vector<std::pair<int Settings::*, int>> adapted;
};

const Variation variations[] = {
    {both, &Stereo::setMinDisparity, -5, {{&Settings::minDisparity, -2}}},
    {both, &Stereo::setDisparityNumber, 48, {{&Settings::disparities, 32}}},
    {both, &Stereo::setDisparityNumber, 16, {{&Settings::disparities, 16}}},
    {both, &Stereo::setSpeckleWindowSize, 41, {{&Settings::speckleWindow, 20}}},
    {both, &Stereo::setSpeckleRange, 1, {{&Settings::speckleRange, 0}}},
    {both, &Stereo::setPreFilterCap, 9, {{&Settings::preFilterCap, 9}}},
    {both, &Stereo::setUniquenessRatio, 30, {{&Settings::uniquenessRatio, 30}}},
    {both,
     &Stereo::setWindowSize,
     9,
     {{&Settings::window, 7}, {&Settings::P1, 2134}, {&Settings::P2, 8536}}},
    // Changes nothing, as the default pre-filter has no window.
    {{}, &Stereo::setPreFilterSize, 5, {{&Settings::preFilterSize, 5}}},
    {{Stereo::BM}, &Stereo::setTextureThreshold, 9000, {{&Settings::textureThreshold, 9000}}},
    {{Stereo::SGBM}, &Stereo::setP1, 100, {{&Settings::P1, 81}}},
    {{Stereo::SGBM}, &Stereo::setP2, 4000, {{&Settings::P2, 3274}}},
    {{Stereo::SGBM}, &Stereo::setDisp12MaxDiff, 1000, {{&Settings::disp12MaxDiff, 1000}}},
    {{Stereo::SGBM}, &Stereo::setFullDP, 1, {{&Settings::mode, cv::StereoSGBM::MODE_HH}}}};

TEST_P(Disparity, TakesEveryParameter) {
    const Scene scene = makeDifficultScene({320, 240});
    const cv::Mat byDefault = match(scene);
    for (const auto& [matchers, set, value, adaptations] : variations) {
        Settings adapted = resolutions[2].adapted;
        for (const auto& [setting, adaptedValue] : adaptations)
            adapted.*setting = adaptedValue;
        _stereo.resetAllParameters();
        set(_stereo, value);
        const cv::Mat disparity = match(scene);
        EXPECT_THAT(disparity, IsSameMatrix(matchDirectly(GetParam(), adapted, scene))) << value;
        EXPECT_EQ(firstDifference(disparity, byDefault).empty(), matchers.count(GetParam()) == 0);
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
        const Scene scene{left, right};
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
}  // namespace tiomipra::test
