// The files that a result was made from, in its report.
#ifndef TIOMIPRA_REPORTS_INPUT_REPORT_HPP
#define TIOMIPRA_REPORTS_INPUT_REPORT_HPP

#include <nlohmann/json_fwd.hpp>

#include "files/file_identity.hpp"

namespace tiomipra {

// {"path": ..., "bytes": ..., "modified": ..., "sha256": ...}, without what there is not.
nlohmann::ordered_json toJson(const FileIdentity& file);
nlohmann::ordered_json toJson(const FileIdentities& files);

// Whether the file of a report is still the same, by its content where that is told, else by its
// size and time. Throws `InputError` as `identify`, and `nlohmann::json::exception` unless `input`
// is what `toJson` makes.
bool isUnchanged(const nlohmann::ordered_json& input);

}  // namespace tiomipra

#endif
