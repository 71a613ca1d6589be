// Whether a rig is still calibrated, as text, JSON and picture.
#ifndef TIOMIPRA_REPORTS_CHECK_REPORT_HPP
#define TIOMIPRA_REPORTS_CHECK_REPORT_HPP

#include <nlohmann/json_fwd.hpp>
#include <opencv2/core/mat.hpp>
#include <string>
#include <vector>

#include "files/frame_source.hpp"
#include "rigs/calibration_faults.hpp"
#include "rigs/rig_check.hpp"

namespace tiomipra {

nlohmann::ordered_json toJson(const RigCheck& check);

// The row differences of each of the pairs that were checked.
nlohmann::ordered_json pairRowsToJson(const RigCheck& check, const std::vector<PairNames>& pairs);

// With lengths in `unit`; "" for one without a name.
std::string toText(const RigCheck& check, const std::string& unit);

// The answer that needs no look at the images: the calibration files are exchanged.
nlohmann::ordered_json swapToJson(const Fault& swap);
std::string swapToText(const Fault& swap);

// Median row differences over `image`, the left one of a pair.
cv::Mat drawRowDifferences(const RigCheck& check, const cv::Mat& image);

}  // namespace tiomipra

#endif
