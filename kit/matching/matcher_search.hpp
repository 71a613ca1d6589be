// What a matcher searches in images of some width, and whether results can be had and trusted
// there.
#ifndef TIOMIPRA_MATCHING_MATCHER_SEARCH_HPP
#define TIOMIPRA_MATCHING_MATCHER_SEARCH_HPP

#include <opencv2/core/types.hpp>
#include <string>
#include <vector>
#include <vision/stereo.hpp>

#include "matching/matching_steps.hpp"
#include "rigs/rig_files.hpp"
#include "shared/adaptation.hpp"

namespace tiomipra {

// How many times narrower than the calibration images of this width are, cut to a whole number.
int reductionFactor(const vision::Stereo& stereo, int imageWidth);

// The parameters that the matcher gets for images of this width, which must be positive and at most
// the calibrated one.
vision::AdaptedParameters adaptToWidth(const vision::Stereo& stereo, int imageWidth);

// The columns of the left image for which the right image has all candidates.
cv::Range matchableColumns(const vision::AdaptedParameters& adapted, int imageWidth);

// Which depths are searched at 1 / `scale` of the rig's size, and how finely depth is resolved at
// both ends.
std::string explainSearch(const vision::Stereo& stereo, const Rig& rig, int scale);

// Throws `SettingError` when no result is possible in images of this width: disparities that leave
// no column to match, or that the matcher's 16-bit fixed-point numbers can't hold.
void requireMatchable(const vision::Stereo& stereo, int imageWidth);

// What may be wrong with results in images of this width, one sentence each.
std::vector<std::string> findDoubts(const vision::Stereo& stereo, const MatchingSteps& steps,
                                    int imageWidth);

}  // namespace tiomipra

#endif
