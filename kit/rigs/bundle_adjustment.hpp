// Cameras, where they stand and where the boards were, adjusted all at once to what was seen.
#ifndef TIOMIPRA_RIGS_BUNDLE_ADJUSTMENT_HPP
#define TIOMIPRA_RIGS_BUNDLE_ADJUSTMENT_HPP

#include <functional>
#include <opencv2/core.hpp>
#include <vector>

#include "rigs/camera_projection.hpp"
#include "rigs/rig_model.hpp"

namespace tiomipra {

// What one camera saw of a board: points on the board, and where they were, pixels.
struct Sighting {
    std::vector<cv::Point3d> board;
    std::vector<cv::Point2d> image;
};

// What is adjusted. With two cameras the first one is the left one.
struct Bundle {
    std::vector<CameraModel> cameras;
    Pose rightFromLeft;        // used with two cameras only
    std::vector<Pose> boards;  // of each view, from the board's frame to the first camera's
};

// `sightings[camera][view]`
using Sightings = std::vector<std::vector<Sighting>>;

struct BundleFit {
    // Root mean square distance in pixels, over all points and over those of each view.
    double error = 0;
    std::vector<double> viewErrors;
    // Of each adjusted camera: standard deviation of its focal length relative to it, the larger of
    // both directions, as far as the distances come from noise; infinite where the views do not
    // determine it.
    std::vector<double> focalUncertainties;
};
BundleFit evaluate(const Bundle& bundle, const Sightings& sightings);

// Hears of the error as in `BundleFit` before each step.
using OnAdjustmentStep = std::function<void(double error)>;

enum class Adjusted {
    posesOnly,       // cameras are kept
    camerasAndPoses  // focal lengths, principal points and lens coefficients as well
};

// Moves `bundle` to the nearest minimum of the squared distances between where points were seen and
// where the cameras project them (Levenberg-Marquardt). Each step eliminates the boards' poses
// first (Schur complement), so that its time grows with the number of views, not with the cube of
// it.
//
// @param onStep  if it is not empty; what it throws ends the adjustment
BundleFit adjust(Bundle& bundle, const Sightings& sightings, Adjusted adjusted,
                 const OnAdjustmentStep& onStep);

}  // namespace tiomipra

#endif
