#include "matching/matching_steps.hpp"

#include "base/text.hpp"

namespace tiomipra {
namespace {

using Kind = ParameterDescription::Kind;
using UsedBy = ParameterDescription::UsedBy;
namespace names = parameter_names;
constexpr ParameterValues onOrOff{0, 1};

const std::vector<StepParameter> steps{
    {{names::matchLight, "Make the right image as bright as the left one, place by place",
      Kind::flag, UsedBy::both, onOrOff},
     &MatchingSteps::matchLight},
    {{names::equalise, "Stretch the contrast of each region of the images", Kind::flag,
      UsedBy::both, onOrOff},
     &MatchingSteps::equalise},
    {{names::fullWidth,
      "Match the left columns as well whose matches may be outside of the right image", Kind::flag,
      UsedBy::both, onOrOff},
     &MatchingSteps::fullWidth},
    {{names::threeWay,
      "Optimise over three directions instead of five, with blocks of this side: faster",
      Kind::number,
      UsedBy::semiGlobal,
      {0, 11, 1, "off", "0 (off), or odd, 1 to 11"}},
     &MatchingSteps::threeWay},
    {{names::quickRight, "Match the right image in five directions all the same: faster",
      Kind::flag, UsedBy::semiGlobal, onOrOff},
     &MatchingSteps::quickRight},
    {{names::leftRightCheck,
      "Match from right to left as well, and drop what differs by more than this many pixels",
      Kind::number,
      UsedBy::both,
      {0, 100, 1, "off"}},
     &MatchingSteps::leftRightCheck},
    {{names::refit, "Find fractions of a pixel anew, without regard to neighbours", Kind::flag,
      UsedBy::both, onOrOff},
     &MatchingSteps::refit},
    {{names::edgeFilter, "Smooth disparities up to the edges of the image", Kind::flag,
      UsedBy::both, onOrOff},
     &MatchingSteps::edgeFilter},
    {{names::minConfidence,
      "Drop what is less sure, in percent",
      Kind::number,
      UsedBy::both,
      {0, 100, 1, "off"}},
     &MatchingSteps::minConfidence},
    {{names::fillGaps,
      "Close gaps in a row whose ends differ by at most this many pixels",
      Kind::number,
      UsedBy::both,
      {0, 100, 1, "off"}},
     &MatchingSteps::fillGaps},
    {{names::median,
      "Side of the square of which each pixel takes the median",
      Kind::number,
      UsedBy::both,
      {0, 5, 1, "off", "0 (off), 3 or 5"}},
     &MatchingSteps::median},
};

bool takes(const StepParameter& parameter, int value) {
    if (value < parameter.values.minimum || value > parameter.values.maximum)
        return false;
    if (parameter.step == &MatchingSteps::threeWay)
        return value == 0 || value % 2 == 1;
    return parameter.step != &MatchingSteps::median || value == 0 || value == 3 || value == 5;
}

}  // namespace

bool isThreeWay(const vision::Stereo& stereo, const MatchingSteps& steps) {
    return steps.threeWay > 0 && stereo.getStereoAlgorithm() == vision::Stereo::SGBM;
}

bool matchesRight(const MatchingSteps& steps) {
    return filtersAlongEdges(steps) || steps.leftRightCheck > 0;
}

bool usesWindow(const vision::Stereo& stereo, const MatchingSteps& steps) {
    return !isThreeWay(stereo, steps) || (matchesRight(steps) && steps.quickRight != 0);
}

bool filtersAlongEdges(const MatchingSteps& steps) {
    return steps.edgeFilter != 0 || steps.minConfidence > 0 || steps.givesConfidence;
}

const std::vector<StepParameter>& stepParameters() {
    return steps;
}

Parameter::Value valueIn(const MatchingSteps& steps, const StepParameter& parameter) {
    const int value = steps.*parameter.step;
    return parameter.kind == Kind::flag ? Parameter::Value(value != 0) : value;
}

MatchingSteps stepsOf(const MatcherSettings& settings) {
    MatchingSteps wanted;
    wanted.givesConfidence = settings.wantsConfidence;
    for (const StepParameter& parameter : steps) {
        const std::string name(parameter.name);
        const auto value = settings.values.find(name);
        if (value == settings.values.end())
            continue;
        if (!takes(parameter, value->second))
            refuseSetting(settings, name,
                          fmt::format("is {}; {}", value->second, describe(parameter)));
        wanted.*parameter.step = value->second;
    }
    return wanted;
}

}  // namespace tiomipra
