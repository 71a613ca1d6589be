#include "rigs/fisheye_rays.hpp"

#include <algorithm>
#include <cmath>

namespace tiomipra {

double radiusAt(const LensModel& lens, double angle) {
    double radius = 0;
    const double square = angle * angle;
    for (std::size_t i = lens.coefficients.size(); i-- > 0;)
        radius = (radius + lens.coefficients[i]) * square;
    return angle * (1 + radius);
}

double slopeAt(const LensModel& lens, double angle) {
    double slope = 0;
    const double square = angle * angle;
    for (std::size_t i = lens.coefficients.size(); i-- > 0;)
        slope = (slope + static_cast<double>(2 * i + 3) * lens.coefficients[i]) * square;
    return 1 + slope;
}

double angleAt(const LensModel& lens, double radius) {
    constexpr double step = 0.01, precision = 1e-14;
    double high = 0;
    while (high < CV_PI && radiusAt(lens, high) < radius)
        high += step;
    if (high >= CV_PI)
        return CV_PI;
    double low = std::max(0., high - step);
    while (high - low > precision) {
        const double middle = (low + high) / 2;
        (radiusAt(lens, middle) < radius ? low : high) = middle;
    }
    return high;
}

double angleOf(const cv::Vec3d& ray) {
    return std::atan2(std::hypot(ray[0], ray[1]), ray[2]);
}

cv::Point2d pixelOf(const CameraModel& camera, const cv::Vec3d& ray) {
    const double offAxis = std::hypot(ray[0], ray[1]);
    const double scale = offAxis == 0 ? 0 : radiusAt(camera.lens, angleOf(ray)) / offAxis;
    const cv::Vec3d pixel = camera.cameraMatrix * cv::Vec3d(ray[0] * scale, ray[1] * scale, 1);
    return {pixel[0], pixel[1]};
}

cv::Vec3d rayOf(const CameraModel& camera, const cv::Point2d& pixel) {
    const cv::Matx33d& matrix = camera.cameraMatrix;
    const cv::Vec2d place((pixel.x - matrix(0, 2)) / matrix(0, 0),
                          (pixel.y - matrix(1, 2)) / matrix(1, 1));
    const double radius = cv::norm(place);
    if (radius == 0)
        return {0, 0, 1};
    const double angle = angleAt(camera.lens, radius);
    const cv::Vec2d across = place * (std::sin(angle) / radius);
    return {across[0], across[1], std::cos(angle)};
}

FieldOfView fieldOfViewOf(const CameraModel& camera) {
    const double right = camera.imageSize.width - 0.5, bottom = camera.imageSize.height - 0.5;
    const cv::Matx33d& matrix = camera.cameraMatrix;
    const auto between = [&](const cv::Point2d& a, const cv::Point2d& b) {
        return toDegrees(angleOf(rayOf(camera, a)) + angleOf(rayOf(camera, b)));
    };
    return {between({-0.5, matrix(1, 2)}, {right, matrix(1, 2)}),
            between({matrix(0, 2), -0.5}, {matrix(0, 2), bottom}),
            between({-0.5, -0.5}, {right, bottom})};
}

}  // namespace tiomipra
