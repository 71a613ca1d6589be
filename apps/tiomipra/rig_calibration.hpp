// From the points of a board in many pairs of images to the calibration of both cameras.
#ifndef TIOMIPRA_RIG_CALIBRATION_HPP
#define TIOMIPRA_RIG_CALIBRATION_HPP

#include <cstddef>
#include <opencv2/core.hpp>
#include <optional>
#include <vector>
#include <vision/calibration.hpp>

#include "board_detection.hpp"
#include "row_differences.hpp"

namespace tiomipra {

// A calibration needs at least this many pairs that show the board in both images.
constexpr std::size_t minimumPairs = 3;

// The board as both cameras saw it at one moment.
struct PairDetection {
    Detection left;
    Detection right;
};

// Pinhole and lens distortion of one camera in 64-bit floats, as `cv::calibrateCamera` gives them.
struct Intrinsics {
    cv::Mat cameraMatrix;
    cv::Mat distortion;
};

struct RigCalibrationOptions {
    // As in `cv::stereoRectify`: 0 zooms in until the rectified images show no empty pixel, 1
    // keeps all pixels of the raw images, values between are blends; negative leaves it to OpenCV.
    double alpha = 0;
    // Views whose pair error is above this, in pixels, are left out; infinity keeps all.
    double rejectAbove = std::numeric_limits<double>::infinity();
    // Known intrinsics of the left and the right camera, which are then not solved for.
    std::optional<std::pair<Intrinsics, Intrinsics>> fixedIntrinsics;
};

// One camera alone: its intrinsics and how well they explain what it saw.
struct CameraSolution {
    Intrinsics intrinsics;
    // Root mean square reprojection error in pixels, over all views and per view.
    double error = 0;
    std::vector<double> viewErrors;
    // Standard deviation of the focal length relative to it; 0 if the intrinsics were given.
    double focalUncertainty = 0;
};

// A view that was left out, by its index, and the pair error in pixels that decided.
struct RejectedView {
    std::size_t index;
    double error;
};

// A calibrated rig. What is given per view follows the order of `used`.
struct RigSolution {
    cv::Size imageSize;
    std::vector<std::size_t> used;
    std::vector<RejectedView> rejected;
    CameraSolution left;
    CameraSolution right;
    // From the frame of the left camera to that of the right one.
    cv::Mat rotation;
    cv::Mat translation;
    // Root mean square reprojection error in pixels of both images, with one pose of the board per
    // view for both.
    double pairError = 0;
    std::vector<double> pairViewErrors;
    // Rows of the same corner in the rectified left and right image, pixels.
    Spread rowDifferences;
    std::vector<double> viewRowDifferences;  // mean per view
    // What the library takes: matrices of 32-bit floats.
    vision::Calibration leftCalibration;
    vision::Calibration rightCalibration;
};

// Calibrates each camera, then the pair with these intrinsics, then the rectification.
//
// While a view's pair error is above `options.rejectAbove`, leaves out the worst one and starts
// again: one wrong view spoils the errors of the others.
//
// @param views  at least `minimumPairs`, each with a board in both images whose shared points
//               determine its pose
// @throws InputError when fewer than `minimumPairs` remain, the views do not determine the
//         calibration, or the cameras are in the same place
RigSolution calibrateRig(const std::vector<PairDetection>& views, const Board& board,
                         const cv::Size& imageSize, const RigCalibrationOptions& options);

}  // namespace tiomipra

#endif
