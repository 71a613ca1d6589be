#include "rigs/camera_projection.hpp"

#include <cmath>
#include <opencv2/calib3d.hpp>

#include "rigs/fisheye_rays.hpp"

namespace tiomipra {
namespace {

// A ray on its way through a wide-angle lens. Where it is imaged, in focal lengths, is x and y of
// the ray times `scale`.
struct Refraction {
    cv::Vec3d ray;
    double offAxis, angle, scale;
};

Refraction refract(const LensModel& lens, const cv::Vec3d& ray) {
    const double offAxis = std::hypot(ray[0], ray[1]);
    const double angle = std::atan2(offAxis, ray[2]);
    return {ray, offAxis, angle, offAxis > 0 ? radiusAt(lens, angle) / offAxis : 1 / ray[2]};
}

// Of the image in focal lengths, by the ray.
cv::Matx23d byRay(const LensModel& lens, const Refraction& at) {
    const auto [x, y, z] = at.ray.val;
    const double slope = slopeAt(lens, at.angle);
    const double square = at.ray.dot(at.ray);
    const double bend =
        at.offAxis > 0 ? (slope * z / square - at.scale) / (at.offAxis * at.offAxis) : 0;
    return {at.scale + x * x * bend, x * y * bend,       -x * slope / square, x * y * bend,
            at.scale + y * y * bend, -y * slope / square};
}

// The ray of a point by the turn and the shift of its pose.
cv::Matx<double, 3, 6> byPose(const cv::Matx<double, 3, 9>& rotationByTurn,
                              const cv::Point3d& point) {
    cv::Matx<double, 3, 6> result = {};
    for (int axis = 0; axis < 3; ++axis) {
        const cv::Matx33d byTurn(rotationByTurn.row(axis).val);
        const cv::Vec3d column = byTurn * cv::Vec3d(point);
        for (int i = 0; i < 3; ++i)
            result(i, axis) = column[i];
        result(axis, 3 + axis) = 1;
    }
    return result;
}

// Two rows of derivatives, as those of `cv::projectPoints`.
void differentiate(const CameraModel& camera, const Refraction& at,
                   const cv::Matx<double, 3, 6>& rayByPose, cv::Mat rows) {
    const cv::Matx<double, 2, 6> imageByPose = byRay(camera.lens, at) * rayByPose;
    for (int i = 0; i < 2; ++i) {
        const double focal = camera.cameraMatrix(i, i);
        for (int j = 0; j < 6; ++j)
            rows.at<double>(i, j) = focal * imageByPose(i, j);
        rows.at<double>(i, 6 + i) = at.ray[i] * at.scale;
        rows.at<double>(i, 8 + i) = 1;
        const double direction = at.offAxis > 0 ? at.ray[i] / at.offAxis : 0;
        for (int k = 0; k < 4; ++k)
            rows.at<double>(i, 10 + k) = focal * direction * std::pow(at.angle, 2 * k + 3);
    }
}

std::vector<cv::Point2d> projectFisheye(const CameraModel& camera, const Pose& pose,
                                        const std::vector<cv::Point3d>& points,
                                        cv::Mat* derivatives) {
    cv::Matx33d rotation;
    cv::Matx<double, 3, 9> rotationByTurn;
    cv::Rodrigues(pose.turn, rotation, rotationByTurn);
    if (derivatives != nullptr)
        *derivatives = cv::Mat::zeros(2 * static_cast<int>(points.size()), 14, CV_64F);
    std::vector<cv::Point2d> pixels;
    for (const cv::Point3d& point : points) {
        const Refraction at = refract(camera.lens, rotation * cv::Vec3d(point) + pose.shift);
        const int row = 2 * static_cast<int>(pixels.size());
        pixels.push_back(pixelOf(camera, at.ray));
        if (derivatives != nullptr)
            differentiate(camera, at, byPose(rotationByTurn, point),
                          derivatives->rowRange(row, row + 2));
    }
    return pixels;
}

}  // namespace

cv::Matx33d rotationOf(const Pose& pose) {
    cv::Matx33d rotation;
    cv::Rodrigues(pose.turn, rotation);
    return rotation;
}

std::vector<cv::Point2d> project(const CameraModel& camera, const Pose& pose,
                                 const std::vector<cv::Point3d>& points, cv::Mat* derivatives) {
    if (camera.lens.kind == LensKind::fisheye)
        return projectFisheye(camera, pose, points, derivatives);
    std::vector<cv::Point2d> pixels;
    cv::projectPoints(points, pose.turn, pose.shift, camera.cameraMatrix, camera.lens.coefficients,
                      pixels, derivatives == nullptr ? cv::noArray() : *derivatives);
    return pixels;
}

}  // namespace tiomipra
