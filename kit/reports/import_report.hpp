// What an imported rig is, as text and JSON.
#ifndef TIOMIPRA_REPORTS_IMPORT_REPORT_HPP
#define TIOMIPRA_REPORTS_IMPORT_REPORT_HPP

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "formats/rig_importer.hpp"

namespace tiomipra {

nlohmann::ordered_json toJson(const ImportedRig& rig);
std::string toText(const ImportedRig& rig);

}  // namespace tiomipra

#endif
