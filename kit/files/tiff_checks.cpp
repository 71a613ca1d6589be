#include "files/tiff_checks.hpp"

#include <libdeflate.h>
#include <tiffio.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <opencv2/imgcodecs.hpp>
#include <string_view>
#include <utility>
#include <vector>

#include "shared/text.hpp"

namespace tiomipra {
namespace {

thread_local std::string complaint;  // the first one of this thread

void keepError(const char*, const char* format, va_list arguments) {
    constexpr std::string_view unnamed = ": ";  // some start with the name of the file
    std::array<char, 500> text{};
    if (!complaint.empty() || std::vsnprintf(text.data(), text.size(), format, arguments) <= 0)
        return;
    complaint = text.data();
    if (vision::startsWith(complaint, unnamed))
        complaint.erase(0, unnamed.size());
}

// Warnings of decoders tell of damaged pixels, all others of odd tags.
void keepWarning(const char* source, const char* format, va_list arguments) {
    const std::string_view name = source == nullptr ? "" : source;
    if (vision::startsWith(name, "JPEGLib") || vision::startsWith(name, "PackBits") ||
        vision::startsWith(name, "Fax"))
        keepError(source, format, arguments);
}

// OpenCV sets handlers of its own when it meets its first TIFF file, and never again.
bool setHandlers() {
    cv::imdecode(std::vector<char>{'I', 'I', '*', '\0'}, cv::IMREAD_ANYCOLOR);
    TIFFSetErrorHandler(keepError);
    TIFFSetWarningHandler(keepWarning);
    return true;
}

void hearComplaints() {
    [[maybe_unused]] static const bool isDone = setHandlers();
    complaint.clear();
}

struct Source {
    std::string_view file;
    std::size_t position = 0;
};

Source& sourceOf(thandle_t handle) {
    return *static_cast<Source*>(handle);
}

tmsize_t readSource(thandle_t handle, void* buffer, tmsize_t count) {
    Source& source = sourceOf(handle);
    const std::string_view bytes =
        source.file.substr(source.position, static_cast<std::size_t>(count));
    std::memcpy(buffer, bytes.data(), bytes.size());
    source.position += bytes.size();
    return static_cast<tmsize_t>(bytes.size());
}

// libtiff only asks for places from the start.
toff_t seekSource(thandle_t handle, toff_t offset, int) {
    Source& source = sourceOf(handle);
    source.position = std::min<std::size_t>(offset, source.file.size());
    return source.position;
}

using Tiff = std::unique_ptr<TIFF, decltype(&TIFFClose)>;

Tiff openTiff(Source& source) {
    const auto write = [](thandle_t, void*, tmsize_t) -> tmsize_t { return 0; };
    const auto close = [](thandle_t) { return 0; };
    const auto size = [](thandle_t handle) -> toff_t { return sourceOf(handle).file.size(); };
    return {TIFFClientOpen("", "rm", &source, readSource, write, seekSource, close, size, nullptr,
                           nullptr),
            TIFFClose};
}

std::int64_t fieldOf(TIFF& tiff, std::uint32_t tag) {
    std::uint32_t value = 0;
    return TIFFGetField(&tiff, tag, &value) == 0 ? 0 : value;
}

using Decompressor =
    std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)>;

// libtiff stops where it has as many pixels as it wants, and looks neither at what is left over nor
// at the checksum behind it.
bool isDeflatedWrong(TIFF& tiff, std::string_view file) {
    const bool isTiled = TIFFIsTiled(&tiff) != 0;
    const auto count = isTiled ? TIFFNumberOfTiles(&tiff) : TIFFNumberOfStrips(&tiff);
    const auto size =
        static_cast<std::size_t>(isTiled ? TIFFTileSize(&tiff) : TIFFStripSize(&tiff));
    const std::unique_ptr<char[]> inflated(new char[size]);
    const Decompressor decompressor(libdeflate_alloc_decompressor(), libdeflate_free_decompressor);
    for (std::uint32_t i = 0; i < count; ++i) {
        const auto start = std::min<std::size_t>(TIFFGetStrileOffset(&tiff, i), file.size());
        const auto bytes = file.substr(start, TIFFGetStrileByteCount(&tiff, i));
        std::size_t actualSize = 0;
        if (libdeflate_zlib_decompress(decompressor.get(), bytes.data(), bytes.size(),
                                       inflated.get(), size, &actualSize) != LIBDEFLATE_SUCCESS)
            return true;
    }
    return false;
}

bool isDeflatedWrong(const std::string& file) {
    Source source{file};
    const Tiff tiff = openTiff(source);
    std::uint16_t compression = 0, order = 0;
    if (tiff == nullptr || TIFFGetField(tiff.get(), TIFFTAG_COMPRESSION, &compression) == 0)
        return false;
    // With the bits of each byte the other way around, which hardly anybody writes.
    if (TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_FILLORDER, &order) != 0 &&
        order == FILLORDER_LSB2MSB)
        return false;
    const bool isDeflated =
        compression == COMPRESSION_ADOBE_DEFLATE || compression == COMPRESSION_DEFLATE;
    return isDeflated && isDeflatedWrong(*tiff, file);
}

}  // namespace

cv::Size2l sizeOfTiff(const std::string& file) {
    hearComplaints();
    Source source{file};
    const Tiff tiff = openTiff(source);
    if (tiff == nullptr)
        return {};
    return {std::max(fieldOf(*tiff, TIFFTAG_IMAGEWIDTH), fieldOf(*tiff, TIFFTAG_TILEWIDTH)),
            std::max(fieldOf(*tiff, TIFFTAG_IMAGELENGTH), fieldOf(*tiff, TIFFTAG_TILELENGTH))};
}

DecodedImage decodeTiff(const std::string& file,
                        const std::function<cv::Mat(const std::string& file)>& decode) {
    hearComplaints();
    cv::Mat pixels = decode(file);
    if (complaint.empty() && isDeflatedWrong(file))
        complaint = "compressed pixels don't fit their checksum";
    return {std::move(pixels), complaint};
}

}  // namespace tiomipra
