#include "matching/matcher_presets.hpp"

#include <vision/stereo.hpp>

#include "matching/matcher_parameters.hpp"

namespace tiomipra {
namespace {

using vision::Stereo;
namespace names = parameter_names;

const std::vector<MatcherPreset> presets{
    {"fast",
     "block matching",
     {{names::algorithm, Stereo::BM},
      {names::windowSize, 11},
      {names::preFilterCap, 15},
      {names::textureThreshold, 10},
      {names::uniquenessRatio, 10},
      {names::speckleWindowSize, 200},
      {names::speckleRange, 16}}},
    {"balanced",
     "semi-global matching",
     {{names::algorithm, Stereo::SGBM},
      {names::windowSize, 5},
      {names::preFilterCap, 31},
      {names::textureThreshold, 50},
      {names::uniquenessRatio, 15},
      {names::speckleWindowSize, 200},
      {names::speckleRange, 1},
      {names::p1, 100},
      {names::p2, 400}}},
    {"accurate",
     "semi-global in eight directions, stricter",
     {{names::algorithm, Stereo::SGBM},
      {names::windowSize, 5},
      {names::preFilterCap, 31},
      {names::textureThreshold, 50},
      {names::uniquenessRatio, 20},
      {names::speckleWindowSize, 200},
      {names::speckleRange, 1},
      {names::p1, 100},
      {names::p2, 400},
      {names::fullDp, 1}}},
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
