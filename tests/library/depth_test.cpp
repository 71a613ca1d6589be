#include <gmock/gmock.h>

#include <cmath>

#include "support/matrices.hpp"
#include "support/rigs.hpp"
#include "support/scenes.hpp"

namespace tiomipra::test {
namespace {

using vision::Stereo;

TEST(Depth, IsTheReprojectionWithinTheMeasuredRange) {
    RigOptions options;
    options.focalLength = 512.F;
    options.rightCentreX = 311.5F;
    OpenStereo stereo(makeRig(options));
    for (const cv::Size size : {cv::Size(640, 480), {320, 240}, {212, 159}}) {
        const float scale = static_cast<float>(size.width) / 640.F;
        const cv::Mat reprojection = stereo.computeImageTransforms(size).reprojectionMatrix;
        cv::Mat disparity = makeNoise(size, CV_32FC1, 5);
        disparity.at<float>(0, 0) = 24.75F * scale;  // (64 / 4 + the centres' difference) pixels
        disparity.at<float>(0, 1) = std::nextafter(24.75F * scale, 0.F);
        for (const float maxDepth : {4.F, infinity}) {
            for (const int minDisparity : {-3, 40}) {
                stereo.setMaxDepth(maxDepth);
                stereo.setMinDisparity(minDisparity);
                const float limit = static_cast<float>(minDisparity) * scale;
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

}  // namespace
}  // namespace tiomipra::test
