#include "rigs/rig_geometry.hpp"

#include <cmath>
#include <opencv2/core.hpp>

#include "rigs/fisheye_rays.hpp"

namespace tiomipra {
namespace {

double degreesSeen(double focal, double principal, int extent) {
    return toDegrees(std::atan((principal + 0.5) / focal) +
                     std::atan((extent - 0.5 - principal) / focal));
}

FieldOfView fieldOfView(const cv::Matx33d& matrix, const cv::Size& size) {
    const double fx = matrix(0, 0);
    const double fy = matrix(1, 1);
    FieldOfView result;
    result.horizontal = degreesSeen(fx, matrix(0, 2), size.width);
    result.vertical = degreesSeen(fy, matrix(1, 2), size.height);
    result.diagonal = toDegrees(2 * std::atan(std::hypot(size.width / fx, size.height / fy) / 2));
    return result;
}

CameraGeometry describePinhole(const cv::Matx33d& matrix, const cv::Size& size) {
    return {size,
            {matrix(0, 0), matrix(1, 1)},
            {matrix(0, 2) - (size.width - 1) / 2., matrix(1, 2) - (size.height - 1) / 2.},
            fieldOfView(matrix, size)};
}

// 1, 2 and 5 times powers of ten from `low` to `high`.
std::vector<double> roundNumbers(double low, double high) {
    std::vector<double> numbers;
    const int last = cvFloor(std::log10(high));
    for (int decade = cvFloor(std::log10(low)); decade <= last; ++decade) {
        for (const double factor : {1., 2., 5.}) {
            const double number = factor * std::pow(10, decade);
            if (number >= low && number <= high)
                numbers.push_back(number);
        }
    }
    return numbers;
}

// From where a quarter of the image's width is the disparity to where one pixel is.
std::vector<DepthStep> depthSteps(const DisparityModel& model, int width) {
    constexpr double step = 1. / 16;
    const double atOnePixel = model.timesDepth;
    std::vector<DepthStep> steps;
    for (const double depth : roundNumbers(atOnePixel / (width / 4.), atOnePixel))
        steps.push_back({depth, model.disparityAt(depth), model.depthStepAt(depth, step)});
    return steps;
}

}  // namespace

double toDegrees(double radians) {
    return radians * 180 / CV_PI;
}

double toRadians(double degrees) {
    return degrees * CV_PI / 180;
}

cv::Size sizeOf(const vision::Calibration& calibration) {
    return {calibration.width, calibration.height};
}

cv::Point2d baselineOf(const vision::Calibration& left, const vision::Calibration& right) {
    const auto along = [&](int axis) {
        const double focal = left.projectionMatrix.at<float>(axis, axis);
        return (left.projectionMatrix.at<float>(axis, 3) -
                right.projectionMatrix.at<float>(axis, 3)) /
               focal;
    };
    return {along(0), along(1)};
}

CameraGeometry describeCamera(const vision::Calibration& calibration) {
    return describePinhole(cv::Mat_<double>(calibration.cameraMatrix), sizeOf(calibration));
}

CameraGeometry describeCamera(const CameraModel& camera) {
    CameraGeometry result = describePinhole(camera.cameraMatrix, camera.imageSize);
    if (camera.lens.kind == LensKind::fisheye)
        result.fieldOfView = fieldOfViewOf(camera);
    return result;
}

RigGeometry describeGeometry(const vision::Calibration& left, const vision::Calibration& right,
                             const std::optional<RigModel>& measured) {
    RigGeometry geometry;
    geometry.left = describeCamera(left);
    geometry.right = describeCamera(right);
    if (measured && measured->left.lens.kind == LensKind::fisheye)
        geometry.left = describeCamera(measured->left);
    if (measured && measured->right.lens.kind == LensKind::fisheye)
        geometry.right = describeCamera(measured->right);
    geometry.baseline = baselineOf(left, right).x;
    geometry.rectifiedFocal = left.projectionMatrix.at<float>(0, 0);
    geometry.rectifiedFieldOfView =
        fieldOfView(cv::Mat_<double>(left.projectionMatrix.colRange(0, 3)), sizeOf(left));
    geometry.disparity = disparityModel(left, right);
    geometry.depthSteps = depthSteps(geometry.disparity, left.width);
    return geometry;
}

}  // namespace tiomipra
