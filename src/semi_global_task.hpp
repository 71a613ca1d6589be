// What all steps of semi-global matching have in common.
//
// Costs are signed numbers of 16 bits, as OpenCV has them, and every sum and difference of them
// that does not fit becomes the largest or smallest number; with large windows that happens, so
// that the order of the operations counts. Those of neighbouring disparities lie side by side, the
// smallest first; those of neighbouring pixels follow each other.
#ifndef VISION_SEMI_GLOBAL_TASK_HPP
#define VISION_SEMI_GLOBAL_TASK_HPP

#include <algorithm>
#include <cstdint>
#include <opencv2/core.hpp>

#include "semi_global_matching.hpp"

namespace vision {

// Columns that are matched, from 0 on. A thread does all steps for a part of them as far as it can,
// so that what it works on stays in its cache; little passes from part to part.
struct Columns {
    int begin;
    int end;

    int size() const { return end - begin; }
};

struct SemiGlobalTask {
    cv::Mat left;
    cv::Mat right;
    SemiGlobalMatching settings;
    cv::Mat disparities;

    int firstLeft;  // column of the left image that is matched
    int columns;    // that are matched
    int half;       // of the window
    int slopeCap;
    // What changes of the disparity cost: by one, and by more. As OpenCV has them, and wrapped.
    std::int16_t smallChange;
    std::int16_t largeChange;

    int rows() const { return left.rows; }
    int disparityNumber() const { return settings.disparityNumber; }
    std::ptrdiff_t costsOf(int pixels) const {
        return static_cast<std::ptrdiff_t>(pixels) * disparityNumber();
    }
};

constexpr std::int16_t largestCost = 0x7fff;

// The sum as OpenCV narrows it where it does not use vectors.
inline std::int16_t wrappingSum(std::int16_t a, std::int16_t b) {
    return static_cast<std::int16_t>(a + b);
}

}  // namespace vision

#endif
