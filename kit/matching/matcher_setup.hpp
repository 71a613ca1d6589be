// From settings to a matcher that fits a rig and the size of its images.
#ifndef TIOMIPRA_MATCHING_MATCHER_SETUP_HPP
#define TIOMIPRA_MATCHING_MATCHER_SETUP_HPP

#include <memory>
#include <opencv2/core/types.hpp>
#include <optional>
#include <string>
#include <vector>
#include <vision/stereo.hpp>

#include "matching/matcher_settings.hpp"
#include "matching/matching_steps.hpp"
#include "rigs/rig_files.hpp"

namespace tiomipra {

// A stereo object with the rig's calibrations and all parameters of `settings`. Throws `InputError`
// for a rig that can't be used; `SettingError`, or as `refuseSetting`, for settings that the
// library refuses or that the rig can't measure.
std::unique_ptr<vision::Stereo> makeStereo(const MatcherSettings& settings, const Rig& rig);

// The same without a rig, for rectified images of `size`: there are disparities, but no depth.
// Throws `SettingError` for settings that hold a depth.
std::unique_ptr<vision::Stereo> makeStereo(const MatcherSettings& settings, const cv::Size& size);

// The one or the other: `size` counts where there is no rig.
std::unique_ptr<vision::Stereo> makeStereo(const MatcherSettings& settings,
                                           const std::optional<Rig>& rig, const cv::Size& size);

// Puts into `settings`, in place of a range, what searches these disparities, in pixels of the
// images before their reduction.
void setDisparities(MatcherSettings& settings, double smallest, double largest);

// True when depths of `settings` have a suffix, so that they are in metres, while nothing says
// whether the rig's lengths are. Where something says that they are not, `makeStereo` refuses them.
bool mustTrustUnit(const MatcherSettings& settings, const Rig& rig);

// Changes what the matcher would refuse, or be useless with, at 1/2 or 1/4 of the calibrated width:
// windows and speckle ranges that get too small. Returns what was changed and why, one sentence
// each; but not of the window where the search over three directions has a block of its own, for
// which p1 and p2 stay what they were.
std::vector<std::string> fitToWidth(vision::Stereo& stereo, const MatchingSteps& steps,
                                    int imageWidth);

}  // namespace tiomipra

#endif
