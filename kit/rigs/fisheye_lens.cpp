#include "rigs/fisheye_lens.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <opencv2/calib3d.hpp>
#include <stdexcept>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "rigs/fisheye_rays.hpp"
#include "rigs/rig_geometry.hpp"

namespace tiomipra {
namespace {

void requireUnfolded(const LensModel& lens, double widest) {
    constexpr int steps = 200;
    for (int i = 1; i <= steps; ++i) {
        const double angle = widest * i / steps;
        if (!(radiusAt(lens, angle) > radiusAt(lens, widest * (i - 1) / steps)))
            throw std::invalid_argument(
                fmt::format("the image of a lens folds {} degrees off its axis, must not within {}",
                            digits(toDegrees(angle)), digits(toDegrees(widest))));
    }
}

// The size, and what leads from pixels of the rectified image to rays of the camera.
struct RectifiedView {
    cv::Size size;
    cv::Matx33d rayOfPixel;
};

RectifiedView viewOf(const CameraModel& camera, const cv::Matx33d& rotation,
                     const cv::Matx34d& projection) {
    return {camera.imageSize, rotation.t() * projection.get_minor<3, 3>(0, 0).inv()};
}

// Along the borders of the image.
std::vector<cv::Vec3d> borderRays(const RectifiedView& view) {
    constexpr int steps = 16;
    std::vector<cv::Vec3d> rays;
    const double right = view.size.width - 1, bottom = view.size.height - 1;
    for (int i = 0; i <= steps; ++i) {
        const double x = right * i / steps, y = bottom * i / steps;
        for (const cv::Vec3d& pixel : {cv::Vec3d(x, 0, 1), cv::Vec3d(x, bottom, 1),
                                       cv::Vec3d(0, y, 1), cv::Vec3d(right, y, 1)})
            rays.push_back(view.rayOfPixel * pixel);
    }
    return rays;
}

bool isFull(const CameraModel& camera, const RectifiedView& view) {
    const auto rays = borderRays(view);
    const cv::Rect2d image({0, 0}, cv::Size2d(camera.imageSize - cv::Size(1, 1)));
    return std::all_of(rays.begin(), rays.end(), [&](const cv::Vec3d& ray) {
        return ray[2] > 0 && image.contains(pixelOf(camera, ray));
    });
}

// Rotations alone, as lenses don't matter for them.
Rectification turnCameras(const RigModel& model) {
    Rectification result;
    cv::Matx44d reprojection;
    cv::stereoRectify(cameraMatrixOf(model.left), cv::Mat(), cameraMatrixOf(model.right), cv::Mat(),
                      model.left.imageSize, model.rightFromLeftRotation,
                      model.rightFromLeftTranslation, result.leftRotation, result.rightRotation,
                      result.leftProjection, result.rightProjection, reprojection,
                      cv::CALIB_ZERO_DISPARITY);
    return result;
}

// With square pixels and the principal point in the centre.
void look(Rectification& rectification, const RigModel& model, double fieldOfView) {
    const cv::Size& size = model.left.imageSize;
    const double focal = size.width / (2 * std::tan(toRadians(fieldOfView) / 2));
    rectification.leftProjection = {
        focal, 0, (size.width - 1) / 2., 0, 0, focal, (size.height - 1) / 2., 0, 0, 0, 1, 0};
    rectification.rightProjection = rectification.leftProjection;
    // Cameras above each other are rectified by columns.
    const cv::Vec3d shift = rectification.rightRotation * model.rightFromLeftTranslation;
    const int axis = std::abs(shift[0]) >= std::abs(shift[1]) ? 0 : 1;
    rectification.rightProjection(axis, 3) = focal * shift[axis];
}

bool isFull(const RigModel& model, const Rectification& both) {
    return isFull(model.left, viewOf(model.left, both.leftRotation, both.leftProjection)) &&
           isFull(model.right, viewOf(model.right, both.rightRotation, both.rightProjection));
}

constexpr double narrowest = 10, widestByItself = 120, widest = 150;  // degrees

double widestFullView(const RigModel& model, Rectification rectification) {
    constexpr double precision = 0.01;
    double low = narrowest, high = widestByItself;
    while (high - low > precision) {
        const double middle = (low + high) / 2;
        look(rectification, model, middle);
        (isFull(model, rectification) ? low : high) = middle;
    }
    look(rectification, model, low);
    if (!isFull(model, rectification))
        throw std::invalid_argument(fmt::format(
            "rectified images of {} degrees have empty pixels already, must have none unless the "
            "field of view is given",
            digits(low)));
    return low;
}

double chooseFieldOfView(const RigModel& model, const Rectification& rectification,
                         const FisheyeView& view) {
    checkAlpha(view.alpha);
    checkFieldOfView(view.fieldOfView);
    if (view.fieldOfView)
        return *view.fieldOfView;
    const double full = widestFullView(model, rectification);
    const double raw = std::min(fieldOfViewOf(model.left).horizontal, widestByItself);
    return full + std::max(view.alpha, 0.) * (std::max(raw, full) - full);
}

// Fits T (A + B t^2 + C t^4 + D t^6) / (1 + E t^2 + F t^4 + G t^6), with t the tangent of the angle
// in units of that of the widest one. Linear once both sides are multiplied by the denominator,
// with the weights that the last denominator gives (Sanathanan and Koerner 1963).
std::array<double, 7> fitTangents(const LensModel& lens, double angle) {
    constexpr int samples = 400, rounds = 20;
    const double largest = std::tan(angle);
    cv::Mat_<double> equations(samples, 7), radii(samples, 1), solution(7, 1, 0.);
    for (int round = 0; round < rounds; ++round) {
        for (int i = 0; i < samples; ++i) {
            const double at = angle * (i + 1) / samples;
            const double tangent = std::tan(at) / largest, square = tangent * tangent;
            const double radius = radiusAt(lens, at);
            const double bottom =
                1 + square * (solution(4) + square * (solution(5) + square * solution(6)));
            for (int power = 0; power < 4; ++power)
                equations(i, power) = tangent * std::pow(square, power) / bottom;
            for (int power = 1; power < 4; ++power)
                equations(i, 3 + power) = -radius * std::pow(square, power) / bottom;
            radii(i) = radius / bottom;
        }
        cv::solve(equations, radii, solution, cv::DECOMP_SVD);
    }
    std::array<double, 7> result{};
    std::copy(solution.begin(), solution.end(), result.begin());
    return result;
}

// In OpenCV's order, for focal lengths that are those of the lens times the first one.
struct TangentLens {
    double focal;
    std::vector<double> coefficients;  // k1 k2 p1 p2 k3 k4 k5 k6

    double radiusAt(double angle) const {
        const double square = std::tan(angle) * std::tan(angle);
        const auto polynomial = [&](double first, double second, double third) {
            return 1 + square * (first + square * (second + square * third));
        };
        return focal * std::tan(angle) *
               polynomial(coefficients[0], coefficients[1], coefficients[4]) /
               polynomial(coefficients[5], coefficients[6], coefficients[7]);
    }
};

TangentLens fitLens(const LensModel& lens, double angle) {
    const auto fit = fitTangents(lens, angle);
    const double square = std::tan(angle) * std::tan(angle);
    const auto at = [&](std::size_t i, int power) { return fit[i] / std::pow(square, power); };
    return {fit[0] / std::tan(angle),
            {at(1, 1) / fit[0], at(2, 2) / fit[0], 0, 0, at(3, 3) / fit[0], at(4, 1), at(5, 2),
             at(6, 3)}};
}

// In focal lengths of the fisheye lens.
double largestResidual(const LensModel& lens, const TangentLens& fit, double angle) {
    constexpr int samples = 1000;
    double largest = 0;
    for (int i = 1; i <= samples; ++i) {
        const double at = angle * i / samples;
        const double residual = std::abs(fit.radiusAt(at) - radiusAt(lens, at));
        largest = std::isfinite(residual) ? std::max(largest, residual) : INFINITY;
    }
    return largest;
}

// Replaces the lens of `camera` by one that shows the same in `view`.
void fitCamera(CameraModel& camera, const RectifiedView& view, PinholeFit& result) {
    constexpr double limit = 85;
    double angle = 0;
    for (const cv::Vec3d& ray : borderRays(view))
        angle = std::max(angle, angleOf(ray));
    if (toDegrees(angle) >= limit)
        throw std::invalid_argument(fmt::format(
            "the rectified images reach {} degrees off a camera's axis, must stay below {}; choose "
            "a smaller field of view",
            digits(toDegrees(angle)), limit));
    requireUnfolded(camera.lens, angle);
    const TangentLens fit = fitLens(camera.lens, angle);
    const double focal = std::max(camera.cameraMatrix(0, 0), camera.cameraMatrix(1, 1));
    result.residual = std::max(result.residual, focal * largestResidual(camera.lens, fit, angle));
    result.angle = std::max(result.angle, toDegrees(angle));
    camera.cameraMatrix(0, 0) *= fit.focal;
    camera.cameraMatrix(1, 1) *= fit.focal;
    camera.lens = {LensKind::radialTangential, fit.coefficients};
}

}  // namespace

void checkFieldOfView(const std::optional<double>& fieldOfView) {
    const double degrees = fieldOfView.value_or(narrowest);
    if (!(degrees >= narrowest && degrees <= widest))
        throw SettingError("field-of-view", fmt::format("is {}, must be from {} to {} degrees",
                                                        digits(degrees), narrowest, widest));
}

Rectification rectifyFisheye(const RigModel& model, const FisheyeView& view) {
    checkModel(model);
    Rectification rectification = turnCameras(model);
    look(rectification, model, chooseFieldOfView(model, rectification, view));
    return rectification;
}

std::string describe(const PinholeFit& fit) {
    return fmt::format(
        "pinholes with 8 coefficients stand for the wide-angle lenses; up to {} degrees off the "
        "axis they are off by at most {} pixels",
        digits(fit.angle), significant(fit.residual, 2));
}

PinholeRig asPinholes(const RigModel& model, const Rectification& rectification,
                      double maxResidual) {
    checkModel(model);
    PinholeRig result{model, {}};
    fitCamera(result.model.left,
              viewOf(model.left, rectification.leftRotation, rectification.leftProjection),
              result.fit);
    fitCamera(result.model.right,
              viewOf(model.right, rectification.rightRotation, rectification.rightProjection),
              result.fit);
    if (!(result.fit.residual <= maxResidual))
        throw std::invalid_argument(
            fmt::format("{}, must be by at most {} (max-residual); choose a smaller field of view",
                        describe(result.fit), digits(maxResidual)));
    return result;
}

}  // namespace tiomipra
