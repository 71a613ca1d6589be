// From the sums over the window to disparities, for a block of pixels at a time; compiled once for
// each instruction set.
//
// The least sum of a pixel gives the limit up to which no other may come for the match to be
// unique, its neighbours aside. Vectors of sums are compared with the limit, which gives the places
// of the first and the last sum up to it. What stands around the first is kept, and transposed for
// eight pixels at a time: from there on, the pixels lie side by side in vectors. They get the place
// of their least sum, and from the sums on both sides of it the disparity to a sixteenth of a
// pixel.
#ifndef VISION_DISPARITY_CHOOSER_HPP
#define VISION_DISPARITY_CHOOSER_HPP

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "block_matching.hpp"
#include "vectors.hpp"

namespace vision {

using Eight = Vector<std::uint16_t, 8>;

// Rows become columns: three times, the rows of the first half are interleaved with the others.
TIOMIPRA_INLINE void transpose(const std::uint16_t (*source)[8], Eight (&rows)[8]) {
    for (int i = 0; i < 8; ++i)
        load(source[i], rows[i]);
    for (int step = 0; step < 3; ++step) {
        Eight next[8];
        for (int i = 0; i < 4; ++i) {
            next[2 * i] = __builtin_shufflevector(rows[i], rows[i + 4], 0, 8, 1, 9, 2, 10, 3, 11);
            next[2 * i + 1] =
                __builtin_shufflevector(rows[i], rows[i + 4], 4, 12, 5, 13, 6, 14, 7, 15);
        }
        std::copy_n(next, 8, rows);
    }
}

template <typename Isa>
class DisparityChooser {
  public:
    static constexpr int blockSize = 64;  // pixels at most
    static constexpr int scanned = 32;    // sums that `Isa::findSmall` takes
    static constexpr int overread = 8;    // sums that may be read behind the last pixel's

    TIOMIPRA_INLINE explicit DisparityChooser(const BlockMatching& settings)
        : _settings(settings) {}

    // `pixel` of the block has the least sum `least` and the sum of texture `texture`.
    TIOMIPRA_INLINE void take(int pixel, std::uint16_t least, std::int32_t texture) {
        _block.least[pixel] = least;
        _block.texture[pixel] = texture;
    }

    // The disparities of the first `size` pixels of the block. The sums of each begin `stride`
    // behind those of the one before, a multiple of `scanned`; before those of the first, one may
    // be read.
    TIOMIPRA_INLINE void choose(const std::uint16_t* sums, std::ptrdiff_t stride, int size,
                                std::int16_t* disparities) {
        for (int pixel = 0; pixel < size; pixel += Isa::integers)
            findLimits(pixel);
        for (int pixel = 0; pixel < size; ++pixel)
            findSmall(pixel, sums + pixel * stride);
        for (int pixel = 0; pixel < size; pixel += together) {
            Surroundings found;
            findSurroundings(pixel, found);
            std::int16_t results[together];
            for (int i = 0; i < together; i += Isa::integers)
                interpolate(found, i, pixel + i, results + i);
            if (pixel + together <= size)
                std::copy_n(results, together, disparities + pixel);
            else
                std::copy_n(results, size - pixel, disparities + pixel);
        }
    }

  private:
    static constexpr int together = 8;  // pixels
    using Places = Vector<std::int16_t, together>;
    using Integers = Vector<std::int32_t, Isa::integers>;
    using Floats = Vector<float, Isa::integers>;

    // By pixel; the tables of eight sums are transposed when eight pixels have them.
    struct Block {
        std::uint16_t least[blockSize];
        std::uint16_t limit[blockSize];
        std::int16_t lowest[blockSize];             // place of the first sum up to the limit
        std::int16_t highest[blockSize];            // and of the last one
        std::uint16_t around[blockSize][together];  // sums from the one before `lowest` on
        std::int32_t texture[blockSize];
    };

    // Of eight pixels: the places of their least sums, the sums before and after these, and whether
    // there is another small sum more than one place away.
    struct Surroundings {
        std::int16_t place[together];
        std::uint16_t before[together];
        std::uint16_t after[together];
        std::int16_t isAmbiguous[together];
    };

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

    TIOMIPRA_INLINE void findSmall(int pixel, const std::uint16_t* sums) {
        const int last = _settings.disparityNumber - 1;
        int lowest = -1;
        int highest = 0;
        for (int i = 0; i <= last; i += 2 * scanned) {
            const std::uint64_t bits = findSmall(sums + i, _block.limit[pixel], last - i);
            if (bits != 0) {
                lowest = lowest < 0 ? i + __builtin_ctzll(bits) : lowest;
                highest = i + 63 - __builtin_clzll(bits);
            }
        }
        _block.lowest[pixel] = static_cast<std::int16_t>(lowest);
        _block.highest[pixel] = static_cast<std::int16_t>(highest);
        Eight around;
        load(sums + lowest - 1, around);
        store(around, _block.around[pixel]);
    }

    // The sums that are at most `limit`, among the 64 from `sums` on and up to the one at `last`.
    TIOMIPRA_INLINE std::uint64_t findSmall(const std::uint16_t* sums, std::uint16_t limit,
                                            int last) {
        std::uint64_t bits = Isa::findSmall(sums, limit);
        if (last >= scanned)
            bits |= std::uint64_t{Isa::findSmall(sums + scanned, limit)} << scanned;
        return last >= 63 ? bits : bits & ((std::uint64_t{2} << last) - 1);
    }

    // The least sum is at the first place of a small sum or at one of the next two, or there is a
    // small one farther away.
    TIOMIPRA_INLINE void findSurroundings(int first, Surroundings& found) {
        Eight sums[together];
        transpose(_block.around + first, sums);
        Eight least;
        Places lowest;
        Places highest;
        load(_block.least + first, least);
        load(_block.lowest + first, lowest);
        load(_block.highest + first, highest);

        const Places isBehind = sums[1] != least;
        const Places isThird = isBehind & (sums[2] != least);
        const Places place = lowest - isBehind - isThird;
        Eight before = isBehind ? sums[1] : sums[0];
        before = isThird ? sums[2] : before;
        Eight after = isBehind ? sums[3] : sums[2];
        after = isThird ? sums[4] : after;
        // At the ends, the sum on the other side counts twice.
        const auto last = static_cast<std::int16_t>(_settings.disparityNumber - 1);
        before = place == 0 ? after : before;
        after = place == last ? before : after;

        store(place, found.place);
        store(before, found.before);
        store(after, found.after);
        store(isThird | (highest - place > 1), found.isAmbiguous);
    }

    // place + (after - before) / (2 * (larger of both - least)), in 256ths cut off towards zero,
    // then in sixteenths rounded up. Single precision does it exactly: the quotient is at most 128
    // and at least 1 / 65535 from a whole number if it is none.
    TIOMIPRA_INLINE void interpolate(const Surroundings& found, int i, int pixel,
                                     std::int16_t* results) {
        Integers least;
        Integers before;
        Integers after;
        Integers place;
        Integers isAmbiguous;
        Integers texture;
        loadWider(_block.least + pixel, least);
        loadWider(found.before + i, before);
        loadWider(found.after + i, after);
        loadWider(found.place + i, place);
        loadWider(found.isAmbiguous + i, isAmbiguous);
        load(_block.texture + pixel, texture);

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

    template <typename Element>
    TIOMIPRA_INLINE void loadWider(const Element* source, Integers& integers) {
        Vector<Element, Isa::integers> numbers;
        load(source, numbers);
        integers = __builtin_convertvector(numbers, Integers);
    }

    BlockMatching _settings;
    Block _block{};
};

}  // namespace vision

#endif
