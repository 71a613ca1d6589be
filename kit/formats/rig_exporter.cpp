#include "formats/rig_exporter.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>
#include <stdexcept>

#include "base/errors.hpp"
#include "base/json_text.hpp"
#include "base/quantities.hpp"
#include "base/text.hpp"
#include "rigs/rig_model_files.hpp"

namespace tiomipra {
namespace {

using nlohmann::ordered_json;

// Row by row.
std::vector<double> numbersOf(const cv::Mat& matrix) {
    std::vector<double> numbers;
    matrix.reshape(1, 1).convertTo(numbers, CV_64F);
    return numbers;
}

std::string listed(const std::vector<double>& numbers) {
    return fmt::format("[{}]", fmt::join(numbers, ", "));
}

// As many as `count`; those that are missing are 0.
std::vector<double> coefficientsOf(const CameraModel& camera, std::size_t count,
                                   const char* format) {
    std::vector<double> coefficients = camera.lens.coefficients;
    if (std::any_of(coefficients.begin() +
                        static_cast<std::ptrdiff_t>(std::min(count, coefficients.size())),
                    coefficients.end(), [](double one) { return one != 0; }))
        throw std::invalid_argument(
            fmt::format("a lens has {} coefficients, {} holds {}; calibrate with fewer",
                        coefficients.size(), format, count));
    coefficients.resize(count);
    return coefficients;
}

void requireMetres(const RigModel& model, const char* format) {
    if (model.unit != metres)
        throw std::invalid_argument(
            fmt::format("the rig has a unit of its own, {} has metres; calibrate or import it with "
                        "a unit",
                        format));
}

bool isFisheye(const CameraModel& camera) {
    return camera.lens.kind == LensKind::fisheye;
}

// Of wide-angle lenses what stands for them.
std::vector<std::string> writeOpenCv(const RigModel& model, const RectifiedRig& rectified) {
    const CameraModel left = isFisheye(model.left) ? cameraModelOf(rectified.left) : model.left;
    const CameraModel right = isFisheye(model.right) ? cameraModelOf(rectified.right) : model.right;
    constexpr int plainCount = 5;
    const auto lens = [](const CameraModel& camera) {
        const cv::Mat coefficients = distortionOf(camera);
        return coefficients.empty() ? cv::Mat(cv::Mat::zeros(1, plainCount, CV_64F)) : coefficients;
    };
    const auto inDoubles = [](const cv::Mat& matrix) {
        cv::Mat doubles;
        matrix.convertTo(doubles, CV_64F);
        return doubles;
    };
    cv::FileStorage storage(".yml", cv::FileStorage::WRITE | cv::FileStorage::MEMORY);
    storage << "imageSize" << left.imageSize;
    storage << "M1" << cameraMatrixOf(left) << "D1" << lens(left);
    storage << "M2" << cameraMatrixOf(right) << "D2" << lens(right);
    storage << "R" << cv::Mat(model.rightFromLeftRotation);
    storage << "T" << cv::Mat(model.rightFromLeftTranslation);
    storage << "R1" << inDoubles(rectified.left.rectificationMatrix);
    storage << "R2" << inDoubles(rectified.right.rectificationMatrix);
    storage << "P1" << inDoubles(rectified.left.projectionMatrix);
    storage << "P2" << inDoubles(rectified.right.projectionMatrix);
    return {storage.releaseAndGetString()};
}

std::string writeRosCamera(const CameraModel& camera, const vision::Calibration& rectified,
                           const char* name) {
    constexpr std::size_t plainCount = 5, rationalCount = 8;
    const bool isRational = camera.lens.coefficients.size() > plainCount;
    const auto coefficients =
        isFisheye(camera)
            ? camera.lens.coefficients
            : coefficientsOf(camera, isRational ? rationalCount : plainCount, "camera_info");
    return fmt::format(
        "image_width: {}\n"
        "image_height: {}\n"
        "camera_name: {}\n"
        "camera_matrix: {{rows: 3, cols: 3, data: {}}}\n"
        "distortion_model: {}\n"
        "distortion_coefficients: {{rows: 1, cols: {}, data: {}}}\n"
        "rectification_matrix: {{rows: 3, cols: 3, data: {}}}\n"
        "projection_matrix: {{rows: 3, cols: 4, data: {}}}\n",
        camera.imageSize.width, camera.imageSize.height, name,
        listed(numbersOf(cameraMatrixOf(camera))),
        isFisheye(camera) ? "equidistant"
        : isRational      ? "rational_polynomial"
                          : "plumb_bob",
        coefficients.size(), listed(coefficients), listed(numbersOf(rectified.rectificationMatrix)),
        listed(numbersOf(rectified.projectionMatrix)));
}

std::vector<std::string> writeRos(const RigModel& model, const RectifiedRig& rectified) {
    requireMetres(model, "camera_info");
    return {writeRosCamera(model.left, rectified.left, "left"),
            writeRosCamera(model.right, rectified.right, "right")};
}

std::string writeKalibrCamera(const CameraModel& camera, int number) {
    constexpr std::size_t count = 4;
    const cv::Matx33d& matrix = camera.cameraMatrix;
    return fmt::format(
        "  camera_model: pinhole\n"
        "  distortion_coeffs: {}\n"
        "  distortion_model: {}\n"
        "  intrinsics: {}\n"
        "  resolution: [{}, {}]\n"
        "  rostopic: /cam{}/image_raw\n",
        listed(coefficientsOf(camera, count, "a camera chain")),
        isFisheye(camera) ? "equidistant" : "radtan",
        listed({matrix(0, 0), matrix(1, 1), matrix(0, 2), matrix(1, 2)}), camera.imageSize.width,
        camera.imageSize.height, number);
}

std::vector<std::string> writeKalibr(const RigModel& model, const RectifiedRig&) {
    requireMetres(model, "a camera chain");
    std::string chain = "cam0:\n" + writeKalibrCamera(model.left, 0) + "cam1:\n  T_cn_cnm1:\n";
    for (int row = 0; row < 3; ++row) {
        const cv::Matx13d turn = model.rightFromLeftRotation.row(row);
        chain += fmt::format(
            "  - {}\n", listed({turn(0), turn(1), turn(2), model.rightFromLeftTranslation[row]}));
    }
    return {chain + "  - [0.0, 0.0, 0.0, 1.0]\n" + writeKalibrCamera(model.right, 1)};
}

ordered_json toRows(const cv::Mat& matrix) {
    ordered_json rows = ordered_json::array();
    for (int row = 0; row < matrix.rows; ++row)
        rows.push_back(numbersOf(matrix.row(row)));
    return rows;
}

ordered_json toJson(const CameraModel& camera, const vision::Calibration& rectified) {
    return {{"width", camera.imageSize.width},
            {"height", camera.imageSize.height},
            {"cameraMatrix", toRows(cameraMatrixOf(camera))},
            {"lens", nameOf(camera.lens.kind)},
            {"lensCoefficients", camera.lens.coefficients},
            {"rectificationMatrix", toRows(rectified.rectificationMatrix)},
            {"projectionMatrix", toRows(rectified.projectionMatrix)}};
}

std::vector<std::string> writeJson(const RigModel& model, const RectifiedRig& rectified) {
    const cv::Vec3d& translation = model.rightFromLeftTranslation;
    return {
        dumpJson({{"unit", model.unit},
                  {"left", toJson(model.left, rectified.left)},
                  {"right", toJson(model.right, rectified.right)},
                  {"rightFromLeftRotation", toRows(cv::Mat(model.rightFromLeftRotation))},
                  {"rightFromLeftTranslation", {translation[0], translation[1], translation[2]}}})};
}

}  // namespace

const std::vector<ExportFormat>& exportFormats() {
    static const std::vector<ExportFormat> formats = {
        {"opencv", "one file with what stereo_calib writes in two, and the image size", 1,
         writeOpenCv},
        {"ros", "two camera_info files, left and right", 2, writeRos},
        {"kalibr", "a camera chain", 1, writeKalibr},
        {"json", "the rig model with its rectification", 1, writeJson}};
    return formats;
}

const ExportFormat& exportFormat(const std::string& name) {
    std::vector<std::string> names;
    for (const ExportFormat& format : exportFormats()) {
        if (format.name == name)
            return format;
        names.push_back(format.name);
    }
    throw SettingError("format",
                       fmt::format("is {}, must be one of {}", quote(name), joined(names)));
}

}  // namespace tiomipra
