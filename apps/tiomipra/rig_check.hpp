// Whether a rig is still calibrated, judged by ordinary pictures without a board.
#ifndef TIOMIPRA_RIG_CHECK_HPP
#define TIOMIPRA_RIG_CHECK_HPP

#include <cstddef>
#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>
#include <string>
#include <vector>
#include <vision/calibration.hpp>

#include "row_differences.hpp"

namespace tiomipra {

// Points of raw images, pixels: `left[i]` and `right[i]` look alike.
struct Matches {
    std::vector<cv::Point2f> left;
    std::vector<cv::Point2f> right;
};

// Features (SIFT) of two 8-bit grey images that are each other's best match and clearly better than
// the second best. Some are wrong all the same.
Matches matchFeatures(const cv::Mat& left, const cv::Mat& right);

enum class RigState {
    calibrated,
    swapped,  // the images are, or the calibrations: exchanged they would fit
    notCalibrated
};

std::string nameOf(RigState state);

struct RigCheck {
    RigState state = RigState::notCalibrated;
    std::string reason;          // the numbers that decide, in words
    std::string advice;          // what to do; empty if nothing
    std::size_t matches = 0;     // all of them
    std::size_t consistent = 0;  // those that fit one position of the cameras, whichever
    // Of the consistent matches, after rectification, left row minus right row, pixels.
    Spread rowDifferences;
    double signedMedian = 0;
    double turnDegrees = 0;  // about x, that would move all rows by the signed median
    double behindShare = 0;  // of the consistent matches that lie behind the cameras
    cv::Mat regionMedians;   // CV_32FC1 3x3 over the left image; NaN where too few matches are
    int regionsJudged = 0;   // of these nine, those with enough matches
    cv::Mat fineMedians;     // the same, for a picture
};

// Judges matches of one or many pairs of a rig.
//
// The consistent matches are found by their epipolar geometry, which uses the lenses but not the
// position of the cameras to each other: a wrong calibration does not choose its own witnesses.
// The rig is calibrated if the median row difference is at most `maxRowDifference`, that of each
// region at most twice as much, and most points lie in front of the cameras.
//
// Throws `InputError` when there are too few consistent matches for an answer.
RigCheck checkRig(const Matches& matches, const vision::Calibration& left,
                  const vision::Calibration& right, double maxRowDifference);

nlohmann::ordered_json toJson(const RigCheck& check);
std::string toText(const RigCheck& check);

// Median row differences over `image`, the left one of a pair.
cv::Mat drawRowDifferences(const RigCheck& check, const cv::Mat& image);

}  // namespace tiomipra

#endif
