#include "matching_kernels.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <opencv2/calib3d.hpp>

#include "block_matching.hpp"
#include "semi_global_matching.hpp"
#include "shared/matching_kernels.hpp"

namespace vision {
namespace {

enum class Choice { own, switchedOff, otherVersion, otherResults };

bool isSwitchedOff() {
    const char* const setting = std::getenv("TIOMIPRA_KERNELS");
    return setting != nullptr && std::strcmp(setting, "opencv") == 0;
}

bool isKnownVersion() {
    return cv::getVersionMajor() == 4 && cv::getVersionMinor() == 6;
}

// A texture with a few grey levels, so that there are equal sums, and the same moved to the left by
// about four pixels.
void makePair(cv::Mat& left, cv::Mat& right) {
    cv::Mat_<std::uint8_t> texture(50, 105);
    std::uint32_t state = 1;
    for (std::uint8_t& pixel : texture) {
        state = state * 1664525U + 1013904223U;
        pixel = static_cast<std::uint8_t>(state >> 28U << 2U);
    }
    left = texture.colRange(0, 101);
    right = (texture.colRange(4, 105) + texture.colRange(3, 104)) / 2;
}

bool areSame(const cv::Mat& a, const cv::Mat& b) {
    return std::memcmp(a.data, b.data, a.total() * a.elemSize()) == 0;
}

// Small enough for OpenCV to use one thread.
bool givesSameBlocks(const cv::Mat& left, const cv::Mat& right) {
    constexpr BlockMatching variants[] = {
        // window, disparities from, number, cap, an unused size, texture, uniqueness, speckles
        {9, 1, 32, 45, 9, 1, 2, 20, 10},
        {5, -20, 32, 31, 9, 100, 5, 0, 0},
        {7, 3, 16, 63, 9, 1500, 0, 9, 1},
        {21, 0, 48, 20, 9, 10, 15, 0, 0},
    };
    return std::all_of(std::begin(variants), std::end(variants), [&](const BlockMatching& variant) {
        return areSame(matchBlocks(left, right, variant),
                       matchBlocksByOpenCv(left, right, variant));
    });
}

bool givesSamePaths(const cv::Mat& left, const cv::Mat& right) {
    constexpr SemiGlobalMatching variants[] = {
        // window, disparities from, number, cap, uniqueness, speckles, P1, P2, left-right, full
        {5, 1, 32, 45, 10, 20, 2, 200, 800, 1, false},
        {21, -20, 32, 63, 2, 0, 0, 3528, 14112, 0, false},  // sums that don't fit
        {3, 3, 16, 31, 0, 9, 1, 0, 0, 20, false},
        {7, 0, 48, 15, 5, 0, 0, 400, 30000, 2, true},
    };
    return std::all_of(std::begin(variants), std::end(variants),
                       [&](const SemiGlobalMatching& variant) {
                           return areSame(matchSemiGlobally(left, right, variant),
                                          matchSemiGloballyByOpenCv(left, right, variant));
                       });
}

bool givesSameResults() {
    cv::Mat left;
    cv::Mat right;
    makePair(left, right);
    return givesSameBlocks(left, right) &&
           (!isSemiGlobalFasterThanOpenCv() || givesSamePaths(left, right));
}

Choice choose() {
    if (isSwitchedOff())
        return Choice::switchedOff;
    if (!isKnownVersion())
        return Choice::otherVersion;
    return givesSameResults() ? Choice::own : Choice::otherResults;
}

Choice choiceOnce() {
    static const Choice choice = choose();
    return choice;
}

}  // namespace

bool mayUseOwnKernels() {
    return choiceOnce() == Choice::own;
}

std::string describeMatchingKernels() {
    switch (choiceOnce()) {
        case Choice::own:
            return "own (" + name(findInstructionSet()) + ")";
        case Choice::switchedOff:
            return "OpenCV, as TIOMIPRA_KERNELS says";
        case Choice::otherVersion:
            return "OpenCV, as it is not version 4.6";
        case Choice::otherResults:
            break;
    }
    return "OpenCV, as its results differ";
}

}  // namespace vision
