// What a result was made with.
#ifndef TIOMIPRA_BASE_PROVENANCE_HPP
#define TIOMIPRA_BASE_PROVENANCE_HPP

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tiomipra {

// The program's version, as in "1.0.0".
std::string programVersion();

// The SHA-256 digest of `bytes` in hexadecimal digits.
std::string sha256(const std::string& bytes);

// The same as its 32 bytes.
std::string sha256Digest(std::string_view bytes);

// A parameter of a run by its name, as in "window-size" and 21.
struct Parameter {
    using Value = std::variant<bool, int, double, std::string, std::vector<std::string>>;

    std::string name;
    Value value;
};

using Parameters = std::vector<Parameter>;

// Holds nothing that changes from run to run: the same inputs make the same files, bit for bit.
struct Provenance {
    std::string command;                   // that made the result, as in "depth"
    std::optional<Parameters> parameters;  // nothing for a command that has none
    std::string calibrationHash;           // of the rig's files, see `hashRig`; "" without a rig
    std::optional<std::string> unit;       // of lengths, if it is known; "" for the user's own
};

nlohmann::ordered_json toJson(const Parameters& parameters);

// {"program": "tiomipra 1.0.0", "opencv": "4.6.0", "command": ..., "parameters": {...},
//  "calibrationSha256": ..., "unit": ...}, without what there is not.
nlohmann::ordered_json toJson(const Provenance& provenance);

// The same on lines of text, for the comments of a file: "program: tiomipra 1.0.0" and so on.
std::vector<std::string> toLines(const Provenance& provenance);

}  // namespace tiomipra

#endif
