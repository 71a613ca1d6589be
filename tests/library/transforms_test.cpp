// What follows from the calibrations: maps, rectified images, depth and the minimum disparity.
#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <opencv2/calib3d.hpp>
#include <opencv2/imgproc.hpp>
#include <thread>
#include <type_traits>

#include "support/log_capture.hpp"
#include "support/matrices.hpp"
#include "support/rigs.hpp"

namespace tiomipra::test {
namespace {

using testing::IsEmpty;
using testing::SizeIs;
using vision::Calibration;
using vision::Stereo;

static_assert(!std::is_copy_constructible_v<Stereo> && !std::is_copy_assignable_v<Stereo>);
static_assert(std::has_virtual_destructor_v<Stereo>);

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

void expectMaps(const cv::Mat& mapX, const cv::Mat& mapY, const Calibration& calibration,
                const cv::Size& size) {
    const Calibration camera = calibration.scaleTo(size.width, size.height);
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
    OpenStereo stereo(makeUnevenRig());
    for (const cv::Size size : {cv::Size(640, 480), {320, 240}, {212, 159}}) {
        const float scale = static_cast<float>(size.width) / 640.F;
        const cv::Mat reprojection = stereo.computeImageTransforms(size).reprojectionMatrix;
        const cv::Mat disparity = makeNoise(size, CV_32FC1, 5);
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
    const OpenStereo stereo(makeRig());
    const cv::Mat landscape = makeNoise({320, 240}, CV_8UC1, 1);
    const cv::Mat portrait = makeNoise({240, 320}, CV_8UC1, 2);
    stereo.rectifyImages(landscape, landscape);
    const auto& transform = stereo._transforms.begin()->second;
    EXPECT_THAT(stereo.rectifyImageLeft(portrait),
                IsSameMatrix(rectify(portrait, transform.leftMapX, transform.leftMapY)));
    stereo.computeDepth(cv::Mat::zeros(240, 320, CV_32FC1));
    EXPECT_THAT(stereo._transforms, SizeIs(1));

    stereo.computeDepth(cv::Mat::zeros(60, 80, CV_32FC1));
    EXPECT_EQ(stereo._transforms.begin()->first, cv::Size(80, 60));
    EXPECT_THAT(stereo._transforms, SizeIs(2));

    const auto precedes = stereo._transforms.key_comp();
    EXPECT_TRUE(precedes({65536, 65536}, {1, 1}));  // 2^32 wraps to 0
    EXPECT_TRUE(precedes({46341, 46341}, {1, 1}));  // beyond 2^31: negative
}

struct SmallStereo : OpenStereo {
    explicit SmallStereo(StereoAlgorithm algorithm)
        : OpenStereo(makeRig({{96, 64}, 60.F, {48.F, 32.F}, 48.F})) {
        setStereoAlgorithm(algorithm);
        setWindowSize(7);
        setDisparityNumber(16);
    }

    cv::Mat measure(unsigned frame) const {
        const cv::Mat image = makeNoise({96 >> frame % 2, 64 >> frame % 2}, CV_8UC1, frame);
        const auto [left, right] = rectifyImages(image, image);
        return computeDepth(computeDisparity(left, right));
    }
};

// Each thread has an object of its own, and all of them match with another. What an object has
// processed before makes no difference.
TEST(Stereo, ServesManyThreads) {
    const SmallStereo shared(Stereo::BM);
    const cv::Mat image = makeNoise({96, 64}, CV_8UC1, 1);
    const cv::Mat disparity = shared.computeDisparity(image, image);
    std::vector<std::thread> threads;
    for (const auto algorithm : {Stereo::BM, Stereo::SGBM, Stereo::BM, Stereo::SGBM}) {
        threads.emplace_back([&, algorithm] {
            const SmallStereo own(algorithm);
            for (unsigned frame = 0; frame < 200; ++frame) {
                EXPECT_THAT(own.measure(frame),
                            IsSameMatrix(SmallStereo(algorithm).measure(frame)));
                EXPECT_THAT(shared.computeDisparity(image, image), IsSameMatrix(disparity));
            }
            EXPECT_THAT(own._transforms, SizeIs(2));
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

TEST(StereoCalibrations, AreEmptyAtFirstThenCopiedInAndOut) {
    EXPECT_EQ(Stereo().getCalibrations(), std::pair(Calibration(), Calibration()));
    CalibrationPair rig = makeRig();
    OpenStereo stereo(rig);
    rig.left.projectionMatrix.setTo(0);
    rig.right.cameraMatrix.setTo(0);
    stereo.getCalibrations().first.distortion.setTo(7);
    EXPECT_EQ(stereo.getCalibrations(), std::pair(makeRig().left, makeRig().right));
}

// Calibrations that hold nothing but what the minimum disparity is derived from.
CalibrationPair makeBareRig(float leftCentre, float rightCentre, float translation) {
    CalibrationPair rig;
    rig.left.width = rig.right.width = 640;
    rig.left.projectionMatrix = (cv::Mat_<float>(1, 4) << 0, 0, leftCentre, 0);
    rig.right.projectionMatrix = (cv::Mat_<float>(1, 4) << 0, 0, rightCentre, translation);
    return rig;
}

TEST(StereoCalibrations, MinDisparityIsThatOfThePointsAtTheMaximumDepth) {
    Stereo stereo;
    const std::tuple<float, float, float, float, int> cases[] = {
        {320, 310, -30, 5, 16}, {320, 320, -30, infinity, 0}, {640, 0, 0, 5, 640},
        {0, 640, 0, 5, -640},   {300, 310, -30, 4, -3},  // rounded down, not towards zero
        {0, 0, -3, .6F, 5}};                             // 4.99... in double precision
    for (const auto& [leftCentre, rightCentre, translation, maxDepth, expected] : cases) {
        const CalibrationPair rig = makeBareRig(leftCentre, rightCentre, translation);
        stereo.setMaxDepth(maxDepth);
        stereo.setCalibrations(rig.left, rig.right);
        EXPECT_EQ(stereo.getMinDisparity(), expected);
        stereo.setMaxDepth(1);
        EXPECT_EQ(stereo.getMinDisparity(), expected);
    }
}

TEST(StereoCalibrations, StayStoredWhenTheMinDisparityIsOutOfRange) {
    const LogCapture log;
    OpenStereo stereo(makeRig());
    stereo._findOrComputeTransform({64, 48}, "");
    const std::pair<float, float> cases[] = {
        {-700, 1}, {641, 1}, {2147483648.F, 1}, {-infinity, 1}, {-30, std::nanf("")}};
    for (const auto& [translation, maxDepth] : cases) {
        const CalibrationPair rig = makeBareRig(0, 0, translation);
        stereo.setMaxDepth(maxDepth);
        EXPECT_THAT([&] { stereo.setCalibrations(rig.left, rig.right); },
                    Refuses<std::range_error>("Invalid min disparity."));
        EXPECT_EQ(stereo.getMinDisparity(), 12);
        EXPECT_EQ(stereo.getCalibrations(), std::pair(rig.left, rig.right));
        EXPECT_THAT(stereo._transforms, IsEmpty());
    }
    // The negation of the smallest int overflows.
    stereo.setMaxDepth(1);
    CalibrationPair rig = makeBareRig(0, 0, -30);
    rig.left.width = rig.right.width = std::numeric_limits<int>::min();
    EXPECT_THROW(stereo.setCalibrations(rig.left, rig.right), std::range_error);
}

}  // namespace
}  // namespace tiomipra::test
