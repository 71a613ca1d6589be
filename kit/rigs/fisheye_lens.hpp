// Wide-angle lenses with four coefficients (equidistant, Kannala and Brandt 2006, `cv::fisheye`): a
// ray at an angle t off the axis is imaged t (1 + k1 t^2 + k2 t^4 + k3 t^6 + k4 t^8) focal lengths
// off the centre. The library knows OpenCV's pinhole lens alone, whose eight coefficients can
// follow such a lens as far as rectified images reach.
#ifndef TIOMIPRA_RIGS_FISHEYE_LENS_HPP
#define TIOMIPRA_RIGS_FISHEYE_LENS_HPP

#include <optional>

#include "rigs/rig_model.hpp"

namespace tiomipra {

// How rectified images of such lenses are chosen.
struct FisheyeView {
    // Horizontal field of view of the rectified images, degrees. Else from the widest without empty
    // pixels (`alpha` 0 or -1) to that of the raw images (1), at most 120.
    std::optional<double> fieldOfView;
    double alpha = 0;
};

// Turns the cameras as `cv::stereoRectify` does. Throws `SettingError` for "alpha" as `checkAlpha`
// and for "field-of-view" unless it is from 10 to 150, and `std::invalid_argument` for a lens whose
// image folds within it.
Rectification rectifyFisheye(const RigModel& model, const FisheyeView& view);

// A rig whose lenses are pinholes with eight coefficients.
struct PinholeRig {
    RigModel model;
    double residual = 0;  // by how many pixels of the raw images it is off at most
    double angle = 0;     // to how many degrees off the axis
};

// The same rig for what rectified images show of it. Throws `std::invalid_argument` when these
// reach 85 degrees off an axis, or a lens folds within them.
PinholeRig asPinholes(const RigModel& model, const Rectification& rectification);

}  // namespace tiomipra

#endif
