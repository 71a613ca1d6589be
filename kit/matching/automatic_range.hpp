// The range that is searched, found from features that both images of some pairs show.
#ifndef TIOMIPRA_MATCHING_AUTOMATIC_RANGE_HPP
#define TIOMIPRA_MATCHING_AUTOMATIC_RANGE_HPP

#include <optional>
#include <vector>

#include "base/notices.hpp"
#include "files/frame_source.hpp"
#include "matching/matcher_settings.hpp"
#include "rigs/rig_files.hpp"

namespace tiomipra {

// Disparities in pixels.
struct DisparityRange {
    double smallest = 0;
    double largest = 0;
};

// The range of the features that a pair shows, without a few outliers and without margins; with a
// rig rectified and at the calibrated size, else of the images as they are. Nothing when too few
// fit the rows.
std::optional<DisparityRange> findDisparities(const StereoImages& images,
                                              const std::optional<Rig>& rig);

// `settings` with the range that holds what all pairs of `frames` show, with a margin, where their
// range is to be found: depths with a rig, disparities without. A notice tells it. The others are
// given back as they are.
//
// Throws `InputError` when no pair can be read, or none has enough features; as `makeStereo` for
// a rig and for settings that can't be used.
MatcherSettings withRangeFound(const MatcherSettings& settings, const std::optional<Rig>& rig,
                               const std::vector<Frame>& frames, const Notify& notify);

}  // namespace tiomipra

#endif
