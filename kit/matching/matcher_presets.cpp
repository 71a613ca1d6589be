#include "matching/matcher_presets.hpp"

#include <vision/stereo.hpp>

#include "matching/matcher_parameters.hpp"

namespace tiomipra {
namespace {

using vision::Stereo;
namespace names = parameter_names;

using Values = std::map<std::string, int>;

Values with(Values values, const Values& others) {
    for (const auto& [name, value] : others)
        values[name] = value;
    return values;
}

// Images of one brightness, matched over three directions.
const Values semiGlobal{{names::algorithm, Stereo::SGBM},
                        {names::windowSize, 5},
                        {names::preFilterCap, 31},
                        {names::textureThreshold, 50},
                        {names::uniquenessRatio, 0},
                        {names::speckleWindowSize, 400},
                        {names::speckleRange, 1},
                        {names::p1, 72},
                        {names::p2, 288},
                        {names::matchLight, 1},
                        {names::fullWidth, 1},
                        {names::threeWay, 3}};

const std::vector<MatcherPreset> presets{
    {"fast",
     "block matching, least time",
     {{names::algorithm, Stereo::BM},
      {names::windowSize, 11},
      {names::preFilterCap, 15},
      {names::textureThreshold, 10},
      {names::uniquenessRatio, 12},
      {names::speckleWindowSize, 200},
      {names::speckleRange, 16},
      {names::fullWidth, 1},
      {names::fillGaps, 1},
      {names::median, 3}}},
    {"balanced", "semi-global matching, a good deal",
     with(semiGlobal, {{names::uniquenessRatio, 20}, {names::fillGaps, 1}})},
    {"accurate", "smoothed along edges, sure pixels only: fewest errors",
     with(semiGlobal, {{names::quickRight, 1},
                       {names::leftRightCheck, 1},
                       {names::refit, 1},
                       {names::edgeFilter, 1},
                       {names::minConfidence, 82}})},
    {"dense", "smoothed along edges, gaps closed: most pixels",
     with(semiGlobal, {{names::leftRightCheck, 2},
                       {names::refit, 1},
                       {names::edgeFilter, 1},
                       {names::fillGaps, 3},
                       {names::median, 5}})},
};

}  // namespace

const std::vector<MatcherPreset>& matcherPresets() {
    return presets;
}

std::map<std::string, int> valuesOfPreset(const std::string& name) {
    for (const MatcherPreset& preset : presets) {
        if (preset.name == name)
            return preset.values;
    }
    return {};
}

}  // namespace tiomipra
