#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "support/log_capture.hpp"
#include "support/matrices.hpp"
#include "support/rigs.hpp"
#include "support/scenes.hpp"

namespace tiomipra::test {
namespace {

using testing::IsEmpty;
using vision::Stereo;

// Rows of disparities from -20 to 300 with NaN, infinities and zeros among them, finer below 10;
// two of them lie at a depth of 4 and just beyond it.
cv::Mat makeDisparity(const cv::Size& size) {
    cv::Mat disparity = makeNoise(size, CV_32FC1, 5);
    cv::Mat fine = disparity.rowRange(0, size.height / 2);
    fine /= 32;
    disparity.at<float>(0, 0) = 24.75F;  // 64 / 4 + the centres' difference
    disparity.at<float>(0, 1) = std::nextafter(24.75F, 0.F);
    return disparity;
}

TEST(Depth, IsTheReprojectionWithinTheMeasuredRange) {
    RigOptions options;
    options.focalLength = 512.F;
    options.rightCentreX = 311.5F;
    OpenStereo stereo(makeRig(options));
    for (const cv::Size size : {cv::Size(640, 480), cv::Size(320, 240), cv::Size(212, 159)}) {
        const cv::Mat reprojection = stereo.computeImageTransforms(size).reprojectionMatrix;
        const cv::Mat disparity = withRowStep(makeDisparity(size));
        for (const float maxDepth : {0.5F, 4.F, infinity, std::nanf("")}) {
            for (const int minDisparity : {-3, 0, 1, 40}) {
                stereo.setMaxDepth(maxDepth);
                stereo.setMinDisparity(minDisparity);
                const float ratio = static_cast<float>(size.width) / 640.F;
                const float limit = static_cast<float>(minDisparity) * ratio;
                EXPECT_THAT(
                    stereo.computeDepth(disparity),
                    IsSameMatrix(reprojectByOpenCv(disparity, reprojection, maxDepth, limit)))
                    << size << maxDepth << ' ' << minDisparity;
            }
        }
    }
}

TEST(Depth, OfAPlaneIsMetric) {
    const CalibrationPair rig = makeRig();  // f = 500, baseline 0.125: 20 pixels are 3.125 away
    OpenStereo stereo(rig);
    const Scene scene = renderScene({});
    const auto [left, right] = stereo.rectifyImages(renderRawView(scene.left, rig.left),
                                                    renderRawView(scene.right, rig.right));
    const cv::Rect inside(120, 100, 420, 280);
    for (const auto algorithm : {Stereo::BM, Stereo::SGBM}) {
        stereo.setStereoAlgorithm(algorithm);
        const cv::Mat points = stereo.computeDepth(stereo.computeDisparity(left, right));
        int measured = 0;
        for (int i = 0; i < inside.area(); ++i) {
            const cv::Point pixel = inside.tl() + cv::Point(i % inside.width, i / inside.width);
            const auto& point = points.at<cv::Vec3f>(pixel);
            if (point == cv::Vec3f())
                continue;
            ++measured;
            ASSERT_NEAR(point[2], 3.125, 0.05) << pixel;
            ASSERT_NEAR(point[0], (static_cast<float>(pixel.x) - 320.25F) / 500 * point[2], 1e-4);
            ASSERT_NEAR(point[1], (static_cast<float>(pixel.y) - 236.5F) / 500 * point[2], 1e-4);
        }
        EXPECT_GT(measured, 0.95 * inside.area());
    }
}

TEST(Depth, RefusesWhatIsNoDisparity) {
    LogCapture log;
    const OpenStereo stereo(makeRig());
    for (const int type : {CV_16SC1, CV_32FC2}) {
        EXPECT_THAT([&] { (void)stereo.computeDepth(cv::Mat::zeros(480, 640, type)); },
                    Refuses<std::invalid_argument>("Wrong disparity image type, need CV_32FC1."));
    }
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

}  // namespace
}  // namespace tiomipra::test
