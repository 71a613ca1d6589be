// What may be done around the matcher to measure more pixels, or with fewer errors.
#ifndef TIOMIPRA_MATCHING_MATCHING_STEPS_HPP
#define TIOMIPRA_MATCHING_MATCHING_STEPS_HPP

#include <string>
#include <vector>
#include <vision/stereo.hpp>

#include "matching/matcher_parameters.hpp"
#include "matching/matcher_settings.hpp"

namespace tiomipra {

// In the order in which they are taken; 0 is off.
struct MatchingSteps {
    int matchLight = 0;      // 1: see `matchLight`
    int equalise = 0;        // 1: see `equalise`
    int fullWidth = 0;       // 1: match all columns of the left image, see `paddingFor`
    int threeWay = 0;        // side of the block, see `computeThreeWay`
    int quickRight = 0;      // 1: match the right image without `threeWay`
    int leftRightCheck = 0;  // pixels, see `findAgreeing`
    int refit = 0;           // 1: see `refitSubpixels`
    int edgeFilter = 0;      // 1: see `filterAlongEdges`
    int minConfidence = 0;   // percent of the largest one that `filterAlongEdges` gives
    int fillGaps = 0;        // pixels, see `fillGaps`
    int median = 0;          // side of the square, see `smoothByMedian`

    bool givesConfidence = false;  // of every disparity, also if no step needs it
};

// Whether `stereo` is searched over three directions: block matching has none.
bool isThreeWay(const vision::Stereo& stereo, const MatchingSteps& steps);

// Whether they match the right image as well.
bool matchesRight(const MatchingSteps& steps);

// Whether an image is matched with the window of `stereo`, and not with the block of three ways.
bool usesWindow(const vision::Stereo& stereo, const MatchingSteps& steps);

// Whether they take the disparities of both images and smooth them.
bool filtersAlongEdges(const MatchingSteps& steps);

// All of them in the order of `MatchingSteps`, as they are named in settings.
struct StepParameter : ParameterDescription {
    int MatchingSteps::*step = nullptr;
};

const std::vector<StepParameter>& stepParameters();

// Its value in `steps`: true or false, or the number.
Parameter::Value valueIn(const MatchingSteps& steps, const StepParameter& parameter);

// Those that `settings` give, and the confidence if they want it. Throws as `refuseSetting` for a
// value that a step does not take.
MatchingSteps stepsOf(const MatcherSettings& settings);

}  // namespace tiomipra

#endif
