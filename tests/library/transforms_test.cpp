// What follows from the calibrations: maps, rectified images and depth.
#include <gmock/gmock.h>

#include <cmath>
#include <opencv2/calib3d.hpp>
#include <opencv2/imgproc.hpp>

#include "support/log_capture.hpp"
#include "support/matrices.hpp"
#include "support/rigs.hpp"

namespace tiomipra::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using vision::Stereo;

std::string computeLine(const std::string& function, const std::string& size) {
    return "verbose vision.stereo " + function + ": Compute transforms for resolution " + size;
}

// All focal lengths and centres differ, so that taking the wrong one changes a result.
CalibrationPair makeUnevenRig() {
    RigOptions options;
    options.rightCentreX = 300.F;
    options.baseline = 0.12F;
    CalibrationPair rig = makeRig(options);
    rig.left.projectionMatrix.at<float>(1, 1) = 503.F;
    rig.right.projectionMatrix.at<float>(0, 0) = 510.F;
    return rig;
}

void expectMaps(const cv::Mat& mapX, const cv::Mat& mapY, const vision::Calibration& calibration,
                const cv::Size& size) {
    const vision::Calibration camera = calibration.scaleTo(size.width, size.height);
    cv::Mat x, y;
    cv::initUndistortRectifyMap(camera.cameraMatrix, camera.distortion, camera.rectificationMatrix,
                                camera.projectionMatrix.colRange(0, 3), size, CV_32FC1, x, y);
    EXPECT_THAT(mapX, IsSameMatrix(x));
    EXPECT_THAT(mapY, IsSameMatrix(y));
}

TEST(ImageTransforms, AreThoseOfTheScaledCalibrations) {
    const CalibrationPair rig = makeUnevenRig();
    const OpenStereo stereo(rig);
    for (const cv::Size size : {cv::Size(640, 480), cv::Size(320, 240), cv::Size(1280, 960)}) {
        const auto transform = stereo.computeImageTransforms(size);
        expectMaps(transform.leftMapX, transform.leftMapY, rig.left, size);
        expectMaps(transform.rightMapX, transform.rightMapY, rig.right, size);

        const float scale = static_cast<float>(size.width) / 640.F;
        const float translation = 500.F * -.12F * scale / (500.F * scale);  // by the left f
        const float offset = (320.25F * scale - 300.F * scale) / translation;
        const cv::Mat reprojection = (cv::Mat_<float>(4, 4) << 1, 0, 0, -320.25F * scale,  //
                                      0, 1, 0, -236.5F * scale,                            //
                                      0, 0, 0, 500.F * scale,                              //
                                      0, 0, -1.F / translation, offset);
        EXPECT_THAT(transform.reprojectionMatrix, IsSameMatrix(reprojection));
        EXPECT_TRUE(transform.reprojectionMatrix.isContinuous());
    }
    EXPECT_THAT(stereo._transforms, IsEmpty());
}

cv::Mat rectify(const cv::Mat& image, const cv::Mat& mapX, const cv::Mat& mapY) {
    cv::Mat rectified;
    cv::remap(image, rectified, mapX, mapY, cv::INTER_LINEAR, cv::BORDER_CONSTANT, {});
    return rectified;
}

TEST(Rectification, RemapsAnyTypeOfImage) {
    const OpenStereo stereo(makeUnevenRig());
    const cv::Size size(320, 240);
    const auto maps = stereo.computeImageTransforms(size);
    for (const int type : {CV_8UC1, CV_8UC3, CV_16UC1, CV_32FC1}) {
        const cv::Mat leftImage = makeNoise(size, type, 1);
        const cv::Mat rightImage = withRowStep(makeNoise(size, type, 2));
        const auto pair = stereo.rectifyImages(leftImage, rightImage);
        EXPECT_THAT(pair.first, IsSameMatrix(rectify(leftImage, maps.leftMapX, maps.leftMapY)));
        EXPECT_THAT(pair.second, IsSameMatrix(rectify(rightImage, maps.rightMapX, maps.rightMapY)));
        EXPECT_THAT(stereo.rectifyImageLeft(leftImage), IsSameMatrix(pair.first));
        EXPECT_THAT(stereo.rectifyImageRight(rightImage), IsSameMatrix(pair.second));
        const auto unknown = static_cast<Stereo::ImageIndex>(7);
        EXPECT_THAT(stereo._rectifyImage(rightImage, unknown), IsSameMatrix(pair.second));
    }
    EXPECT_THAT(stereo._transforms, SizeIs(1));
}

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
        for (const auto& [maxDepth, minDisparity] : {std::pair(4.F, -3), {infinity, 40}}) {
            stereo.setMaxDepth(maxDepth);
            stereo.setMinDisparity(minDisparity);
            const float limit = static_cast<float>(minDisparity) * scale;
            EXPECT_THAT(stereo.computeDepth(disparity),
                        IsSameMatrix(reprojectByOpenCv(disparity, reprojection, maxDepth, limit)))
                << size << maxDepth;
        }
    }
}

TEST(Transforms, AreBuiltOncePerPixelCountForRectificationAndDepth) {
    LogCapture log;
    const OpenStereo stereo(makeRig());
    const cv::Mat landscape = makeNoise({320, 240}, CV_8UC1, 1);
    const cv::Mat portrait = makeNoise({240, 320}, CV_8UC1, 2);
    stereo.rectifyImages(landscape, landscape);
    EXPECT_THAT(log.takeLines(), ElementsAre(computeLine("_rectifyImage", "[320 x 240]")));

    const auto& transform = stereo._transforms.begin()->second;
    EXPECT_THAT(stereo.rectifyImageLeft(portrait),
                IsSameMatrix(rectify(portrait, transform.leftMapX, transform.leftMapY)));
    stereo.computeDepth(cv::Mat::zeros(240, 320, CV_32FC1));
    const std::string reproject = "verbose vision.stereo computeDepth: Reproject to 3D...";
    EXPECT_THAT(log.takeLines(), ElementsAre(reproject));
    EXPECT_THAT(stereo._transforms, SizeIs(1));

    stereo.computeDepth(cv::Mat::zeros(60, 80, CV_32FC1));
    EXPECT_THAT(log.takeLines(), ElementsAre(computeLine("computeDepth", "[80 x 60]"), reproject));
    EXPECT_EQ(stereo._transforms.begin()->first, cv::Size(80, 60));
    EXPECT_THAT(stereo._transforms, SizeIs(2));

    const auto precedes = stereo._transforms.key_comp();
    EXPECT_TRUE(precedes({65536, 65536}, {1, 1}));  // 2^32 wraps to 0
    EXPECT_TRUE(precedes({46341, 46341}, {1, 1}));  // beyond 2^31: negative
}

}  // namespace
}  // namespace tiomipra::test
