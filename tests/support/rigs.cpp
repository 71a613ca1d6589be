#include "support/rigs.hpp"

#include <opencv2/calib3d.hpp>

namespace tiomipra::test {
namespace {

vision::Calibration makeCamera(const RigOptions& options, float centreX, float translation,
                               float side) {
    const float f = options.focalLength;
    const float cy = options.leftCentre.y;
    vision::Calibration camera;
    camera.width = options.size.width;
    camera.height = options.size.height;
    camera.projectionMatrix = (cv::Mat_<float>(3, 4) << f, 0, centreX, translation,  //
                               0, f, cy, 0,                                          //
                               0, 0, 1, 0);
    camera.cameraMatrix = camera.projectionMatrix.colRange(0, 3).clone();
    camera.distortion = cv::Mat::zeros(1, 5, CV_32F);
    cv::Matx33f rotation = cv::Matx33f::eye();
    if (options.isDistorted) {
        camera.cameraMatrix.at<float>(0, 0) *= 1.04F;
        camera.cameraMatrix.at<float>(1, 1) *= 1.03F;
        camera.cameraMatrix.at<float>(0, 2) += 5.3F * side;
        camera.cameraMatrix.at<float>(1, 2) -= 3.7F;
        camera.distortion = (cv::Mat_<float>(1, 5) << -0.21F, 0.06F, 0.001F, -0.002F * side, 0.01F);
        cv::Rodrigues(cv::Vec3f(0.011F, 0.017F * side, -0.013F * side), rotation);
    }
    camera.rectificationMatrix = cv::Mat(rotation).clone();
    return camera;
}

}  // namespace

CalibrationPair makeRig(const RigOptions& options) {
    return {makeCamera(options, options.leftCentre.x, 0, 1),
            makeCamera(options, options.rightCentreX, -options.focalLength * options.baseline, -1)};
}

}  // namespace tiomipra::test
