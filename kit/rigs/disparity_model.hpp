// How disparity and depth belong together.
#ifndef TIOMIPRA_RIGS_DISPARITY_MODEL_HPP
#define TIOMIPRA_RIGS_DISPARITY_MODEL_HPP

#include <vision/calibration.hpp>

namespace tiomipra {

// Of a rectified pair: disparities in pixels, depths in the unit of the calibrations. A point's
// disparity is `atInfinity` + `timesDepth` / depth.
struct DisparityModel {
    double atInfinity = 0;  // zero, unless the principal points differ
    double timesDepth = 0;  // focal length times baseline

    double disparityAt(double depth) const;
    double depthAt(double disparity) const;

    // How much nearer than `depth` a point is whose disparity is larger by `step`.
    double depthStepAt(double depth, double step) const;
};

// Takes usable calibrations: their projection matrices are 3x4 `CV_32FC1`.
DisparityModel disparityModel(const vision::Calibration& left, const vision::Calibration& right);

}  // namespace tiomipra

#endif
