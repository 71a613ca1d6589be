// What a pair of calibrations says, as text and JSON.
#ifndef TIOMIPRA_REPORTS_RIG_REPORT_HPP
#define TIOMIPRA_REPORTS_RIG_REPORT_HPP

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "rigs/calibration_faults.hpp"
#include "rigs/rig_geometry.hpp"

namespace tiomipra {

nlohmann::ordered_json toJson(const FieldOfView& field);
nlohmann::ordered_json toJson(const RigGeometry& geometry);
nlohmann::ordered_json toJson(const std::vector<Fault>& faults);

// Lines of text, with lengths in `unit`; "" for one without a name.
std::string toText(const RigGeometry& geometry, const std::string& unit);

// Two lines for each fault: the problem and the remedy.
std::string toText(const std::vector<Fault>& faults);

}  // namespace tiomipra

#endif
