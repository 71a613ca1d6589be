// How images of any depth become the 8-bit images that matchers, features and boards want.
#ifndef TIOMIPRA_FILES_EIGHT_BITS_HPP
#define TIOMIPRA_FILES_EIGHT_BITS_HPP

#include <opencv2/core/mat.hpp>
#include <string>

namespace tiomipra {

// Replaces those of both images, with 1 or 3 channels, that have another depth. They are stretched
// alike: what lies between the values that a thousandth of them is below or above becomes 0 to 255;
// NaN becomes 0. So temperatures and radiances keep what can be told apart.
//
// Unsigned 16-bit values that range over at least half of the levels that their bits have, as 12
// bits within 16 do, keep the unused levels: they are divided by a power of two, which makes them
// what a camera delivers in 8 bits, and the frames of a batch alike.
//
// Returns what was done, as in "values from 0 to 4096 are stretched to 8 bits"; empty if nothing
// was, or if all of the 16 bits are in use.
std::string stretchToEightBits(cv::Mat& left, cv::Mat& right);

}  // namespace tiomipra

#endif
