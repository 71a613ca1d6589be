// Memory for vectors.
#ifndef VISION_ALIGNED_NUMBERS_HPP
#define VISION_ALIGNED_NUMBERS_HPP

#include <cstddef>
#include <vector>

namespace vision {

// Zeros at first; where a vector begins at a multiple of its size, it lies in one cache line.
template <typename Number>
class AlignedNumbers {
  public:
    explicit AlignedNumbers(std::size_t size) : _lines((size + perLine - 1) / perLine) {}

    Number* data() { return reinterpret_cast<Number*>(_lines.data()); }

  private:
    static constexpr std::size_t perLine = 64 / sizeof(Number);
    struct alignas(64) Line {
        Number numbers[perLine];
    };
    std::vector<Line> _lines;
};

}  // namespace vision

#endif
