#include "files/own_png.hpp"

#include <zlib.h>

#include <cstdint>

#include "base/provenance.hpp"
#include "files/image_files.hpp"
#include "files/input_files.hpp"

namespace tiomipra {
namespace {

constexpr std::size_t headerEnd = 8 + 25;  // the signature and the chunk with the size

std::string bigEndian(std::uint32_t number) {
    std::string bytes;
    for (const unsigned shift : {24U, 16U, 8U, 0U})
        bytes += static_cast<char>(number >> shift & 0xffU);
    return bytes;
}

// Of any version.
std::string mark() {
    using std::string_literals::operator""s;
    return "tEXtSoftware\0tiomipra "s;
}

std::string chunkThatNamesTheMaker() {
    const std::string text = mark() + programVersion();
    const auto sum =
        crc32(0, reinterpret_cast<const Bytef*>(text.data()), static_cast<uInt>(text.size()));
    constexpr std::size_t nameSize = 4;
    return bigEndian(static_cast<std::uint32_t>(text.size() - nameSize)) + text +
           bigEndian(static_cast<std::uint32_t>(sum));
}

}  // namespace

NewFile newOwnPng(const std::string& path, const cv::Mat& image) {
    std::string bytes = encodeImage("a.png", image);
    bytes.insert(headerEnd, chunkThatNamesTheMaker());
    return {path, bytes};
}

void removeOwnPng(const std::string& path) {
    constexpr std::size_t sizeOfLength = 4;
    const std::string start = readStart(path, headerEnd + sizeOfLength + mark().size());
    if (start.rfind("\x89PNG", 0) == 0 &&
        start.compare(headerEnd + sizeOfLength, std::string::npos, mark()) == 0)
        removeFile(path);
}

}  // namespace tiomipra
