// Quantities as people write them. The functions that parse throw `std::invalid_argument`, which
// names the text and the rule, for a text that they do not understand. They do not depend on the
// locale.
#ifndef TIOMIPRA_BASE_QUANTITIES_HPP
#define TIOMIPRA_BASE_QUANTITIES_HPP

#include <opencv2/core/types.hpp>
#include <string>

namespace tiomipra {

// The unit of lengths that have a suffix, and of calibrations that are made with such a one.
constexpr auto metres = "m";

// Whether calibrations are made with this unit: `metres`, or "" for the user's own.
bool isUnit(const std::string& text);

struct Length {
    double value = 0;
    std::string unit;  // `metres`, or "" where the text has no suffix
};

// "25mm", "3 cm", "1.5m", "1in" in metres; a bare number as it is. Positive.
Length parseLength(const std::string& text);

// Depths, the nearer one first.
struct DepthRange {
    double nearest = 0;
    double farthest = 0;       // may be infinite
    std::string unit;          // of both, as in `Length`
    bool isAutomatic = false;  // to be found from the images; then there are no depths
};

// "0.4..3", "40cm..3m", "0.4..inf" or "auto".
DepthRange parseDepthRange(const std::string& text);

// "9x6" or "9X6": width times height, both positive.
cv::Size parseSize(const std::string& text);

// From `low` up to `high`, which is larger.
struct Interval {
    double low = 0;
    double high = 0;
};

// "0..64" or "-1.5..2".
Interval parseInterval(const std::string& text);

// A finite number above 0.
double parsePositiveNumber(const std::string& text);

}  // namespace tiomipra

#endif
