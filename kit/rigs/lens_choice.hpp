// Which lens both cameras of a rig are measured with.
#ifndef TIOMIPRA_RIGS_LENS_CHOICE_HPP
#define TIOMIPRA_RIGS_LENS_CHOICE_HPP

#include <optional>
#include <string>

#include "rigs/camera_calibration.hpp"

namespace tiomipra {

struct CalibratedCameras {
    CameraSolution left;
    CameraSolution right;
    std::string reason;  // for their lens, in words
};

// Calibrates each camera alone. Without `wanted`, pinholes are taken unless what they leave of the
// corners' positions depends on the distance from the centre or is more than good calibrations
// have, and another lens leaves clearly less; of the others the fisheye unless the rational one
// leaves less.
//
// @param sightings  of two cameras
// @throws cv::Exception when the views do not determine the cameras
CalibratedCameras calibrateCameras(const Sightings& sightings, const cv::Size& imageSize,
                                   std::optional<Lens> wanted, const OnAdjustmentStep& onStep);

// By how many pixels corners lie farther out than the camera has them, or farther in: the largest
// mean of ten rings about the centre, as far as it is no accident.
double radialResidual(const CameraSolution& solution, const PerView& sightings);

}  // namespace tiomipra

#endif
