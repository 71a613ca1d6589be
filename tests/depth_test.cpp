#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "support/log_capture.hpp"
#include "support/matrices.hpp"
#include "support/rigs.hpp"
#include "support/scenes.hpp"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vision::Stereo;

constexpr float infinity = std::numeric_limits<float>::infinity();

// Rows of disparities from -20 to 300 with NaN, infinities and zeros among them, finer below 10.
cv::Mat makeDisparity(const cv::Size& size) {
    cv::Mat disparity = makeNoise(size, CV_32FC1, 5);
    cv::Mat fine = disparity.rowRange(0, size.height / 2);
    fine /= 32;
    return disparity;
}

TEST(Depth, IsTheReprojectionWithinTheMeasuredRange) {
    RigOptions options;
    options.rightCentreX = 311.5F;
    OpenStereo stereo(makeRig(options));
    for (const cv::Size size : {cv::Size(640, 480), cv::Size(320, 240), cv::Size(212, 159)}) {
        const cv::Mat reprojection = stereo.computeImageTransforms(size).reprojectionMatrix;
        const cv::Mat disparity = withRowStep(makeDisparity(size));
        for (const float maxDepth : {0.5F, 5.F, infinity, std::nanf("")}) {
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

// The depths of one row of disparities in an image of 64x48.
std::vector<float> depths(const Stereo& stereo, const std::vector<float>& disparities) {
    cv::Mat disparity(48, 64, CV_32FC1, cv::Scalar(1));
    std::copy(disparities.begin(), disparities.end(), disparity.ptr<float>(3));
    const cv::Mat points = stereo.computeDepth(disparity);
    std::vector<float> depths;
    for (std::size_t i = 0; i < disparities.size(); ++i)
        depths.push_back(points.ptr<cv::Vec3f>(3)[i][2]);
    return depths;
}

TEST(Depth, MaximumDepthItselfStays) {
    // Focal length times baseline is 64, so the depth is 64 / disparity.
    OpenStereo stereo(makeRig({{64, 48}, 128.F, {32, 24}, 32, 0.5F, false}));
    stereo.setMinDisparity(-64);
    stereo.setMaxDepth(16);
    const float below4 = std::nextafter(4.F, 0.F);
    EXPECT_THAT(depths(stereo, {4, below4, 8, 64}), ElementsAre(16, 0, 8, 1));
    EXPECT_THAT(depths(stereo, {-4, 0, -0.F}), ElementsAre(0, 0, 0));
    stereo.setMaxDepth(infinity);
    EXPECT_THAT(depths(stereo, {0, -4, 0x1p-10F}), ElementsAre(infinity, 0, 65536));
}

TEST(Depth, OfAPlaneIsMetric) {
    const Rig rig = makeRig();  // f = 500, baseline 0.125: 20 pixels are 3.125 away
    OpenStereo stereo(rig);
    const Scene scene = renderScene({});
    const auto [left, right] = stereo.rectifyImages(renderRawView(scene.left, rig.left),
                                                    renderRawView(scene.right, rig.right));
    const cv::Mat points = stereo.computeDepth(stereo.computeDisparity(left, right));
    int measured = 0;
    for (int y = 100; y < 380; ++y) {
        for (int x = 120; x < 540; ++x) {
            const auto& point = points.at<cv::Vec3f>(y, x);
            if (point == cv::Vec3f())
                continue;
            ++measured;
            ASSERT_NEAR(point[2], 3.125, 0.05) << x << ' ' << y;
            ASSERT_NEAR(point[0], (static_cast<float>(x) - 320.25F) / 500 * point[2], 1e-4);
            ASSERT_NEAR(point[1], (static_cast<float>(y) - 236.5F) / 500 * point[2], 1e-4);
        }
    }
    EXPECT_GT(measured, 0.95 * 280 * 420);
}

TEST(Depth, SharesTheTransformsOfRectification) {
    LogCapture log;
    const OpenStereo stereo(makeRig());
    const std::string reproject = "verbose vision.stereo computeDepth: Reproject to 3D...";
    const cv::Mat disparity = makeDisparity({320, 240});
    stereo.computeDepth(disparity);
    EXPECT_THAT(log.takeLines(), ElementsAre("verbose vision.stereo computeDepth: Compute "
                                             "transforms for resolution [320 x 240]",
                                             reproject));
    stereo.computeDepth(disparity);
    stereo.rectifyImageLeft(disparity);
    EXPECT_THAT(log.takeLines(), ElementsAre(reproject));
}

TEST(Depth, RefusesWhatIsNoDisparity) {
    LogCapture log;
    const OpenStereo stereo(makeRig());
    for (const int type : {CV_16SC1, CV_32FC2})
        EXPECT_THAT([&] { (void)stereo.computeDepth(cv::Mat::zeros(480, 640, type)); },
                    Refuses<std::invalid_argument>("Wrong disparity image type, need CV_32FC1."));
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

}  // namespace
