// Numbers cut to whole ones without undefined behaviour.
#ifndef VISION_SHARED_TRUNCATION_HPP
#define VISION_SHARED_TRUNCATION_HPP

#include <limits>

namespace vision {

// Truncates towards zero; what no int can hold, NaN included, becomes the smallest int, as the
// conversion instruction of x86 has it.
inline int truncateToInt(float value) {
    constexpr float limit = 2147483648.F;
    return value >= -limit && value < limit ? static_cast<int>(value)
                                            : std::numeric_limits<int>::min();
}

}  // namespace vision

#endif
