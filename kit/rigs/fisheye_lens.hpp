// What stands for wide-angle lenses (rigs/fisheye_rays.hpp) in calibrations: the library knows
// OpenCV's pinhole lens alone, whose eight coefficients can follow such a lens as far as rectified
// images reach.
#ifndef TIOMIPRA_RIGS_FISHEYE_LENS_HPP
#define TIOMIPRA_RIGS_FISHEYE_LENS_HPP

#include <optional>
#include <string>

#include "rigs/rig_model.hpp"

namespace tiomipra {

// How rectified images of such lenses are chosen.
struct FisheyeView {
    // Horizontal field of view of the rectified images, degrees. Else from the widest without empty
    // pixels (`alpha` 0 or -1) to that of the raw images (1), at most 120.
    std::optional<double> fieldOfView;
    double alpha = 0;
};

// What is asked of pinholes in the place of such lenses.
struct WideAngleSettings {
    std::optional<double> fieldOfView;  // see `FisheyeView`
    double maxResidual = 0.3;           // pixels of the raw images
};

// Throws `SettingError` for "field-of-view" unless it is from 10 to 150 degrees, if there is one.
void checkFieldOfView(const std::optional<double>& fieldOfView);

// Turns the cameras as `cv::stereoRectify` does. Throws `SettingError` as `checkAlpha` and
// `checkFieldOfView`, and `std::invalid_argument` for a lens whose image folds within it.
Rectification rectifyFisheye(const RigModel& model, const FisheyeView& view);

// How well pinholes follow wide-angle lenses.
struct PinholeFit {
    double residual = 0;  // by how many pixels of the raw images they are off at most
    double angle = 0;     // to how many degrees off the axis
};
std::string describe(const PinholeFit& fit);

// A rig whose lenses are pinholes with eight coefficients.
struct PinholeRig {
    RigModel model;
    PinholeFit fit;
};

// The same rig for what rectified images show of it. Throws `std::invalid_argument` when these
// reach 85 degrees off an axis, a lens folds within them, or the residual is above `maxResidual`.
PinholeRig asPinholes(const RigModel& model, const Rectification& rectification,
                      double maxResidual = WideAngleSettings().maxResidual);

}  // namespace tiomipra

#endif
