// What users say about matching, and how what several sources say is laid over each other.
#ifndef TIOMIPRA_MATCHING_MATCHER_SETTINGS_HPP
#define TIOMIPRA_MATCHING_MATCHER_SETTINGS_HPP

#include <map>
#include <optional>
#include <string>
#include <vision/stereo.hpp>

#include "base/provenance.hpp"
#include "base/quantities.hpp"

namespace tiomipra {

// What one source gives, or all sources together; what none gives keeps the library's default.
// Depths without a suffix are in the unit of the calibrations.
struct MatcherSettings {
    // The whole-number parameters by their names, see `matcherParameters` and `stepParameters`.
    std::map<std::string, int> values;
    std::optional<Length> maxDepth;
    std::optional<DepthRange> range;
    std::optional<int> scale;      // images are matched at 1 / scale of their size
    bool wantsConfidence = false;  // of every disparity, which takes time
    // The files that settings stand in, by the names of these; the others were given directly.
    std::map<std::string, std::string> files;
};

// Lays `above` over `settings`. A depth range or a maximum depth also replaces what `settings` say
// about the disparities that follow from it.
void overlay(MatcherSettings& settings, const MatcherSettings& above);

// Throws what is wrong with the setting `name`, as in "window-size": a `SettingError`, or an
// `InputError` that names the file if it stands in one. `problem` follows the name.
[[noreturn]] void refuseSetting(const MatcherSettings& settings, const std::string& name,
                                const std::string& problem);

// The depth beyond which points are removed, if the settings give one.
std::optional<Length> farthestDepth(const MatcherSettings& settings);

// Sets the whole-number parameters that `settings` give. Throws as `refuseSetting`, with the
// library's message and the rule, for a value that it refuses.
void applyParameters(vision::Stereo& stereo, const MatcherSettings& settings);

// All parameters of `stereo` by their names, the maximum depth if it `hasDepth`, and the scale of
// `settings`.
Parameters describeParameters(const vision::Stereo& stereo, const MatcherSettings& settings,
                              bool hasDepth);

// The same as a file of settings (TOML: lines NAME = VALUE), for the next run. What follows from
// the calibrations and the size of the images is not in it: a depth range stands there itself. Nor
// is a maximum depth that was not given, so that the file also serves rectified images.
std::string encodeParameters(const vision::Stereo& stereo, const MatcherSettings& settings);

}  // namespace tiomipra

#endif
