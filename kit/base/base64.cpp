#include "base/base64.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace tiomipra {
namespace {

constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Three bytes, zeros where there are fewer.
std::uint32_t groupAt(std::string_view bytes, std::size_t start) {
    std::uint32_t group = 0;
    for (std::size_t i = start; i < start + 3; ++i)
        group = group << 8 | (i < bytes.size() ? static_cast<std::uint8_t>(bytes[i]) : 0U);
    return group;
}

}  // namespace

std::string toBase64(std::string_view bytes) {
    std::string text((bytes.size() + 2) / 3 * 4, '=');
    auto digit = text.begin();
    for (std::size_t start = 0; start < bytes.size(); start += 3) {
        const std::uint32_t group = groupAt(bytes, start);
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - start);
        for (std::size_t i = 0; i < 4; ++i, ++digit)
            if (i <= count)
                *digit = digits[group >> (18 - 6 * i) & 63];
    }
    return text;
}

}  // namespace tiomipra
