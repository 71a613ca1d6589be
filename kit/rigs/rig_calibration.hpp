// From the points of a board in many pairs of images to the calibration of both cameras.
#ifndef TIOMIPRA_RIGS_RIG_CALIBRATION_HPP
#define TIOMIPRA_RIGS_RIG_CALIBRATION_HPP

#include <cstddef>
#include <limits>
#include <opencv2/core.hpp>
#include <optional>
#include <utility>
#include <vector>

#include "base/statistics.hpp"
#include "rigs/board_detection.hpp"
#include "rigs/bundle_adjustment.hpp"
#include "rigs/camera_calibration.hpp"
#include "rigs/fisheye_lens.hpp"
#include "rigs/rig_model.hpp"

namespace tiomipra {

// A calibration needs at least this many pairs that show the board in both images.
constexpr std::size_t minimumPairs = 3;

struct RigCalibrationOptions {
    double alpha = 0;  // see `rectify`
    // Views whose pair error is above this, in pixels, are left out; infinity keeps all.
    double rejectAbove = std::numeric_limits<double>::infinity();
    std::optional<Lens> lens;  // none: see `calibrateCameras`
    WideAngleSettings wideAngle;
    // Known left and right cameras, whose matrices and lenses are then not solved for.
    std::optional<std::pair<CameraModel, CameraModel>> knownCameras;
    // Called before each step of the calibration, if it is not empty; what it throws ends it.
    OnAdjustmentStep onStep;
};

// A view that was left out, by its index, and the pair error in pixels that decided.
struct RejectedView {
    std::size_t index;
    double error;
};

// A calibrated rig. What is given per view follows the order of `used`.
struct RigSolution {
    RigModel model;
    std::string lensReason;  // for the lens that was taken, in words
    std::vector<std::size_t> used;
    std::vector<RejectedView> rejected;
    CameraFit left;
    CameraFit right;
    // Root mean square reprojection error in pixels of both images, with one pose of the board per
    // view for both.
    double pairError = 0;
    std::vector<double> pairViewErrors;
    std::vector<Pose> boards;  // from the board's frame to the left camera's
    RectifiedRig rectified;
    std::optional<PinholeFit> pinholes;  // that `rectified` has in the place of wide-angle lenses
    // Rows of the same corner in the rectified left and right image, pixels. Of wide-angle lenses
    // only the corners that both images show; not a number without any.
    Spread rowDifferences;
    std::vector<double> viewRowDifferences;  // mean per view

    // The distance between the cameras, in the model's unit.
    double baseline() const;
};

// Calibrates each camera, then the pair with these cameras, then all of it together, and rectifies.
//
// While a view's pair error is above `options.rejectAbove`, leaves out the worst one and starts
// again: one wrong view spoils the errors of the others.
//
// @param views  at least `minimumPairs`, each with a board in both images whose shared points
//               determine its pose
// @throws InputError when fewer than `minimumPairs` remain, the views do not determine the
//         calibration, the cameras are in the same place, or no pinholes follow their lenses
RigSolution calibrateRig(const std::vector<PairDetection>& views, const Board& board,
                         const cv::Size& imageSize, const RigCalibrationOptions& options);

}  // namespace tiomipra

#endif
