#include "matching/memory_need.hpp"

#include <opencv2/core.hpp>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "matching/matcher_search.hpp"

namespace tiomipra {
namespace {

using vision::AdaptedParameters;
using vision::Stereo;

// Bytes for each pixel: prefiltered images, the fixed-point result and the speckle filter's labels.
constexpr std::uint64_t perMatchedPixel = 8;
// Raw and rectified images, masks, what is written and its encoding; and with a rig the maps of the
// rectification, points and clouds. Measured with `tiomipra disparity --rectified` (30) and
// `tiomipra depth` (67) on 4000x3000 pixels.
constexpr std::uint64_t perPixel = 32;
constexpr std::uint64_t perPixelOfRig = 72;

std::uint64_t unsignedOf(std::int64_t number) {
    return number > 0 ? static_cast<std::uint64_t>(number) : 0;
}

std::uint64_t pixelsOf(const cv::Size& size) {
    return unsignedOf(size.width) * unsignedOf(size.height);
}

std::uint64_t semiGlobalCosts(const Stereo& stereo, const AdaptedParameters& adapted,
                              const cv::Size& size) {
    constexpr std::uint64_t rowsBesideWindow = 12;
    constexpr std::uint64_t bytesOfCost = 2;
    const auto columns = unsignedOf(matchableColumns(adapted, size.width).size());
    const std::uint64_t rows = unsignedOf(adapted.windowSize) + rowsBesideWindow +
                               (stereo.getFullDP() ? 2 * unsignedOf(size.height) : 0);
    return bytesOfCost * rows * columns * unsignedOf(adapted.disparityNumber);
}

std::uint64_t blockMatchingCosts(const AdaptedParameters& adapted, const cv::Size& size) {
    constexpr std::uint64_t bytesBesideWindow = 6;
    return unsignedOf(size.height) * unsignedOf(adapted.disparityNumber) *
           (unsignedOf(adapted.windowSize) + bytesBesideWindow);
}

}  // namespace

std::uint64_t matcherMemory(const Stereo& stereo, const cv::Size& size) {
    const AdaptedParameters adapted = adaptToWidth(stereo, size.width);
    return perMatchedPixel * pixelsOf(size) + (stereo.getStereoAlgorithm() == Stereo::SGBM
                                                   ? semiGlobalCosts(stereo, adapted, size)
                                                   : blockMatchingCosts(adapted, size));
}

std::uint64_t pairMemory(const Stereo& stereo, const cv::Size& size, const cv::Size& matched,
                         bool hasRig) {
    return pixelsOf(size) * (hasRig ? perPixelOfRig : perPixel) + matcherMemory(stereo, matched);
}

std::string describeBytes(std::uint64_t bytes) {
    return significant(static_cast<double>(bytes) / 1e9, 3) + " GB";
}

void requireMemory(const Stereo& stereo, const cv::Size& size, std::uint64_t need,
                   const MemoryLimit& limit, const std::string& file) {
    if (need <= limit.bytes)
        return;
    const bool isInEight = stereo.getStereoAlgorithm() == Stereo::SGBM && stereo.getFullDP();
    throw InputError(fmt::format(
        "{}, {} with {} disparities, takes about {} of memory to match, must be at most {}, {}; "
        "fewer disparities{} or a larger scale take less",
        quote(file), describe(size), stereo.getDisparityNumber(), describeBytes(need),
        describeBytes(limit.bytes), limit.source,
        isInEight ? ", five directions in place of eight (full-dp)" : ""));
}

void requireAllocatable(std::uint64_t bytes) {
    constexpr std::uint64_t bytesOfRow = std::uint64_t{1} << 20U;
    try {
        const cv::Mat trial(static_cast<int>(bytes / bytesOfRow + 1), static_cast<int>(bytesOfRow),
                            CV_8UC1);
    } catch (const cv::Exception&) {
        throw InputError(fmt::format("there is not enough memory left to match: {} more are needed",
                                     describeBytes(bytes)));
    }
}

}  // namespace tiomipra
