// One camera calibrated alone, from what it saw of a board.
#ifndef TIOMIPRA_RIGS_CAMERA_CALIBRATION_HPP
#define TIOMIPRA_RIGS_CAMERA_CALIBRATION_HPP

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "rigs/bundle_adjustment.hpp"

namespace tiomipra {

// What may be measured of a lens.
enum class Lens {
    pinhole,   // 5 coefficients: k1, k2, p1, p2, k3
    rational,  // 8, with k4, k5 and k6 in the denominator
    fisheye    // 4, for wide angles
};
std::string nameOf(Lens lens);

// Of the camera: rational from 8 coefficients on.
Lens lensOf(const CameraModel& camera);

using PerView = std::vector<Sighting>;  // what one camera saw

struct CameraFit {
    // Root mean square reprojection error in pixels of the camera calibrated alone, over all views
    // and per view: how well one camera explains what it saw.
    double error = 0;
    std::vector<double> viewErrors;
    // Standard deviation of the model's focal length relative to it; 0 for a known camera, infinite
    // where the views do not determine it.
    double focalUncertainty = 0;
};

struct CameraSolution {
    CameraModel camera;
    std::vector<Pose> boards;  // from the board's frame to the camera's
    CameraFit fit;
};

CameraSolution calibrateCamera(const PerView& sightings, const cv::Size& imageSize, Lens lens,
                               const OnAdjustmentStep& onStep);

// Where a camera that is known saw the boards.
CameraSolution evaluateCamera(const PerView& sightings, const CameraModel& camera);

}  // namespace tiomipra

#endif
