// Rigs and settings for the tests of matching.
#ifndef TIOMIPRA_TESTS_SAMPLE_RIG_HPP
#define TIOMIPRA_TESTS_SAMPLE_RIG_HPP

#include <map>
#include <string>

#include "base/quantities.hpp"
#include "matching/matcher_settings.hpp"
#include "rigs/rig_files.hpp"
#include "support/rigs.hpp"

namespace tiomipra::test {

// As if it had been read. Focal length times baseline is 62.5 unless `options` say otherwise.
inline Rig sampleRig(const RigOptions& options = {}) {
    const CalibrationPair pair = makeRig(options);
    return {pair.left, pair.right, "left.yml", "right.yml", "", {}};
}

inline MatcherSettings settingsOf(const std::map<std::string, int>& values) {
    MatcherSettings settings;
    settings.values = values;
    return settings;
}

// With a range, as in "1..5".
inline MatcherSettings rangeOf(const std::string& range, int scale = 1) {
    MatcherSettings settings;
    settings.range = parseDepthRange(range);
    settings.scale = scale;
    return settings;
}

}  // namespace tiomipra::test

#endif
