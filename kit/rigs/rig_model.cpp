#include "rigs/rig_model.hpp"

#include <algorithm>
#include <opencv2/calib3d.hpp>
#include <stdexcept>

#include "base/errors.hpp"
#include "base/text.hpp"

namespace tiomipra {
namespace {

cv::Mat asFloats(const cv::Mat& matrix) {
    cv::Mat result;
    matrix.convertTo(result, CV_32F);
    return result;
}

vision::Calibration makeCalibration(const CameraModel& camera, const cv::Mat& rectification,
                                    const cv::Mat& projection) {
    vision::Calibration calibration;
    calibration.width = camera.imageSize.width;
    calibration.height = camera.imageSize.height;
    calibration.cameraMatrix = asFloats(cameraMatrixOf(camera));
    calibration.distortion = asFloats(distortionOf(camera));
    calibration.rectificationMatrix = asFloats(rectification);
    calibration.projectionMatrix = asFloats(projection);
    return calibration;
}

void checkLens(const std::string& name, const LensModel& lens) {
    if (!isCoefficientCount(lens.kind, lens.coefficients.size()))
        throw std::invalid_argument(fmt::format(
            "the lens of the {} camera has {} coefficients, must have {}", name,
            lens.coefficients.size(),
            (lens.kind == LensKind::fisheye ? "" : "0, ") + coefficientCounts(lens.kind)));
}

// A switch, so that the compiler tells of a kind that is missing.
std::vector<std::size_t> countsOf(LensKind kind) {
    switch (kind) {
        case LensKind::radialTangential:
            return {4, 5, 8, 12, 14};
        case LensKind::fisheye:
            return {4};
    }
    return {};
}

[[noreturn]] void refuse(const std::string& name, const cv::Mat& matrix, const std::string& rule) {
    throw std::invalid_argument(fmt::format("{} is {}, must be {}", name, describe(matrix), rule));
}

std::vector<double> coefficientsOf(const cv::Mat& distortion) {
    if (distortion.empty())
        return {};
    const bool isVector = distortion.dims == 2 && distortion.channels() == 1 &&
                          std::min(distortion.rows, distortion.cols) == 1;
    if (!isVector || !isCoefficientCount(LensKind::radialTangential, distortion.total()))
        refuse("distortion", distortion,
               fmt::format("empty or a vector of {} numbers",
                           coefficientCounts(LensKind::radialTangential)));
    std::vector<double> coefficients;
    distortion.reshape(1, 1).convertTo(coefficients, CV_64F);
    return coefficients;
}

// Where the camera's centre is moved to, from K [I | t].
cv::Vec3d shiftOf(const cv::Matx34d& projection) {
    const cv::Matx33d matrix = projection.get_minor<3, 3>(0, 0);
    if (cv::determinant(matrix) == 0)
        throw std::invalid_argument("a projection matrix has no inverse");
    const cv::Vec3d last(projection(0, 3), projection(1, 3), projection(2, 3));
    return matrix.inv() * last;
}

}  // namespace

bool isCoefficientCount(LensKind kind, std::size_t count) {
    const auto counts = countsOf(kind);
    return (count == 0 && kind == LensKind::radialTangential) ||
           std::find(counts.begin(), counts.end(), count) != counts.end();
}

std::string coefficientCounts(LensKind kind) {
    const auto counts = countsOf(kind);
    const std::string separator = counts.size() > 1 ? " or " : "";
    return fmt::format("{}{}{}", fmt::join(counts.begin(), counts.end() - 1, ", "), separator,
                       counts.back());
}

void checkModel(const RigModel& model) {
    const cv::Size& left = model.left.imageSize;
    const cv::Size& right = model.right.imageSize;
    if (left != right)
        throw std::invalid_argument(
            fmt::format("the image sizes differ (left {}, right {}), must be equal", describe(left),
                        describe(right)));
    checkLens("left", model.left.lens);
    checkLens("right", model.right.lens);
}

std::string whyNoCameraMatrix(const cv::Matx33d& matrix) {
    const bool isPinhole = matrix(0, 1) == 0 && matrix(1, 0) == 0 && matrix(2, 0) == 0 &&
                           matrix(2, 1) == 0 && matrix(2, 2) == 1;
    if (!isPinhole)
        return "must be fx 0 cx / 0 fy cy / 0 0 1";
    for (const int i : {0, 1}) {
        if (!(matrix(i, i) > 0))
            return fmt::format("has a focal length of {}, must be above 0",
                               significant(matrix(i, i), 6));
    }
    return "";
}

std::string whyNoRotation(const cv::Matx33d& matrix) {
    constexpr double tolerance = 1e-3;
    const double deviation = cv::norm(matrix * matrix.t(), cv::Matx33d::eye(), cv::NORM_INF);
    const double determinant = cv::determinant(matrix);
    if (deviation <= tolerance && determinant >= 0)
        return "";
    return fmt::format(
        "is not a rotation (its product with its transpose differs from the identity by {}, its "
        "determinant is {})",
        significant(deviation, 6), significant(determinant, 6));
}

std::string whyNoTranslation(const cv::Vec3d& vector) {
    return cv::norm(vector) == 0 ? "is 0, must lead from one camera to another" : "";
}

void checkAlpha(double alpha) {
    if (alpha != -1 && !(alpha >= 0 && alpha <= 1))
        throw SettingError("alpha",
                           fmt::format("is {}, must be from 0 to 1, or -1", significant(alpha, 6)));
}

RectifiedRig rectify(const RigModel& model, const Rectification& rectification) {
    checkModel(model);
    return {makeCalibration(model.left, cv::Mat(rectification.leftRotation),
                            cv::Mat(rectification.leftProjection)),
            makeCalibration(model.right, cv::Mat(rectification.rightRotation),
                            cv::Mat(rectification.rightProjection))};
}

RectifiedRig rectify(const RigModel& model, double alpha) {
    checkAlpha(alpha);
    checkModel(model);
    Rectification result;
    cv::Matx44d reprojection;
    cv::stereoRectify(cameraMatrixOf(model.left), distortionOf(model.left),
                      cameraMatrixOf(model.right), distortionOf(model.right), model.left.imageSize,
                      model.rightFromLeftRotation, model.rightFromLeftTranslation,
                      result.leftRotation, result.rightRotation, result.leftProjection,
                      result.rightProjection, reprojection, cv::CALIB_ZERO_DISPARITY, alpha);
    return rectify(model, result);
}

void placeCameras(RigModel& model, const Rectification& rectification) {
    const cv::Vec3d shift =
        shiftOf(rectification.rightProjection) - shiftOf(rectification.leftProjection);
    model.rightFromLeftRotation = rectification.rightRotation.t() * rectification.leftRotation;
    model.rightFromLeftTranslation = rectification.rightRotation.t() * shift;
}

CameraModel cameraModelOf(const vision::Calibration& calibration) {
    const cv::Mat& matrix = calibration.cameraMatrix;
    if (matrix.size() != cv::Size(3, 3) || matrix.channels() != 1)
        refuse("cameraMatrix", matrix, "3x3");
    CameraModel camera;
    camera.imageSize = {calibration.width, calibration.height};
    matrix.convertTo(camera.cameraMatrix, CV_64F);
    camera.lens.coefficients = coefficientsOf(calibration.distortion);
    return camera;
}

RigModel modelOf(const RectifiedRig& rig) {
    RigModel model{cameraModelOf(rig.left), cameraModelOf(rig.right)};
    checkModel(model);
    placeCameras(model, {rig.left.rectificationMatrix, rig.right.rectificationMatrix,
                         rig.left.projectionMatrix, rig.right.projectionMatrix});
    return model;
}

cv::Mat cameraMatrixOf(const CameraModel& camera) {
    return cv::Mat(camera.cameraMatrix);
}

cv::Mat distortionOf(const CameraModel& camera) {
    const std::vector<double>& coefficients = camera.lens.coefficients;
    return coefficients.empty() ? cv::Mat() : cv::Mat(coefficients, true).reshape(1, 1);
}

}  // namespace tiomipra
