// How good disparities are, for people and for programs.
#ifndef TIOMIPRA_REPORTS_EVALUATION_REPORT_HPP
#define TIOMIPRA_REPORTS_EVALUATION_REPORT_HPP

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "matching/evaluation.hpp"

namespace tiomipra {

// A table with the shares of bad pixels in percent.
std::string printTable(const std::vector<FileEvaluation>& evaluations);

// {"disparity": ..., "groundTruth": ..., "mask": ..., "all": {...}, "nonOccluded": {...}}, without
// what there is not; shares in percent, errors in pixels.
nlohmann::ordered_json toJson(const FileEvaluation& evaluation);

}  // namespace tiomipra

#endif
