// From a pair of images to the disparities and points that were really measured.
#ifndef TIOMIPRA_MATCHING_HPP
#define TIOMIPRA_MATCHING_HPP

#include <memory>
#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "calibration_files.hpp"
#include "frame_source.hpp"
#include "matcher_options.hpp"

namespace tiomipra {

// The rig for images of `size`, which must have its aspect ratio.
Rig scaleTo(const Rig& rig, const cv::Size& size);

// The largest size within `size` of which both sides are multiples of `scale`.
cv::Size divisibleSize(const cv::Size& size, int scale);

// The rig for images without their last columns and rows: `size` is what is left.
Rig cropTo(Rig rig, const cv::Size& size);

// A stereo object with the rig's calibrations and all parameters of `settings`. Throws `InputError`
// for a rig that can't be used, `UsageError` for settings that the library refuses or that the rig
// can't measure.
std::unique_ptr<vision::Stereo> makeStereo(const MatcherSettings& settings, const Rig& rig);

// True when depths of `settings` have a suffix, so that they are in metres, while nothing says
// whether the rig's lengths are. Where something says that they are not, `makeStereo` refuses them.
bool mustTrustUnit(const MatcherSettings& settings, const Rig& rig);

// The same without a rig, for rectified images of `size`: there are disparities, but no depth.
// Throws `UsageError` for settings that hold a depth.
std::unique_ptr<vision::Stereo> makeStereo(const MatcherSettings& settings, const cv::Size& size);

// Which depths are searched at 1 / `scale` of the rig's size, and how finely depth is resolved at
// both ends.
std::string explainSearch(const vision::Stereo& stereo, const Rig& rig, int scale);

// The parameters that the matcher gets for images narrower than the calibration; see
// `vision::Stereo::computeDisparity`.
struct AdaptedParameters {
    int minDisparity;
    int disparityNumber;
    int windowSize;
    int P2;
};

AdaptedParameters adaptParameters(const vision::Stereo& stereo, int imageWidth);

// Changes what the matcher would refuse, or be useless with, at 1/2 or 1/4 of the calibrated width:
// windows and speckle ranges that get too small. Returns what was changed and why, one sentence
// each.
std::vector<std::string> fitToWidth(vision::Stereo& stereo, int imageWidth);

// Throws `UsageError` when no result is possible in images of this width: disparities that leave no
// column to match, or that the matcher's 16-bit fixed-point numbers can't hold.
void requireMatchable(const vision::Stereo& stereo, int imageWidth);

// What may be wrong with results in images of this width, one sentence each.
std::vector<std::string> findDoubts(const vision::Stereo& stereo, int imageWidth);

// What matching a pair gave. All images have the same size.
struct Match {
    cv::Mat left;       // the left image that was matched, `CV_8UC1` or `CV_8UC3`
    cv::Mat disparity;  // `CV_32FC1`, pixels of `left`
    cv::Mat measured;   // `CV_8UC1`, 255 where there is a disparity
};

// Matches a rectified pair at 1 / `scale` of its size; the last columns and rows that don't fill a
// reduced pixel are left out, as the object's calibrations must have it. Not measured is what has
// no match, no texture, no value in `seen` (`CV_8UC1`, as large as the images; empty: all of it),
// or stands in columns where the right image lacks a candidate.
Match matchPair(const vision::Stereo& stereo, const StereoImages& rectified, const cv::Mat& seen,
                int scale);

}  // namespace tiomipra

#endif
