#include "files/image_headers.hpp"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <iterator>

#include "base/text.hpp"
#include "files/pfm_files.hpp"

namespace tiomipra {
namespace {

using namespace std::string_view_literals;

constexpr auto blanks = " \t\n\v\f\r"sv;

bool isPnm(std::string_view file) {
    return file.size() > 2 && file[0] == 'P' && file[1] >= '1' && file[1] <= '6' &&
           blanks.find(file[2]) != std::string_view::npos;
}

bool isTiff(std::string_view file) {
    constexpr std::string_view signatures[] = {"II*\0"sv, "MM\0*"sv, "II+\0"sv, "MM\0+"sv};
    return std::find(std::begin(signatures), std::end(signatures), file.substr(0, 4)) !=
           std::end(signatures);
}

// `count` bytes, the least significant one first; 0 beyond the end of the file.
std::int64_t littleEndian(std::string_view file, std::size_t offset, std::size_t count) {
    std::int64_t value = 0;
    for (std::size_t i = offset + count; i-- > offset;)
        value = value * 256 + (i < file.size() ? static_cast<unsigned char>(file[i]) : 0);
    return value;
}

std::int64_t bigEndian(std::string_view file, std::size_t offset) {
    std::int64_t value = 0;
    for (std::size_t i = offset; i < offset + 4; ++i)
        value = value * 256 + (i < file.size() ? static_cast<unsigned char>(file[i]) : 0);
    return value;
}

// A negative height stands for rows from top to bottom.
cv::Size2l sizeOfBmp(std::string_view file) {
    constexpr std::int64_t oldHeader = 12;
    if (littleEndian(file, 14, 4) == oldHeader)
        return {littleEndian(file, 18, 2), littleEndian(file, 20, 2)};
    return {littleEndian(file, 18, 4),
            std::abs(std::int64_t{static_cast<std::int32_t>(littleEndian(file, 22, 4))})};
}

// A lossy, a lossless, or an extended file, which says how large its canvas is.
cv::Size2l sizeOfWebp(std::string_view file) {
    constexpr std::int64_t largest = 0x3FFF;
    const std::string_view kind = file.substr(12, 4);
    if (kind == "VP8X")
        return {littleEndian(file, 24, 3) + 1, littleEndian(file, 27, 3) + 1};
    if (kind == "VP8L") {
        const std::int64_t both = littleEndian(file, 21, 4);
        return {(both & largest) + 1, (both >> 14 & largest) + 1};
    }
    return {littleEndian(file, 26, 2) & largest, littleEndian(file, 28, 2) & largest};
}

// Takes a number off, with the blanks and comments before it; 0 where there is none.
std::int64_t takeNumber(std::string_view& rest) {
    while (!rest.empty() && (rest[0] == '#' || blanks.find(rest[0]) != std::string_view::npos))
        rest.remove_prefix(rest[0] == '#' ? std::min(rest.find('\n'), rest.size()) : 1);
    std::int64_t number = 0;
    const char* const end = rest.data() + rest.size();
    rest.remove_prefix(
        static_cast<std::size_t>(std::from_chars(rest.data(), end, number).ptr - rest.data()));
    return number;
}

cv::Size2l sizeOfPnm(std::string_view file) {
    file.remove_prefix(2);
    const std::int64_t width = takeNumber(file);
    return {width, takeNumber(file)};
}

}  // namespace

ImageFormat formatOf(std::string_view file) {
    if (startsWith(file, "BM"))
        return ImageFormat::bmp;
    if (startsWith(file, "\xFF\xD8\xFF"))
        return ImageFormat::jpeg;
    if (startsWith(file, "Pf") || startsWith(file, "PF"))
        return ImageFormat::pfm;
    if (startsWith(file, "\x89PNG\r\n\x1A\n"))
        return ImageFormat::png;
    if (isPnm(file))
        return ImageFormat::pnm;
    if (isTiff(file))
        return ImageFormat::tiff;
    const bool isWebp = startsWith(file, "RIFF") && file.substr(8, 4) == "WEBP";
    return isWebp ? ImageFormat::webp : ImageFormat::none;
}

cv::Size2l sizeInHeader(std::string_view file, ImageFormat format) {
    switch (format) {
        case ImageFormat::bmp:
            return sizeOfBmp(file);
        case ImageFormat::pfm:
            return sizeOfPfm(file);
        case ImageFormat::png:
            return {bigEndian(file, 16), bigEndian(file, 20)};
        case ImageFormat::pnm:
            return sizeOfPnm(file);
        case ImageFormat::webp:
            return file.size() < 30 ? cv::Size2l() : sizeOfWebp(file);
        default:
            return {};
    }
}

}  // namespace tiomipra
