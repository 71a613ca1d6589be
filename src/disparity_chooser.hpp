// From the sums over the window to disparities, for a block of pixels at a time; compiled once for
// each instruction set. `MatchFinder` finds the least sums; those on both sides of it give the
// disparity to a sixteenth of a pixel.
#ifndef VISION_DISPARITY_CHOOSER_HPP
#define VISION_DISPARITY_CHOOSER_HPP

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "block_matching.hpp"
#include "match_finder.hpp"
#include "vectors.hpp"

namespace vision {

template <typename Isa>
class DisparityChooser {
  public:
    static constexpr int blockSize = PixelBlock::size;
    static constexpr int scanned = MatchFinder<Isa>::scanned;
    static constexpr int overread = MatchFinder<Isa>::overread;

    TIOMIPRA_INLINE explicit DisparityChooser(const BlockMatching& settings)
        : _settings(settings), _finder(settings.disparityNumber) {}

    // `pixel` of the block has the least sum `least` and the sum of texture `texture`.
    TIOMIPRA_INLINE void take(int pixel, std::uint16_t least, std::int32_t texture) {
        _block.least[pixel] = least;
        _texture[pixel] = texture;
    }

    // The disparities of the first `size` pixels of the block, whose sums `MatchFinder` takes.
    TIOMIPRA_INLINE void choose(const std::uint16_t* sums, std::ptrdiff_t stride, int size,
                                std::int16_t* disparities) {
        for (int pixel = 0; pixel < size; pixel += Isa::integers)
            findLimits(pixel);
        _finder.find(sums, stride, size, _block);
        std::int16_t chosen[blockSize];
        for (int pixel = 0; pixel < size; pixel += Isa::integers)
            interpolate(pixel, chosen + pixel);
        std::copy_n(chosen, size, disparities);
    }

  private:
    using Integers = Vector<std::int32_t, Isa::integers>;
    using Floats = Vector<float, Isa::integers>;

    // least + least * uniquenessRatio / 100, as whole numbers. Single precision does it exactly:
    // the product is below 2^24, the quotient below 2^16 and at least 1/100 from a whole number if
    // it is none.
    TIOMIPRA_INLINE void findLimits(int first) {
        Integers least;
        loadWider(_block.least + first, least);
        const auto ratio = static_cast<float>(_settings.uniquenessRatio);
        const Floats margin = __builtin_convertvector(least, Floats) * ratio / 100.F;
        const Integers limit = least + __builtin_convertvector(margin, Integers);
        const Integers largest = Integers{} + 0xffff;
        const Integers limited = limit < largest ? limit : largest;
        using Limits = Vector<std::uint16_t, Isa::integers>;
        store(__builtin_convertvector(limited, Limits), _block.limit + first);
    }

    // place + (after - before) / (2 * (larger of both - least)), in 256ths cut off towards zero,
    // then in sixteenths rounded up; at the ends, the sum on the other side counts twice. Single
    // precision does it exactly: the quotient is at most 128 and at least 1 / 65535 from a whole
    // number if it is none.
    TIOMIPRA_INLINE void interpolate(int pixel, std::int16_t* results) {
        auto [least, before, after, place, isAmbiguous] = FoundPixels<Integers>(_block, pixel);
        Integers texture;
        load(_texture + pixel, texture);

        before = place == 0 ? after : before;
        after = place == _settings.disparityNumber - 1 ? before : after;
        const Integers rise = (before > after ? before : after) - least;
        const auto dividend = __builtin_convertvector((after - before) * 128, Floats);
        const auto divisor = __builtin_convertvector(rise > 0 ? rise : 1, Floats);
        const auto fraction = __builtin_convertvector(dividend / divisor, Integers);
        const int largest = _settings.minDisparity + _settings.disparityNumber - 1;
        const Integers disparity = ((largest - place) * 256 + fraction + 15) >> 4;

        Integers isMissing = texture < _settings.textureThreshold;
        if (_settings.uniquenessRatio > 0)
            isMissing |= isAmbiguous;
        const Integers missing = Integers{} + (_settings.minDisparity - 1) * 16;
        const Integers result = isMissing ? missing : disparity;
        using Results = Vector<std::int16_t, Isa::integers>;
        store(__builtin_convertvector(result, Results), results);
    }

    BlockMatching _settings;
    MatchFinder<Isa> _finder;
    PixelBlock _block{};
    std::int32_t _texture[blockSize]{};
};

}  // namespace vision

#endif
