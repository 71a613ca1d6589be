#include "base/text.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string_view>

namespace tiomipra {
namespace {

// The character of UTF-8 that a text starts with, and how many bytes it takes; 0 if there is none,
// as in texts of another encoding.
struct Character {
    std::size_t length;
    std::uint32_t code;
};

Character firstCharacter(std::string_view text) {
    constexpr std::uint32_t least[] = {0, 0, 0x80, 0x800, 0x10000};  // by length; less fits shorter
    const auto byteAt = [text](std::size_t i) {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
    };
    const unsigned first = byteAt(0);
    if (first < 0x80)
        return {1, first};
    if (first < 0xc0 || first >= 0xf8)
        return {0, first};
    const std::size_t length = first < 0xe0 ? 2 : first < 0xf0 ? 3 : 4;
    std::uint32_t code = first & (0x7fU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byteAt(i) & 0xc0) != 0x80)
            return {0, first};
        code = code << 6 | (byteAt(i) & 0x3f);
    }
    const bool isSurrogate = code >= 0xd800 && code < 0xe000;
    if (code < least[length] || code > 0x10ffff || isSurrogate)
        return {0, first};
    return {length, code};
}

// The second range, two bytes each, controls some terminals as the first one does. The last two
// turn the direction of writing, so that "gpj.exe" is shown as "exe.jpg".
bool isControl(std::uint32_t code) {
    return code < 0x20 || (code >= 0x7f && code < 0xa0) || (code >= 0x202a && code <= 0x202e) ||
           (code >= 0x2066 && code <= 0x2069);
}

std::string escaped(const Character& character) {
    if (character.code == '\n')
        return "\\n";
    const bool isByte = character.length == 0 || character.code < 0x20;
    return isByte ? fmt::format("\\x{:02x}", character.code)
                  : fmt::format("\\u{:04x}", character.code);
}

std::string makePrintable(std::string_view text, bool areLinesKept) {
    std::string result;
    while (!text.empty()) {
        const Character character = firstCharacter(text);
        const auto bytes = text.substr(0, std::max<std::size_t>(1, character.length));
        const bool isShown = (character.length > 0 && !isControl(character.code)) ||
                             (areLinesKept && character.code == '\n');
        result += isShown ? std::string(bytes) : escaped(character);
        text.remove_prefix(bytes.size());
    }
    return result;
}

}  // namespace

std::string fixed(double value, int decimals) {
    return fmt::format("{:.{}f}", value, decimals);
}

std::string significant(double value, int digits) {
    if (value == 0 || !std::isfinite(value))
        return fixed(value, 0);
    const int magnitude = static_cast<int>(std::floor(std::log10(std::abs(value))));
    if (magnitude < -6 || magnitude > 9)
        return fmt::format("{:.{}g}", value, digits);
    const double unit = std::pow(10., magnitude - digits + 1);
    const double rounded = std::round(value / unit) * unit;
    std::string text = fixed(rounded, std::max(0, digits - 1 - magnitude));
    if (text.find('.') != std::string::npos) {
        text.erase(text.find_last_not_of('0') + 1);
        if (text.back() == '.')
            text.pop_back();
    }
    return text;
}

std::string printable(const std::string& text) {
    return makePrintable(text, false);
}

std::string printableLines(const std::string& text) {
    return makePrintable(text, true);
}

std::string quote(const std::string& text) {
    return fmt::format("'{}'", printable(text));
}

std::string sizesDiffer(const std::string& file, const cv::Size& size, const std::string& otherFile,
                        const cv::Size& otherSize) {
    return fmt::format("{} is {}, {} is {}; their sizes must be the same", quote(file),
                       describe(size), quote(otherFile), describe(otherSize));
}

}  // namespace tiomipra
