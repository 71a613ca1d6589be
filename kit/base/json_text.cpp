#include "base/json_text.hpp"

#include <nlohmann/json.hpp>

#include "base/text.hpp"

namespace tiomipra {
namespace {

// Where the text that starts at `quote` ends.
std::size_t endOfText(const std::string& json, std::size_t quote) {
    std::size_t i = quote + 1;
    while (json[i] != '"')
        i += json[i] == '\\' ? 2 : 1;
    return i;
}

// Where the array that starts at `bracket` ends, if it holds nothing but numbers and arrays of
// them; else `bracket`.
std::size_t endOfNumbers(const std::string& json, std::size_t bracket) {
    std::size_t depth = 0;
    for (std::size_t i = bracket; i < json.size() && json[i] != '"' && json[i] != '{'; ++i) {
        if (json[i] == '[')
            ++depth;
        else if (json[i] == ']' && --depth == 0)
            return i;
    }
    return bracket;
}

// Indented JSON with each array of numbers on one line, where it would else take thousands.
std::string withNumbersOnOneLine(const std::string& json) {
    std::string result;
    std::size_t numbersEnd = 0;
    for (std::size_t i = 0; i < json.size(); ++i) {
        if (json[i] == '"') {
            const std::size_t end = endOfText(json, i);
            result.append(json, i, end - i);
            i = end;
        } else if (json[i] == '[' && i >= numbersEnd) {
            numbersEnd = endOfNumbers(json, i);
        }
        const bool isBlank = json[i] == ' ' || json[i] == '\n';
        if (i >= numbersEnd || !isBlank)
            result += json[i];
        if (i < numbersEnd && json[i] == ',')
            result += ' ';
    }
    return result;
}

}  // namespace

std::string dumpJson(const nlohmann::ordered_json& value) {
    const std::string text =
        value.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
    // JSON wants U+0000 to U+001F escaped only; for the other control characters, which stand
    // within strings alone, the escapes are those of JSON.
    return printableLines(withNumbersOnOneLine(text)) + "\n";
}

}  // namespace tiomipra
