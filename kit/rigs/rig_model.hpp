// A rig before rectification: what a calibration measures, and what the rest follows from.
//
// A camera's frame has X right, Y down, Z forward. Pixel (0, 0) is the centre of the top left
// pixel.
#ifndef TIOMIPRA_RIGS_RIG_MODEL_HPP
#define TIOMIPRA_RIGS_RIG_MODEL_HPP

#include <cstddef>
#include <opencv2/core.hpp>
#include <string>
#include <vector>
#include <vision/calibration.hpp>

namespace tiomipra {

// How a lens departs from a pinhole.
enum class LensKind {
    // OpenCV's pinhole lens: k1, k2, p1, p2 and, as far as there are more, k3, k4, k5, k6, s1, s2,
    // s3, s4, tau_x, tau_y; 0, 4, 5, 8, 12 or 14 coefficients.
    radialTangential,
    // Wide-angle lenses: k1, k2, k3, k4, see rigs/fisheye_lens.hpp.
    fisheye
};

// Whether a lens of that kind has `count` coefficients. None mean a pinhole without distortion; a
// fisheye lens always has them.
bool isCoefficientCount(LensKind kind, std::size_t count);

// The counts other than 0, as in "4, 5, 8, 12 or 14".
std::string coefficientCounts(LensKind kind);

struct LensModel {
    LensKind kind = LensKind::radialTangential;
    std::vector<double> coefficients;  // without any there is no distortion
};

struct CameraModel {
    cv::Size imageSize;                             // pixels
    cv::Matx33d cameraMatrix = cv::Matx33d::eye();  // fx 0 cx / 0 fy cy / 0 0 1, pixels
    LensModel lens;
};

struct RigModel {
    CameraModel left;
    CameraModel right;
    // A point at p in the left camera's frame is at `rightFromLeftRotation` p +
    // `rightFromLeftTranslation` in the right one's.
    cv::Matx33d rightFromLeftRotation = cv::Matx33d::eye();
    cv::Vec3d rightFromLeftTranslation = {};  // in `unit`
    std::string unit = {};                    // of lengths: "m", or "" for the user's own
};

// Throws `std::invalid_argument` when the image sizes differ or a lens has a count of coefficients
// that its kind does not have.
void checkModel(const RigModel& model);

// What keeps `matrix` from being that of a pinhole, as in "must be fx 0 cx / ..."; empty if nothing
// does.
std::string whyNoCameraMatrix(const cv::Matx33d& matrix);

// What keeps `matrix` from being a rotation, as in "is not a rotation (...)"; empty if nothing
// does.
std::string whyNoRotation(const cv::Matx33d& matrix);

// The same of the way from one camera to the other.
std::string whyNoTranslation(const cv::Vec3d& vector);

// What the library takes: matrices of 32-bit floats.
struct RectifiedRig {
    vision::Calibration left;
    vision::Calibration right;
};

// How both cameras turn and project, as `cv::stereoRectify` gives it: the rotations lead from a
// camera's frame to its rectified frame; pixels, and `unit` times pixels.
struct Rectification {
    cv::Matx33d leftRotation = cv::Matx33d::eye();
    cv::Matx33d rightRotation = cv::Matx33d::eye();
    cv::Matx34d leftProjection;
    cv::Matx34d rightProjection;
};

// The calibrations that follow from a rectification that is known. Throws `std::invalid_argument`
// as `checkModel`.
RectifiedRig rectify(const RigModel& model, const Rectification& rectification);

// Where the cameras are to each other as their rectification has it: sets the rotation and the
// translation of `model`. Throws `std::invalid_argument` when a projection has no inverse.
void placeCameras(RigModel& model, const Rectification& rectification);

// The rig that two calibrations describe, but for its unit. Throws `std::invalid_argument` as
// `cameraModelOf`, `checkModel` and `placeCameras`. Their matrices have the shapes that a usable
// pair has.
RigModel modelOf(const RectifiedRig& rig);

// Throws `SettingError` for "alpha" unless `rectify` takes it.
void checkAlpha(double alpha);

// Turns both cameras so that matching points share a row, with the principal points at the same
// place (`cv::stereoRectify`). With an `alpha` of 0 the images are enlarged until they show no
// empty pixel, with 1 they keep all pixels of the raw ones, between is a blend; -1 leaves it to
// OpenCV. Of pinhole lenses; rigs/fisheye_lens.hpp has the others.
//
// Throws `SettingError` as `checkAlpha` and `std::invalid_argument` as `checkModel`.
RectifiedRig rectify(const RigModel& model, double alpha);

// The camera without its rectification. Throws `std::invalid_argument` that names the matrix and
// the rule unless `cameraMatrix` is 3x3 and `distortion` a vector of coefficients, or empty.
CameraModel cameraModelOf(const vision::Calibration& calibration);

// As OpenCV's functions take them: 3x3, and one row or empty, `CV_64FC1`.
cv::Mat cameraMatrixOf(const CameraModel& camera);
cv::Mat distortionOf(const CameraModel& camera);

}  // namespace tiomipra

#endif
