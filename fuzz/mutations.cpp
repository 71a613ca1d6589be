#include "mutations.hpp"

#include <libdeflate.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>

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

// From the middle or from the end.
void cutOut(Random& random, std::string& bytes, const std::string&) {
    const Range range = pickRange(random, bytes);
    bytes.erase(range.begin, pick(random, 1) == 0 ? range.length : std::string::npos);
}

void fillRange(Random& random, std::string& bytes, const std::string&) {
    const Range range = pickRange(random, bytes);
    const auto byte = static_cast<char>(pick(random, 2) == 0 ? pick(random, 255) : 0);
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

void splice(Random& random, std::string& bytes, const std::string& other) {
    if (other.empty())
        return;
    const Range from = pickRange(random, other);
    const std::size_t place = pick(random, bytes.size());
    const std::size_t overwritten = pick(random, 1) == 0 ? 0 : from.length;
    bytes.replace(place, overwritten, other, from.begin, from.length);
}

void write(std::string& bytes, std::size_t place, std::size_t width, std::uint64_t value,
           bool isBigEndian) {
    for (std::size_t i = 0; i < width; ++i) {
        const std::size_t shift = 8 * (isBigEndian ? width - 1 - i : i);
        bytes[place + i] = static_cast<char>(value >> shift & 0xFFU);
    }
}

// As sizes, offsets and counts stand in binary files, mostly near the start: mostly at a limit.
void setLength(Random& random, std::string& bytes, const std::string&) {
    const std::size_t width = std::min(bytes.size(), std::size_t{1} << pick(random, 3));
    const std::size_t place = pick(random, bytes.size() - width) >> pick(random, 12);
    const std::uint64_t value = (std::uint64_t{1} << pick(random, 63)) - pick(random, 1);
    write(bytes, place, width, value, pick(random, 1) == 0);
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

// Has the chunks of a PNG image pass their checks, so that what they hold is decoded.
void repairPng(std::string& bytes) {
    constexpr std::size_t signature = 8, length = 4, name = 4, check = 4;
    std::size_t place = signature;
    while (place + length + name + check <= bytes.size()) {
        std::size_t size = 0;
        for (std::size_t i = 0; i < length; ++i)
            size = size << 8U | static_cast<unsigned char>(bytes[place + i]);
        const std::size_t end = place + length + name + size;
        if (end + check > bytes.size())
            return;
        write(bytes, end, check, libdeflate_crc32(0, &bytes[place + length], name + size), true);
        place = end + check;
    }
}

}  // namespace

std::size_t pick(Random& random, std::size_t last) {
    return std::uniform_int_distribution<std::size_t>(0, last)(random);
}

std::string mutate(Random& random, std::string bytes, const std::string& other) {
    constexpr std::array changes = {cutOut, fillRange, repeatRange, splice, setLength, setNumber};
    const std::size_t count = 1 + std::min(pick(random, 5), pick(random, 5));
    for (std::size_t i = 0; i < count && !bytes.empty(); ++i)
        changes[pick(random, changes.size() - 1)](random, bytes, other);
    if (bytes.compare(0, 4, "\x89PNG") == 0 && pick(random, 3) != 0)
        repairPng(bytes);
    return bytes;
}

}  // namespace tiomipra::fuzz
