// What a match says about the settings and the images that it comes from.
#ifndef TIOMIPRA_MATCHING_MEASUREMENT_HINTS_HPP
#define TIOMIPRA_MATCHING_MEASUREMENT_HINTS_HPP

#include <string>
#include <vector>
#include <vision/stereo.hpp>

#include "matching/pair_matcher.hpp"
#include "matching/pair_measurement.hpp"

namespace tiomipra {

// What was seen that should not be, and what to try, a sentence each: hardly anything that was
// measured, or too many disparities at one end of those searched. `measurement` is of the match,
// which `stereo` gave.
std::vector<std::string> findHints(const PairMeasurement& measurement, const Match& match,
                                   const vision::Stereo& stereo);

}  // namespace tiomipra

#endif
