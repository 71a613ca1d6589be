#include "files/video_files.hpp"

#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "files/input_files.hpp"
#include "files/modules.hpp"

namespace tiomipra {

std::unique_ptr<Video> openVideo(const std::string& path, const ImageLimits& limits) {
    requireReadable(path);
    static const auto open = *static_cast<const OpenVideo*>(findInModule("video", openVideoSymbol));
    auto video = open(path);
    if (video == nullptr)
        throw InputError(quote(path) + " is not a video, or is damaged");
    requireFewPixels(path, video->frameSize(), limits);
    return video;
}

bool isCutOff(const std::string& path) {
    constexpr std::size_t header = 8;  // "RIFF" and the count of what follows, little-endian
    std::array<char, header> bytes{};
    if (!std::ifstream(path, std::ios::binary).read(bytes.data(), bytes.size()) ||
        std::string_view(bytes.data(), 4) != "RIFF")
        return false;
    std::uintmax_t promised = header;
    for (std::size_t i = 4; i < header; ++i)
        promised += std::uintmax_t{static_cast<unsigned char>(bytes[i])} << (8 * (i - 4));
    return promised > std::filesystem::file_size(path);
}

}  // namespace tiomipra
