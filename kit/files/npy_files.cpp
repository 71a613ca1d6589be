#include "files/npy_files.hpp"

#include <fmt/format.h>

namespace tiomipra {
namespace {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "arrays are written as they lie in memory");

// The magic string, the version and the length of the description, which is padded with blanks such
// that the elements start at a multiple of 64 bytes.
std::string npyHeader(int rows, int columns) {
    constexpr std::size_t start = 10, alignment = 64;
    std::string text = fmt::format(
        "{{'descr': '<f4', 'fortran_order': False, 'shape': ({}, {}), }}", rows, columns);
    const std::size_t unpadded = start + text.size() + 1;
    text.append((alignment - unpadded % alignment) % alignment, ' ');
    text += '\n';
    std::string header("\x93NUMPY\x01\0", 8);
    header += static_cast<char>(text.size() & 0xFFU);
    header += static_cast<char>(text.size() >> 8U);
    return header + text;
}

}  // namespace

std::string encodeNpy(const cv::Mat& values) {
    std::string bytes = npyHeader(values.rows, values.cols);
    for (int y = 0; y < values.rows; ++y)
        bytes.append(values.ptr<char>(y), static_cast<std::size_t>(values.cols) * sizeof(float));
    return bytes;
}

}  // namespace tiomipra
