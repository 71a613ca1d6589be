// What was found in a pair of images, for programs and for people.
#ifndef TIOMIPRA_REPORTS_MEASUREMENT_REPORT_HPP
#define TIOMIPRA_REPORTS_MEASUREMENT_REPORT_HPP

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "matching/pair_measurement.hpp"

namespace tiomipra {

// {"width": ..., "height": ..., "measuredPixels": ..., "measuredShare": ..., "depth": {"smallest":
//  ..., "percentile1": ..., ...}, "pngStep": ..., "outOfRangeOfPng": ..., "camera": {"matrix": ...,
//  "baseline": ..., "disparityAtInfinity": ..., "unit": ...}, "matcher": {...}}; quantiles of
// nothing are null, and so is a unit that is not known.
nlohmann::ordered_json toJson(const PairMeasurement& measurement);

// The same in a few words.
std::string summaryOf(const PairMeasurement& measurement);

}  // namespace tiomipra

#endif
