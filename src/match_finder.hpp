// Finds the least of a pixel's sums, and whether it is alone, for a block of pixels at a time;
// compiled once for each instruction set.
//
// The least sum of a pixel gives the limit up to which no other may come for the match to be
// unique, its neighbours aside. Vectors of sums are compared with the limit, which gives the places
// of the first and the last sum up to it. What stands around the first is kept, and transposed for
// eight pixels at a time: from there on, the pixels lie side by side in vectors. They get the place
// of their least sum and the sums on both sides of it.
#ifndef VISION_MATCH_FINDER_HPP
#define VISION_MATCH_FINDER_HPP

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "vectors.hpp"

namespace vision {

using Eight = Vector<std::uint16_t, 8>;

// Rows become columns: three times, the rows of the first half are interleaved with the others.
TIOMIPRA_INLINE void transpose(const std::uint16_t (*source)[8], Eight (&rows)[8]) {
    for (int i = 0; i < 8; ++i)
        load(source[i], rows[i]);
    for (int step = 0; step < 3; ++step) {
        Eight next[8];
        for (std::ptrdiff_t i = 0; i < 4; ++i) {
            next[2 * i] = __builtin_shufflevector(rows[i], rows[i + 4], 0, 8, 1, 9, 2, 10, 3, 11);
            next[2 * i + 1] =
                __builtin_shufflevector(rows[i], rows[i + 4], 4, 12, 5, 13, 6, 14, 7, 15);
        }
        std::copy_n(next, 8, rows);
    }
}

// A block of pixels; `size` of them at most count.
struct PixelBlock {
    static constexpr int size = 64;

    // What is known before.
    std::uint16_t least[size];  // sum
    std::uint16_t limit[size];  // no less

    // What `MatchFinder` finds: the first place of the least sum, the sums before and after it, and
    // whether there is another sum up to the limit more than one place away. If there is, the
    // others mean nothing.
    std::int16_t place[size];
    std::uint16_t before[size];
    std::uint16_t after[size];
    std::int16_t isAmbiguous[size];
};

template <typename Isa>
class MatchFinder {
  public:
    static constexpr int scanned = 32;  // sums that `Isa::findSmall` takes
    static constexpr int overread = 8;  // sums that may be read behind the last pixel's

    TIOMIPRA_INLINE explicit MatchFinder(int placeNumber) : _last(placeNumber - 1) {}

    // For the first `size` pixels of the block. The sums of each begin `stride` behind those of the
    // one before, a multiple of `scanned`; before those of the first, one may be read.
    TIOMIPRA_INLINE void find(const std::uint16_t* sums, std::ptrdiff_t stride, int size,
                              PixelBlock& block) {
        for (int pixel = 0; pixel < size; ++pixel)
            findSmall(pixel, sums + pixel * stride, block.limit[pixel]);
        for (int pixel = 0; pixel < size; pixel += together)
            findSurroundings(pixel, block);
    }

  private:
    static constexpr int together = 8;  // pixels
    using Places = Vector<std::int16_t, together>;

    TIOMIPRA_INLINE void findSmall(int pixel, const std::uint16_t* sums, std::uint16_t limit) {
        int lowest = -1;
        int highest = 0;
        for (int i = 0; i <= _last; i += 2 * scanned) {
            const std::uint64_t bits = findSmall(sums + i, limit, _last - i);
            if (bits != 0) {
                lowest = lowest < 0 ? i + __builtin_ctzll(bits) : lowest;
                highest = i + 63 - __builtin_clzll(bits);
            }
        }
        _lowest[pixel] = static_cast<std::int16_t>(lowest);
        _highest[pixel] = static_cast<std::int16_t>(highest);
        Eight around;
        load(sums + lowest - 1, around);
        store(around, _around[pixel]);
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
    TIOMIPRA_INLINE void findSurroundings(int first, PixelBlock& block) {
        Eight sums[together];
        transpose(_around + first, sums);
        Eight least;
        Places lowest;
        Places highest;
        load(block.least + first, least);
        load(_lowest + first, lowest);
        load(_highest + first, highest);

        const Places isBehind = sums[1] != least;
        const Places isThird = isBehind & (sums[2] != least);
        const Places place = lowest - isBehind - isThird;
        Eight before = isBehind ? sums[1] : sums[0];
        before = isThird ? sums[2] : before;
        Eight after = isBehind ? sums[3] : sums[2];
        after = isThird ? sums[4] : after;

        store(place, block.place + first);
        store(before, block.before + first);
        store(after, block.after + first);
        store(isThird | (highest - place > 1), block.isAmbiguous + first);
    }

    int _last;  // place
    // By pixel; the tables of eight sums are transposed when eight pixels have them.
    std::int16_t _lowest[PixelBlock::size]{};             // place of the first sum up to the limit
    std::int16_t _highest[PixelBlock::size]{};            // and of the last one
    std::uint16_t _around[PixelBlock::size][together]{};  // sums from the one before `_lowest` on
};

// Of the next pixels, as wider numbers.
template <typename Element, typename Integers>
TIOMIPRA_INLINE void loadWider(const Element* source, Integers& integers) {
    Vector<Element, sizeof(Integers) / sizeof(std::int32_t)> numbers;
    load(source, numbers);
    integers = __builtin_convertvector(numbers, Integers);
}

// What is known of the pixels of a block from `first` on, as many as there are `Integers`.
template <typename Integers>
struct FoundPixels {
    TIOMIPRA_INLINE FoundPixels(const PixelBlock& block, int first) {
        loadWider(block.least + first, least);
        loadWider(block.before + first, before);
        loadWider(block.after + first, after);
        loadWider(block.place + first, place);
        loadWider(block.isAmbiguous + first, isAmbiguous);
    }

    Integers least;
    Integers before;
    Integers after;
    Integers place;
    Integers isAmbiguous;
};

}  // namespace vision

#endif
