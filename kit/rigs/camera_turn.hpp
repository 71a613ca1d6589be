// How the cameras of a rig have turned against each other since they were calibrated.
#ifndef TIOMIPRA_RIGS_CAMERA_TURN_HPP
#define TIOMIPRA_RIGS_CAMERA_TURN_HPP

#include <opencv2/core/types.hpp>
#include <vector>
#include <vision/calibration.hpp>

namespace tiomipra {

// Degrees; the true angle is within `uncertainty` (two standard deviations) of it 19 times in 20,
// as far as the matches err independently of each other.
struct Angle {
    double degrees = 0;
    double uncertainty = 0;
};

// Of the right camera against the left one, about the axes of the rectified frame.
struct CameraTurn {
    Angle aboutX;  // X is to the right: positive where the camera looks higher than it should
    Angle aboutY;  // Y is down: positive where it looks further to the right
    Angle aboutZ;  // Z is forward: positive where it is turned clockwise
};

struct TurnFit {
    CameraTurn turn;
    // How far each match is from what cameras turned like that see: Sampson distance, pixels.
    std::vector<double> distances;
    double cutOff = 0;  // distances beyond it had no influence
};

// Fits the turn and the direction of the baseline to matching points of a rectified pair, pixels;
// focal lengths, lenses and the length of the baseline are taken as calibrated.
//
// What the matches do not determine stays near 0 with a large uncertainty, as turns of more than
// some ten degrees are not expected. Up to a half of the matches may be wrong. The formulas are in
// docs/mathematics.md.
TurnFit fitCameraTurn(const std::vector<cv::Point2d>& left, const std::vector<cv::Point2d>& right,
                      const vision::Calibration& leftCamera,
                      const vision::Calibration& rightCamera);

}  // namespace tiomipra

#endif
