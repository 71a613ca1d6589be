#include "mutations.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <iterator>

namespace tiomipra::fuzz {
namespace {

struct Range {
    std::size_t begin;
    std::size_t length;
};

// Mostly short, anywhere in `bytes`.
Range pickRange(Random& random, const std::string& bytes) {
    const std::size_t longest = bytes.size() >> pick(random, 12);
    const std::size_t length = std::min(bytes.size(), 1 + pick(random, longest));
    return {pick(random, bytes.size() - length), length};
}

char pickByte(Random& random) {
    return static_cast<char>(pick(random, 255));
}

void flipBit(Random& random, std::string& bytes, const std::string&) {
    char& byte = bytes[pick(random, bytes.size() - 1)];
    byte = static_cast<char>(static_cast<unsigned char>(byte) ^ 1U << pick(random, 7));
}

void setByte(Random& random, std::string& bytes, const std::string&) {
    bytes[pick(random, bytes.size() - 1)] = pickByte(random);
}

void cutEnd(Random& random, std::string& bytes, const std::string&) {
    bytes.resize(1 + pick(random, bytes.size() - 1));
}

void cutOut(Random& random, std::string& bytes, const std::string&) {
    const Range range = pickRange(random, bytes);
    bytes.erase(range.begin, range.length);
}

void fillRange(Random& random, std::string& bytes, const std::string&) {
    const Range range = pickRange(random, bytes);
    const char byte = pick(random, 2) == 0 ? pickByte(random) : '\0';
    bytes.replace(range.begin, range.length, range.length, byte);
}

void repeatRange(Random& random, std::string& bytes, const std::string&) {
    const Range range = pickRange(random, bytes);
    const std::string part = bytes.substr(range.begin, range.length);
    const std::size_t times = 1 + pick(random, part.size() < 64 ? 200 : 2);
    std::string repeated;
    for (std::size_t i = 0; i < times; ++i)
        repeated += part;
    bytes.insert(range.begin, repeated);
}

void insertNoise(Random& random, std::string& bytes, const std::string&) {
    std::string noise(1 + pick(random, 15), '\0');
    std::generate(noise.begin(), noise.end(), [&] { return pickByte(random); });
    bytes.insert(pick(random, bytes.size()), noise);
}

void splice(Random& random, std::string& bytes, const std::string& other) {
    if (other.empty())
        return;
    const Range from = pickRange(random, other);
    const std::size_t place = pick(random, bytes.size());
    const std::size_t overwritten = pick(random, 1) == 0 ? 0 : from.length;
    bytes.replace(place, overwritten, other, from.begin, from.length);
}

// As sizes, offsets and counts stand in binary files.
void setLength(Random& random, std::string& bytes, const std::string&) {
    constexpr std::array<std::uint64_t, 14> values = {
        0,      1,      2,          0x7F,       0xFF,       0x7FFF,             0x8000,
        0xFFFF, 0x4E20, 0x10000000, 0x7FFFFFFF, 0xFFFFFFFF, 0x7FFFFFFFFFFFFFFF, 0xFFFFFFFFFFFFFFFF};
    const std::uint64_t value = values[pick(random, values.size() - 1)];
    const std::size_t width = std::min(bytes.size(), std::size_t{1} << pick(random, 3));
    const std::size_t place = pick(random, bytes.size() - width);
    const bool isBigEndian = pick(random, 1) == 0;
    for (std::size_t i = 0; i < width; ++i) {
        const std::size_t shift = 8 * (isBigEndian ? width - 1 - i : i);
        bytes[place + i] = static_cast<char>(value >> shift & 0xFFU);
    }
}

// One of the numbers of a text.
void setNumber(Random& random, std::string& bytes, const std::string&) {
    constexpr std::array values = {
        "0",     "-1",    "1",          "65536",       "20000",       "1e-30", "1e38",
        "1e999", "2.5",   "2147483647", "2147483648",  "-2147483648", ".nan",  "-.inf",
        "NaN",   "0x7ff", "1e-320",     "99999999999", "\"1\"",       "[]",    "true"};
    const auto isDigit = [](unsigned char byte) { return std::isdigit(byte) != 0; };
    const auto start = bytes.begin() + static_cast<std::ptrdiff_t>(pick(random, bytes.size() - 1));
    const auto first = std::find_if(start, bytes.end(), isDigit);
    const auto last = std::find_if_not(first, bytes.end(), [&](unsigned char byte) {
        return isDigit(byte) || byte == '.' || byte == 'e' || byte == '-';
    });
    if (first != last)
        bytes.replace(first, last, values[pick(random, values.size() - 1)]);
}

}  // namespace

std::size_t pick(Random& random, std::size_t last) {
    return std::uniform_int_distribution<std::size_t>(0, last)(random);
}

std::string mutate(Random& random, std::string bytes, const std::string& other) {
    constexpr std::array changes = {flipBit,     setByte,     cutEnd, cutOut,    fillRange,
                                    repeatRange, insertNoise, splice, setLength, setNumber};
    const std::size_t count = 1 + std::min(pick(random, 5), pick(random, 5));
    for (std::size_t i = 0; i < count && !bytes.empty(); ++i)
        changes[pick(random, changes.size() - 1)](random, bytes, other);
    return bytes;
}

}  // namespace tiomipra::fuzz
