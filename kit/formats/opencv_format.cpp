// What OpenCV's stereo_calib writes in two files, and tutorials in one, by many names.
#include <opencv2/calib3d.hpp>
#include <stdexcept>

#include "base/text.hpp"
#include "formats/source_rig.hpp"

namespace tiomipra {
namespace {

using Names = std::vector<const char*>;

const Names leftMatrix = {
    "M1",     "K1", "cameraMatrix1", "cameraMatrixL", "camera_matrix_1", "left_camera_matrix",
    "K_left", "KL", "mtxL"};
const Names rightMatrix = {
    "M2",      "K2", "cameraMatrix2", "cameraMatrixR", "camera_matrix_2", "right_camera_matrix",
    "K_right", "KR", "mtxR"};
const Names leftLens = {
    "D1",     "distCoeffs1", "distCoeffsL", "dist_coeffs_1", "left_distortion_coefficients",
    "D_left", "DL",          "distL"};
const Names rightLens = {
    "D2",      "distCoeffs2", "distCoeffsR", "dist_coeffs_2", "right_distortion_coefficients",
    "D_right", "DR",          "distR"};
const Names rotation = {"R", "rotation", "Rot", "rotation_matrix"};
const Names translation = {"T", "translation", "Trns", "translation_vector"};
const Names sizes = {"imageSize", "image_size", "size", "img_size"};

std::optional<SourceValue> find(const SourceDocuments& documents, const Names& names) {
    for (const SourceDocument& document : documents) {
        for (const char* name : names) {
            if (auto value = document.root().find(name))
                return value;
        }
    }
    return std::nullopt;
}

SourceValue get(const SourceDocuments& documents, const Names& names) {
    const auto value = find(documents, names);
    if (!value)
        throw std::invalid_argument(
            fmt::format("there is none of the keys {}", fmt::join(names, ", ")));
    return *value;
}

bool fits(const SourceDocuments& documents) {
    return find(documents, leftMatrix) || find(documents, leftLens) ||
           (find(documents, rotation) && find(documents, translation));
}

// {0, 0} where there is none.
cv::Size readSize(const SourceDocuments& documents) {
    if (const auto size = find(documents, sizes))
        return sizeFrom(*size);
    const auto width = find(documents, {"image_width", "imageWidth", "width"});
    const auto height = find(documents, {"image_height", "imageHeight", "height"});
    return width && height ? cv::Size(width->whole(), height->whole()) : cv::Size();
}

// By its matrix, or its vector.
cv::Matx33d readRotation(const SourceValue& value) {
    if (value.numbers().size() != 3)
        return value.matrix<3, 3>();
    cv::Matx33d matrix;
    cv::Rodrigues(value.matrix<3, 1>(), matrix);
    return matrix;
}

std::optional<Rectification> readRectification(const SourceDocuments& documents) {
    const auto leftRotation = find(documents, {"R1"}), rightRotation = find(documents, {"R2"});
    const auto leftProjection = find(documents, {"P1"}), rightProjection = find(documents, {"P2"});
    if (!leftRotation || !rightRotation || !leftProjection || !rightProjection)
        return std::nullopt;
    return Rectification{leftRotation->matrix<3, 3>(), rightRotation->matrix<3, 3>(),
                         leftProjection->matrix<3, 4>(), rightProjection->matrix<3, 4>()};
}

// Both stand in the file, and files of two calibrations may have been mixed.
void requireSamePlaces(const RigModel& model, const Rectification& rectification) {
    RigModel rectified = model;
    placeCameras(rectified, rectification);
    constexpr double tolerance = 1e-3;
    const double turn = cv::norm(rectified.rightFromLeftRotation - model.rightFromLeftRotation);
    const double shift =
        cv::norm(rectified.rightFromLeftTranslation - model.rightFromLeftTranslation);
    if (turn > tolerance || shift > tolerance * cv::norm(model.rightFromLeftTranslation))
        throw std::invalid_argument(
            "R1, R2, P1 and P2 are of cameras at other places than R and T, must be of the same "
            "calibration");
}

void noteAmbiguousLenses(SourceRig& rig) {
    constexpr std::size_t ambiguous = 4;
    if (rig.model.left.lens.coefficients.size() == ambiguous)
        rig.notes.emplace_back(
            "the lenses have four coefficients, which are taken as k1 k2 p1 p2; those of a fisheye "
            "lens look the same, so check the rig with a pair before you use it");
}

SourceRig read(const SourceDocuments& documents, const ImportSettings& settings) {
    const auto lens = [&](const Names& names) {
        return LensModel{LensKind::radialTangential, get(documents, names).numbers()};
    };
    const cv::Size size = readSize(documents);
    SourceRig rig{{{size, get(documents, leftMatrix).matrix<3, 3>(), lens(leftLens)},
                   {size, get(documents, rightMatrix).matrix<3, 3>(), lens(rightLens)},
                   readRotation(get(documents, rotation)),
                   cv::Vec3d(get(documents, translation).matrix<3, 1>().val)}};
    if (!settings.alpha)
        rig.rectification = readRectification(documents);
    if (rig.rectification)
        requireSamePlaces(rig.model, *rig.rectification);
    noteAmbiguousLenses(rig);
    return rig;
}

}  // namespace

SourceFormat openCvFormat() {
    return {{"opencv", "intrinsics.yml and extrinsics.yml of stereo_calib, or one file with both"},
            0,
            false,
            fits,
            read};
}

}  // namespace tiomipra
