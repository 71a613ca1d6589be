#include "base/json_text.hpp"

#include <nlohmann/json.hpp>

#include "base/text.hpp"

namespace tiomipra {

std::string dumpJson(const nlohmann::ordered_json& value) {
    const std::string text =
        value.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
    // JSON wants U+0000 to U+001F escaped only; for the other control characters, which stand
    // within strings alone, the escapes are those of JSON.
    return printableLines(text) + "\n";
}

}  // namespace tiomipra
