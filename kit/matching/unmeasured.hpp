// Why a pixel has no disparity or depth.
#ifndef TIOMIPRA_MATCHING_UNMEASURED_HPP
#define TIOMIPRA_MATCHING_UNMEASURED_HPP

#include <array>
#include <cstdint>
#include <opencv2/core/mat.hpp>
#include <string>

namespace tiomipra {

// In the order in which they are looked for; of several the first one is told.
enum class Reason : std::uint8_t {
    none,           // it was measured
    notSeen,        // the raw images do not show it, or not its match
    outsideOfView,  // its candidates, or its match, are outside of the right image
    noTexture,
    notUnique,      // no match, or one that is not clearly better than others
    leftRight,      // the match from right to left is another one
    speckle,        // one of a few pixels with a disparity of their own
    unsure,         // below the least confidence
    outsideOfRange  // farther away than the maximum depth, or behind the cameras
};

// All of them.
constexpr std::array<Reason, 9> allReasons{
    Reason::none,      Reason::notSeen,   Reason::outsideOfView,
    Reason::noTexture, Reason::notUnique, Reason::leftRight,
    Reason::speckle,   Reason::unsure,    Reason::outsideOfRange};

// As in "noTexture".
std::string nameOf(Reason reason);

// As in "no texture".
std::string describe(Reason reason);

// Gives the pixels where `kept` (`CV_8UC1`) is 0 and that have no reason in `reasons` (`CV_8UC1`,
// same size) this one.
void reject(cv::Mat& reasons, const cv::Mat& kept, Reason reason);

// How many pixels have each reason, in the order of `allReasons`.
using ReasonCounts = std::array<std::size_t, allReasons.size()>;

ReasonCounts countReasons(const cv::Mat& reasons);

}  // namespace tiomipra

#endif
