// JSON as text.
#ifndef TIOMIPRA_BASE_JSON_TEXT_HPP
#define TIOMIPRA_BASE_JSON_TEXT_HPP

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace tiomipra {

// `value` on indented lines, arrays of numbers on one each, a line feed at the end. File names need
// not be UTF-8, which JSON must be: bytes that are not are replaced. NaN and infinity become null.
std::string dumpJson(const nlohmann::ordered_json& value);

}  // namespace tiomipra

#endif
