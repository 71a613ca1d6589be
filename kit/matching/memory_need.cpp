#include "matching/memory_need.hpp"

#include <algorithm>
#include <opencv2/core.hpp>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "matching/image_preparation.hpp"
#include "matching/matcher_search.hpp"

namespace tiomipra {
namespace {

using vision::AdaptedParameters;
using vision::Stereo;

// Bytes for each pixel: prefiltered images, the fixed-point result and the speckle filter's labels.
constexpr std::uint64_t perMatchedPixel = 8;
// Raw and rectified images, masks, what is written and its encoding; and with a rig the maps of the
// rectification, points, clouds and their view. Measured with `tiomipra disparity --rectified` (30)
// on 4000x3000 pixels, `tiomipra depth --formats view` (88) on 6400x4800; the other formats
// take 60.
constexpr std::uint64_t perPixel = 32;
constexpr std::uint64_t perPixelOfRig = 96;
// What the filter along edges and the fit of fractions keep of matched pixels. Measured with
// `tiomipra disparity --rectified --preset fast --disparity-number 64` on 4000x3000 pixels in
// colours, with `--edge-filter` and without (26).
constexpr std::uint64_t perPixelOfSteps = 28;

std::uint64_t unsignedOf(std::int64_t number) {
    return number > 0 ? static_cast<std::uint64_t>(number) : 0;
}

std::uint64_t pixelsOf(const cv::Size& size) {
    return unsignedOf(size.width) * unsignedOf(size.height);
}

// Directions, for which it keeps the costs of all rows.
bool isInEight(const Stereo& stereo, const MatchingSteps& steps) {
    return stereo.getStereoAlgorithm() == Stereo::SGBM && stereo.getFullDP() &&
           !isThreeWay(stereo, steps);
}

std::uint64_t semiGlobalCosts(const Stereo& stereo, const MatchingSteps& steps,
                              const AdaptedParameters& adapted, const cv::Size& size) {
    constexpr std::uint64_t rowsBesideWindow = 12;
    constexpr std::uint64_t bytesOfCost = 2;
    const auto columns = unsignedOf(matchableColumns(adapted, size.width).size());
    const int window = std::max(isThreeWay(stereo, steps) ? steps.threeWay : 0,
                                usesWindow(stereo, steps) ? adapted.windowSize : 0);
    const std::uint64_t rows = unsignedOf(window) + rowsBesideWindow +
                               (isInEight(stereo, steps) ? 2 * unsignedOf(size.height) : 0);
    return bytesOfCost * rows * columns * unsignedOf(adapted.disparityNumber);
}

std::uint64_t blockMatchingCosts(const AdaptedParameters& adapted, const cv::Size& size) {
    constexpr std::uint64_t bytesBesideWindow = 6;
    return unsignedOf(size.height) * unsignedOf(adapted.disparityNumber) *
           (unsignedOf(adapted.windowSize) + bytesBesideWindow);
}

}  // namespace

std::uint64_t matcherMemory(const Stereo& stereo, const MatchingSteps& steps,
                            const cv::Size& size) {
    const AdaptedParameters adapted = adaptToWidth(stereo, size.width);
    const Padding padding = paddingFor(stereo, steps, adapted);
    const cv::Size padded(size.width + padding.left + padding.right, size.height);
    return perMatchedPixel * pixelsOf(padded) +
           (stereo.getStereoAlgorithm() == Stereo::SGBM
                ? semiGlobalCosts(stereo, steps, adapted, padded)
                : blockMatchingCosts(adapted, padded));
}

std::uint64_t pairMemory(const Stereo& stereo, const MatchingSteps& steps, const cv::Size& size,
                         const cv::Size& matched, bool hasRig) {
    const bool keepsMore = filtersAlongEdges(steps) || steps.refit != 0;
    return pixelsOf(size) * (hasRig ? perPixelOfRig : perPixel) +
           pixelsOf(matched) * (keepsMore ? perPixelOfSteps : 0) +
           matcherMemory(stereo, steps, matched);
}

std::uint64_t rectificationMemory(const StereoImages& images) {
    // Maps and the picture of rows; and as often as they are held at once, the images. Measured
    // with `tiomipra rectify` on 6400x4800 pixels: 33 bytes a pixel for grey ones of 8 bits, 54 for
    // colours of 16, 79 for colours of floating point.
    constexpr std::uint64_t beside = 32;
    constexpr std::uint64_t copies = 2;
    return pixelsOf(images.left.size()) *
           (beside + copies * (images.left.elemSize() + images.right.elemSize()));
}

std::string describeBytes(std::uint64_t bytes) {
    return significant(static_cast<double>(bytes) / 1e9, 3) + " GB";
}

void requireMemory(const std::string& task, std::uint64_t need, const MemoryLimit& limit,
                   const std::string& remedy) {
    if (need > limit.bytes)
        throw InputError(fmt::format("{} takes about {} of memory, must be at most {}, {}; {}",
                                     task, describeBytes(need), describeBytes(limit.bytes),
                                     limit.source, remedy));
}

void requireMemoryToMatch(const std::string& file, const cv::Size& size, const Stereo& stereo,
                          const MatchingSteps& steps, std::uint64_t need,
                          const MemoryLimit& limit) {
    requireMemory(
        fmt::format("matching {}, {} with {} disparities,", quote(file), describe(size),
                    stereo.getDisparityNumber()),
        need, limit,
        fmt::format(
            "fewer disparities{} or a larger scale take less",
            isInEight(stereo, steps) ? ", five directions in place of eight (full-dp)" : ""));
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
