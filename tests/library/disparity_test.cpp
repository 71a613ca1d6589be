#include <gmock/gmock.h>

#include <array>
#include <functional>
#include <opencv2/calib3d.hpp>
#include <set>

#include "shared/adaptation.hpp"
#include "support/log_capture.hpp"
#include "support/matrices.hpp"
#include "support/rigs.hpp"
#include "support/scenes.hpp"

namespace tiomipra::test {
namespace {

using testing::IsEmpty;
using vision::Stereo;

cv::Ptr<cv::StereoMatcher> makeMatcher(const Stereo& s, const vision::AdaptedParameters& adapted) {
    const auto& [minDisparity, disparities, window, speckleWindow, speckleRange, P1, P2] = adapted;
    if (s.getStereoAlgorithm() == Stereo::SGBM) {
        return cv::StereoSGBM::create(
            minDisparity, disparities, window, P1, P2, s.getDisp12MaxDiff(), s.getPreFilterCap(),
            s.getUniquenessRatio(), speckleWindow, speckleRange,
            s.getFullDP() ? cv::StereoSGBM::MODE_HH : cv::StereoSGBM::MODE_SGBM);
    }
    const auto matcher = cv::StereoBM::create(disparities, window);
    matcher->setMinDisparity(minDisparity);
    matcher->setPreFilterCap(s.getPreFilterCap());
    matcher->setPreFilterSize(s.getPreFilterSize());
    matcher->setTextureThreshold(s.getTextureThreshold());
    matcher->setUniquenessRatio(s.getUniquenessRatio());
    matcher->setSpeckleWindowSize(speckleWindow);
    matcher->setSpeckleRange(speckleRange);
    return matcher;
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

cv::Mat match(const Stereo& stereo, const Scene& scene) {
    return stereo.computeDisparity(scene.left, scene.right);
}

void expectMatcherResult(const Stereo& stereo, const Scene& scene, int reductionFactor) {
    cv::Mat expected;
    const auto matcher = makeMatcher(stereo, vision::adapt(stereo, reductionFactor));
    matcher->compute(scene.left, scene.right, expected);
    expected.convertTo(expected, CV_32F, 1. / 16);
    EXPECT_THAT(match(stereo, scene), IsSameMatrix(expected)) << scene.left.cols;
}

TEST(Disparity, IsThatOfTheMatcherWithAdaptedParameters) {
    const std::string function = " vision.stereo computeDisparity: ";
    const std::string line = "verbose" + function + "Compute block matcher";
    LogCapture log;
    OpenStereo stereo(makeRig());
    stereo.setMinDisparity(1);
    const std::pair<cv::Size, int> images[] = {{{640, 480}, 1}, {{480, 360}, 1}, {{320, 240}, 2},
                                               {{213, 160}, 3}, {{160, 120}, 4}, {{80, 60}, 8}};
    for (const auto& [size, reductionFactor] : images) {
        const Scene scene = makeDifficultScene(size);
        stereo.setStereoAlgorithm(Stereo::SGBM);
        expectMatcherResult(stereo, scene, reductionFactor);
        stereo.setStereoAlgorithm(Stereo::BM);
        std::vector<testing::Matcher<std::string>> lines{line + " (SGBM)...", line + "..."};
        if (reductionFactor == 3) {  // It makes the window even.
            EXPECT_THROW(match(stereo, scene), cv::Exception);
            lines.push_back(testing::StartsWith("error" + function +
                                                "Error in block matching algorithm: OpenCV("));
        } else
            expectMatcherResult(stereo, scene, reductionFactor);
        EXPECT_THAT(log.takeLines(), testing::ElementsAreArray(lines));
    }
    EXPECT_THAT(stereo._transforms, IsEmpty());
}

// A parameter at another value than the default.
struct Variation {
    std::set<Stereo::StereoAlgorithm> matchers;  // whose result depends on the parameter
    std::function<void(Stereo&, int)> set;
    int value;
};

TEST(Disparity, TakesEveryParameter) {
    const std::set both = {Stereo::BM, Stereo::SGBM};
    const Variation variations[] = {{both, &Stereo::setMinDisparity, -5},
                                    {both, &Stereo::setDisparityNumber, 48},
                                    {both, &Stereo::setSpeckleWindowSize, 41},
                                    {both, &Stereo::setSpeckleRange, 1},
                                    {both, &Stereo::setPreFilterCap, 9},
                                    {both, &Stereo::setUniquenessRatio, 30},
                                    {both, &Stereo::setWindowSize, 9},
                                    // The default pre-filter has no window.
                                    {{}, &Stereo::setPreFilterSize, 5},
                                    {{Stereo::BM}, &Stereo::setTextureThreshold, 9000},
                                    {{Stereo::SGBM}, &Stereo::setP1, 100},
                                    {{Stereo::SGBM}, &Stereo::setP2, 4000},
                                    {{Stereo::SGBM}, &Stereo::setDisp12MaxDiff, 1000},
                                    {{Stereo::SGBM}, &Stereo::setFullDP, 1}};
    const Scene scene = makeDifficultScene({320, 240});
    OpenStereo stereo(makeRig());
    for (const auto algorithm : both) {
        stereo.setStereoAlgorithm(algorithm);
        stereo.resetAllParameters();
        const cv::Mat byDefault = match(stereo, scene);
        for (const auto& [matchers, set, value] : variations) {
            stereo.resetAllParameters();
            set(stereo, value);
            expectMatcherResult(stereo, scene, 2);
            const bool isSame = firstDifference(match(stereo, scene), byDefault).empty();
            EXPECT_EQ(isSame, matchers.count(algorithm) == 0) << value;
        }
    }
}

// OpenCV's block matching writes no result when there are columns to match but no room for its
// window.
TEST(Disparity, HoldsNothingThatWasInMemoryBefore) {
    const cv::Size size(100, 64);
    OpenStereo stereo(makeRig({size}));
    stereo.setMinDisparity(1);
    const cv::Mat image = makeNoise(size, CV_8UC1, 1);
    for (int i = 0; i < 8; ++i)
        cv::Mat(size, CV_16SC1, cv::Scalar(1234));
    EXPECT_THAT(stereo.computeDisparity(image, image),
                IsSameMatrix(cv::Mat(size, CV_32FC1, cv::Scalar(0))));
}

TEST(Disparity, OfAnUnknownAlgorithmIsEmpty) {
    LogCapture log;
    Stereo uncalibrated;
    uncalibrated.setStereoAlgorithm(static_cast<Stereo::StereoAlgorithm>(2));
    const cv::Mat image = cv::Mat::zeros(480, 640, CV_8UC1);
    EXPECT_TRUE(uncalibrated.computeDisparity(image, image).empty());
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

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
                    testing::ElementsAre(expected[0], adapted.minDisparity, adapted.disparityNumber,
                                         adapted.windowSize, adapted.speckleWindowSize,
                                         adapted.speckleRange, adapted.P1, adapted.P2));
    }
    stereo.setDisparityNumber(32);
    EXPECT_EQ(vision::adapt(stereo, 8).disparityNumber, 16);
}

}  // namespace
}  // namespace tiomipra::test
