// Whether a rig is still calibrated, judged by ordinary pictures without a board.
#ifndef TIOMIPRA_RIGS_RIG_CHECK_HPP
#define TIOMIPRA_RIGS_RIG_CHECK_HPP

#include <cstddef>
#include <opencv2/core.hpp>
#include <string>
#include <vector>
#include <vision/calibration.hpp>

#include "base/statistics.hpp"
#include "rigs/camera_turn.hpp"
#include "rigs/feature_matches.hpp"

namespace tiomipra {

enum class RigState {
    calibrated,
    swapped,  // the images are, or the calibrations: exchanged they would fit
    notCalibrated
};

std::string nameOf(RigState state);

// What a turn about y does, which moves no rows to speak of but all disparities.
struct DepthError {
    double disparity = 0;  // pixels that disparities in the middle of the image are too large
    double depth = 0;      // the median of what the matches measure
    double share = 0;      // by which that depth is too large; where it is too small, below 0
};

// A consistent match.
struct PlacedRow {
    cv::Point2f place;      // in the left raw image, pixels
    double difference = 0;  // left row minus right row, pixels
    std::size_t pair = 0;   // as in `Matches`
};

struct RigCheck {
    RigState state = RigState::notCalibrated;
    std::string reason;          // the numbers that decide, in words
    std::string advice;          // what to do; empty if nothing
    std::size_t matches = 0;     // all of them
    std::size_t consistent = 0;  // those that fit one position of the cameras, whichever it is
    // Of the consistent matches, after rectification, left row minus right row, pixels.
    Spread rowDifferences;
    double signedMedian = 0;
    double behindShare = 0;       // of the consistent matches that lie behind the cameras
    CameraTurn turn;              // says nothing if left and right are swapped
    double turnLimit = 0;         // about y, degrees, that calibrated rigs may show
    DepthError depthError;        // that follows from it
    cv::Mat regionMedians;        // CV_32FC1 3x3 over the left image; NaN where too few matches are
    int regionsJudged = 0;        // of these nine, those with enough matches
    cv::Mat fineMedians;          // the same for 8x6 cells, for a picture
    std::vector<PlacedRow> rows;  // of all consistent matches
};

// Whether the turn about y is known well enough to judge it, and whether it is then beyond the
// limit with its uncertainty allowed for.
bool isTurnKnown(const RigCheck& check);
bool hasTurned(const RigCheck& check);

// Judges matches of one or many pairs of a rig, whose calibrations are for images of that size.
//
// Wrong matches are sorted out by their epipolar geometry, which is estimated anew and uses the
// lenses only. If the calibration decided which matches count, a wrong calibration would keep just
// those that happen to fit it, and pass.
//
// The rig is calibrated if the median row difference is at most `maxRowDifference`, that of each
// region and what 95 % of the row differences stay within at most twice as much, no camera has
// turned about y (`hasTurned`), and most points lie in front of the cameras.
//
// Throws `InputError` when there are too few consistent matches for an answer.
RigCheck checkRig(const Matches& matches, const vision::Calibration& left,
                  const vision::Calibration& right, double maxRowDifference);

}  // namespace tiomipra

#endif
