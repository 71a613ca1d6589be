#include "files/pfm_files.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <opencv2/imgproc.hpp>
#include <optional>

#include "shared/text.hpp"

namespace tiomipra {
namespace {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "floats are written as they lie in memory");

struct Header {
    int channels = 1;
    cv::Size2l size;
    bool isBigEndian = false;
    std::string_view values;  // what follows it
};

// Takes a number off, with the blanks before it.
template <typename Number>
bool takeNumber(std::string_view& rest, Number& number) {
    rest.remove_prefix(std::min(rest.find_first_not_of(" \t\n\r"), rest.size()));
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
    rest.remove_prefix(static_cast<std::size_t>(end - rest.data()));
    return error == std::errc();
}

// "Pf" or "PF", width, height and scale, and a single blank or the end of a line.
std::optional<Header> readHeader(std::string_view file) {
    constexpr std::int64_t largest = 1 << 24;  // so that no count of bytes overflows
    Header header;
    header.channels = file.substr(0, 2) == "PF" ? 3 : 1;
    std::string_view rest = file.substr(std::min<std::size_t>(file.size(), 2));
    double scale = 0;
    const auto& [width, height] = header.size;
    if (!takeNumber(rest, header.size.width) || !takeNumber(rest, header.size.height) ||
        !takeNumber(rest, scale) || rest.empty() || width < 1 || height < 1 || width > largest ||
        height > largest || scale == 0 || !std::isfinite(scale))
        return std::nullopt;
    header.isBigEndian = scale > 0;
    header.values = rest.substr(vision::startsWith(rest, "\r\n") ? 2 : 1);
    return header;
}

void swapBytes(cv::Mat& image) {
    for (int y = 0; y < image.rows; ++y) {
        auto* const row = image.ptr<std::uint32_t>(y);
        std::transform(row, row + static_cast<std::ptrdiff_t>(image.cols) * image.channels(), row,
                       [](std::uint32_t value) { return __builtin_bswap32(value); });
    }
}

}  // namespace

cv::Size2l sizeOfPfm(std::string_view file) {
    const auto header = readHeader(file);
    return header ? header->size : cv::Size2l();
}

cv::Mat decodePfm(std::string_view file) {
    const auto header = readHeader(file);
    if (!header)
        return {};
    const std::size_t rowBytes =
        static_cast<std::size_t>(header->size.width * header->channels) * sizeof(float);
    if (header->values.size() / rowBytes < static_cast<std::size_t>(header->size.height))
        return {};
    cv::Mat image(cv::Size(header->size), CV_32FC(header->channels));
    const char* next = header->values.data();
    for (int y = image.rows - 1; y >= 0; --y, next += rowBytes)
        std::memcpy(image.ptr(y), next, rowBytes);
    if (header->isBigEndian)
        swapBytes(image);
    if (header->channels == 3)
        cv::cvtColor(image, image, cv::COLOR_RGB2BGR);
    return image;
}

std::string encodePfm(const cv::Mat& values) {
    std::string bytes = fmt::format("Pf\n{} {}\n-1\n", values.cols, values.rows);
    for (int y = values.rows - 1; y >= 0; --y)
        bytes.append(values.ptr<char>(y), static_cast<std::size_t>(values.cols) * sizeof(float));
    return bytes;
}

}  // namespace tiomipra
