// Quantities as they are written on the command line. The functions that parse throw `UsageError`,
// which names the text and the rule, for a text that they do not understand.
#ifndef TIOMIPRA_UNITS_HPP
#define TIOMIPRA_UNITS_HPP

#include <opencv2/core/types.hpp>
#include <string>

namespace tiomipra {

// The unit of lengths that have a suffix, and of those that `calibrate` writes for them.
constexpr auto metres = "m";

struct Length {
    double value = 0;
    std::string unit;  // `metres`, or "" where the text has no suffix
};

// "25mm", "3cm", "1.5m", "1in" in metres; a bare number as it is. Positive.
Length parseLength(const std::string& text);

struct Range {
    double nearest = 0;
    double farthest = 0;
    std::string unit;  // of both, as in `Length`
};

// "0.4..3" or "40cm..3m": two lengths, the nearer one first.
Range parseRange(const std::string& text);

// "9x6": width times height, both positive.
cv::Size parseSize(const std::string& text);

// A validator for CLI11: what is wrong with `text`, nothing when it is a finite number above 0.
std::string requirePositiveNumber(const std::string& text);

}  // namespace tiomipra

#endif
