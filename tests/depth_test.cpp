#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <opencv2/calib3d.hpp>

#include "support/log_capture.hpp"
#include "support/matrices.hpp"
#include "support/rigs.hpp"
#include "support/scenes.hpp"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vision::Stereo;

constexpr float infinity = std::numeric_limits<float>::infinity();

// The points of `disparity`, blanked one by one.
cv::Mat reprojectDirectly(const cv::Mat& disparity, const cv::Mat& reprojectionMatrix,
                          float maxDepth, float minDisparity) {
    cv::Mat points;
    cv::reprojectImageTo3D(disparity, points, reprojectionMatrix, false, CV_32F);
    for (int row = 0; row < points.rows; ++row) {
        for (int column = 0; column < points.cols; ++column) {
            auto& point = points.at<cv::Vec3f>(row, column);
            if (point[2] > maxDepth || point[2] < 0 ||
                disparity.at<float>(row, column) < minDisparity)
                point = {0, 0, 0};
        }
    }
    return points;
}

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
                EXPECT_THAT(
                    stereo.computeDepth(disparity),
                    IsSameMatrix(reprojectDirectly(disparity, reprojection, maxDepth,
                                                   static_cast<float>(minDisparity) * ratio)))
                    << size << maxDepth << ' ' << minDisparity;
            }
        }
    }
}

// The depths of one row of disparities, at most four, in an image of 64x48 or 32x24.
std::vector<float> depths(const Stereo& stereo, const std::vector<float>& disparities,
                          int width = 64) {
    cv::Mat disparity(width * 3 / 4, width, CV_32FC1, cv::Scalar(1));
    cv::Mat(disparities)
        .reshape(1, 1)
        .copyTo(disparity(cv::Rect(0, 3, static_cast<int>(disparities.size()), 1)));
    const cv::Mat points = stereo.computeDepth(disparity);
    std::vector<float> depths;
    for (std::size_t i = 0; i < disparities.size(); ++i)
        depths.push_back(points.at<cv::Vec3f>(3, static_cast<int>(i))[2]);
    return depths;
}

// Focal length times baseline is 64, so the depth is 64 / disparity.
Rig makeRoundRig() {
    return makeRig({{64, 48}, 128.F, {32, 24}, 32, 0.5F, false});
}

TEST(Depth, MaximumDepthItselfStays) {
    OpenStereo stereo(makeRoundRig());
    stereo.setMinDisparity(-64);
    stereo.setMaxDepth(16);
    const float below4 = std::nextafter(4.F, 0.F);
    EXPECT_THAT(depths(stereo, {4, below4, 8, 64}), ElementsAre(16, 0, 8, 1));
    EXPECT_THAT(depths(stereo, {-4, 0, -0.F}), ElementsAre(0, 0, 0));
    stereo.setMaxDepth(infinity);
    EXPECT_THAT(depths(stereo, {0, -4, 0x1p-10F}), ElementsAre(infinity, 0, 65536));
}

TEST(Depth, OfZeroStays) {
    // So short a focal length that the depth of a large disparity is less than any float, while X
    // and Y are not.
    const OpenStereo stereo(makeRig({{64, 48}, 1e-40F, {32, 24}, 32, 1.F, false}));
    const cv::Mat points = stereo.computeDepth(cv::Mat(48, 64, CV_32FC1, cv::Scalar(1e10)));
    EXPECT_EQ(points.at<cv::Vec3f>(0, 0), cv::Vec3f(-32e-10F, -24e-10F, 0));
}

TEST(Depth, MinDisparityIsScaledByTheExactRatioOfWidths) {
    OpenStereo stereo(makeRoundRig());
    stereo.setMaxDepth(1024);
    stereo.setMinDisparity(1);
    EXPECT_THAT(depths(stereo, {0.99F, 1, 2, -1}), ElementsAre(0, 64, 32, 0));
    EXPECT_THAT(depths(stereo, {0.25F, 0.5F, 1, -1}, 32), ElementsAre(0, 64, 32, 0));
    EXPECT_THAT(depths(stereo, {0.75F, 0.74F}, 48), ElementsAre(64, 0));
    stereo.setMinDisparity(0);
    EXPECT_THAT(depths(stereo, {0.25F, 0.0625F, -1}), ElementsAre(256, 1024, 0));
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
            const auto point = points.at<cv::Vec3f>(y, x);
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

    const cv::Mat portrait = makeDisparity({240, 320});
    const cv::Mat reprojection = stereo._transforms.begin()->second.reprojectionMatrix;
    EXPECT_THAT(stereo.computeDepth(portrait),
                IsSameMatrix(reprojectDirectly(portrait, reprojection, 5, 12 * 240.F / 640.F)));
    EXPECT_EQ(stereo._transforms.size(), 1U);
}

TEST(Depth, RefusesWhatIsNoDisparity) {
    LogCapture log;
    const OpenStereo stereo(makeRig());
    for (const int type : {CV_16SC1, CV_64FC1, CV_32FC2}) {
        EXPECT_THAT([&] { (void)stereo.computeDepth(cv::Mat::zeros(480, 640, type)); },
                    Refuses<std::invalid_argument>("Wrong disparity image type, need CV_32FC1."));
    }
    EXPECT_THAT(log.takeLines(), IsEmpty());
    EXPECT_THROW((void)stereo.computeDepth(cv::Mat::zeros(400, 640, CV_32FC1)),
                 std::invalid_argument);
    EXPECT_THROW((void)Stereo().computeDepth(cv::Mat::zeros(480, 640, CV_32FC1)),
                 std::invalid_argument);
    EXPECT_THAT(stereo._transforms, IsEmpty());
}

}  // namespace
