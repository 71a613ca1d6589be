// What a result was made with.
#ifndef TIOMIPRA_PROVENANCE_HPP
#define TIOMIPRA_PROVENANCE_HPP

#include <nlohmann/json.hpp>
#include <string>

namespace tiomipra {

// The program's version, as in "1.0.0".
std::string programVersion();

// The SHA-256 digest of `bytes` in hexadecimal digits.
std::string sha256(const std::string& bytes);

// {"program": "tiomipra 1.0.0", "opencv": "4.6.0", "command": ..., "parameters": {...},
//  "calibrationSha256": ...}, without what is null or empty. Holds nothing that changes from run to
//  run: the same inputs make the same files, bit for bit.
nlohmann::ordered_json provenance(const std::string& command,
                                  const nlohmann::ordered_json& parameters,
                                  const std::string& calibrationHash);

// The same on lines of text, for the comments of a file: "program: tiomipra 1.0.0" and so on.
std::vector<std::string> asLines(const nlohmann::ordered_json& provenance);

}  // namespace tiomipra

#endif
