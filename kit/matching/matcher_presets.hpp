// Sets of the matchers' parameters for people who don't want to know them.
#ifndef TIOMIPRA_MATCHING_MATCHER_PRESETS_HPP
#define TIOMIPRA_MATCHING_MATCHER_PRESETS_HPP

#include <map>
#include <string>
#include <vector>

namespace tiomipra {

struct MatcherPreset {
    std::string name;                   // as in "fast"
    std::string summary;                // a few words
    std::map<std::string, int> values;  // by the names of the parameters
};

// Chosen by evaluation, see docs/command.md.
const std::vector<MatcherPreset>& matcherPresets();

// The values of the preset `name`; none for another name.
std::map<std::string, int> valuesOfPreset(const std::string& name);

}  // namespace tiomipra

#endif
