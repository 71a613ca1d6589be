// Vectors of the compiler, and for each instruction set what the compiler does not make of them.
//
// An instruction set is a struct with
//
//     lanes        how many sums of 16 bits are worked on at a time
//     integers     how many integers or floats of 32 bits
//     Sums, Bytes  that many sums, and the differences of pixels that go into them
//     widen        sets sums to signed bytes, wrapping
//     findLeast    the least sum
//     findSmall    of 32 sums, those up to a limit, as bits
//
// and for semi-global matching
//
//     costLanes    how many costs, signed numbers of 16 bits, are worked on at a time
//     Costs, Pixels, HalfPixels    that many costs, twice as many pixels, and as many
//     fill                         all with the same cost or pixel
//     add, subtract                what does not fit becomes the largest or smallest number
//     widenPixels                  sets costs to pixels
//     Seam, join                   what a vector and the next have to give to each other for
//     shiftUp, shiftDown           the costs one place before or behind those of a vector
//     findLeastCost
//
// Vectors are passed by reference, as what is not compiled for an instruction set cannot pass them
// in its registers.
#ifndef VISION_VECTORS_HPP
#define VISION_VECTORS_HPP

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "instruction_set.hpp"

namespace vision {

template <typename Element, int lanes>
struct VectorType {
    using Type __attribute__((vector_size(lanes * sizeof(Element)))) = Element;
};
template <typename Element, int lanes>
using Vector = typename VectorType<Element, lanes>::Type;

template <typename Loaded, typename Element>
TIOMIPRA_INLINE void load(const Element* source, Loaded& vector) {
    std::memcpy(&vector, source, sizeof vector);
}

template <typename Stored, typename Element>
TIOMIPRA_INLINE void store(const Stored& vector, Element* destination) {
    std::memcpy(destination, &vector, sizeof vector);
}

// What the compiler makes of it on any processor.
struct Portable {
    static constexpr int lanes = 16;
    static constexpr int integers = 4;
    using Sums = Vector<std::uint16_t, lanes>;
    using Bytes = Vector<std::int8_t, lanes>;
    using SignedSums = Vector<std::int16_t, lanes>;

    static constexpr int costLanes = 8;
    using Costs = Vector<std::int16_t, costLanes>;
    using Pixels = Vector<std::uint8_t, 2 * costLanes>;
    using HalfPixels = Vector<std::uint8_t, costLanes>;
    struct Seam {
        Costs before;
        Costs after;
    };

    static void widen(const Bytes& bytes, Sums& sums) {
        sums = reinterpret_cast<Sums>(__builtin_convertvector(bytes, SignedSums));
    }

    static std::uint16_t findLeast(const Sums& sums) {
        std::uint16_t values[lanes];
        store(sums, values);
        return *std::min_element(values, values + lanes);
    }

    static std::uint32_t findSmall(const std::uint16_t* sums, std::uint16_t limit) {
        std::uint32_t bits = 0;
        for (int i = 0; i < 32; ++i)
            bits |= static_cast<std::uint32_t>(sums[i] <= limit) << i;
        return bits;
    }

    static void fill(std::int16_t cost, Costs& costs) { costs = cost + Costs{}; }
    static void fill(std::uint8_t pixel, Pixels& pixels) { pixels = pixel + Pixels{}; }

    static void add(const Costs& change, Costs& sum) {
        for (int i = 0; i < costLanes; ++i)
            sum[i] = limit(sum[i] + change[i]);
    }

    static void subtract(const Costs& change, Costs& difference) {
        for (int i = 0; i < costLanes; ++i)
            difference[i] = limit(difference[i] - change[i]);
    }

    static void subtract(const Pixels& pixels, Pixels& difference) {
        difference = difference > pixels ? difference - pixels : Pixels{};
    }

    static void widenPixels(const HalfPixels& pixels, Costs& costs) {
        costs = __builtin_convertvector(pixels, Costs);
    }

    static void join(const Costs& before, const Costs& after, Seam& seam) {
        seam = {before, after};
    }

    static void shiftUp(const Seam& seam, const Costs& costs, Costs& shifted) {
        shifted = __builtin_shufflevector(seam.before, costs, 7, 8, 9, 10, 11, 12, 13, 14);
    }

    static void shiftDown(const Costs& costs, const Seam& seam, Costs& shifted) {
        shifted = __builtin_shufflevector(costs, seam.after, 1, 2, 3, 4, 5, 6, 7, 8);
    }

    static std::int16_t findLeastCost(const Costs& costs) {
        std::int16_t values[costLanes];
        store(costs, values);
        return *std::min_element(values, values + costLanes);
    }

  private:
    static std::int16_t limit(int value) {
        return static_cast<std::int16_t>(std::clamp(value, -0x8000, 0x7fff));
    }
};

#if defined(__x86_64__)

// SSE2, the least that x86-64 has.
struct Baseline : Portable {
    static std::uint16_t findLeast(const Sums& sums) {
        Costs halves[2];
        store(sums, halves);
        // Only signed numbers have a minimum here.
        halves[0] ^= -0x8000;
        halves[1] ^= -0x8000;
        return static_cast<std::uint16_t>(
            findLeastCost(halves[0] < halves[1] ? halves[0] : halves[1]) ^ 0x8000);
    }

    static std::uint32_t findSmall(const std::uint16_t* sums, std::uint16_t limit) {
        return findSmallOf16(sums, limit) | findSmallOf16(sums + 16, limit) << 16;
    }

    static void add(const Costs& change, Costs& sum) {
        sum = reinterpret_cast<Costs>(
            _mm_adds_epi16(reinterpret_cast<__m128i>(sum), reinterpret_cast<__m128i>(change)));
    }

    static void subtract(const Costs& change, Costs& difference) {
        difference = reinterpret_cast<Costs>(_mm_subs_epi16(reinterpret_cast<__m128i>(difference),
                                                            reinterpret_cast<__m128i>(change)));
    }

    static void subtract(const Pixels& pixels, Pixels& difference) {
        difference = reinterpret_cast<Pixels>(_mm_subs_epu8(reinterpret_cast<__m128i>(difference),
                                                            reinterpret_cast<__m128i>(pixels)));
    }

    static void shiftUp(const Seam& seam, const Costs& costs, Costs& shifted) {
        shifted = shiftBytes<-2>(costs) | shiftBytes<14>(seam.before);
    }

    static void shiftDown(const Costs& costs, const Seam& seam, Costs& shifted) {
        shifted = shiftBytes<2>(costs) | shiftBytes<-14>(seam.after);
    }

    static std::int16_t findLeastCost(const Costs& costs) {
        const auto four = shiftBytes<8>(costs);
        auto least = four < costs ? four : costs;
        const auto two = shiftBytes<4>(least);
        least = two < least ? two : least;
        const auto one = shiftBytes<2>(least);
        least = one < least ? one : least;
        return least[0];
    }

  private:
    // Towards the first lane.
    template <int bytes>
    static Costs shiftBytes(const Costs& numbers) {
        const auto vector = reinterpret_cast<__m128i>(numbers);
        if constexpr (bytes > 0)
            return reinterpret_cast<Costs>(_mm_srli_si128(vector, bytes));
        else
            return reinterpret_cast<Costs>(_mm_slli_si128(vector, -bytes));
    }

    static std::uint32_t findSmallOf16(const std::uint16_t* sums, std::uint16_t limit) {
        Vector<std::uint16_t, 8> low;
        Vector<std::uint16_t, 8> high;
        load(sums, low);
        load(sums + 8, high);
        return static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(
            reinterpret_cast<__m128i>(low <= limit), reinterpret_cast<__m128i>(high <= limit))));
    }
};

// What AVX2 and AVX-512 have in common: costs are worked on in vectors of the same size, as there
// is but one unit for the minima and sums of wider ones.
struct AvxCosts {
    static constexpr int integers = 8;
    static constexpr int costLanes = 16;
    using Costs = Vector<std::int16_t, costLanes>;
    using Pixels = Vector<std::uint8_t, 2 * costLanes>;
    using HalfPixels = Vector<std::uint8_t, costLanes>;
    using Seam = Costs;

    TIOMIPRA_FOR_AVX2 static void fill(std::int16_t cost, Costs& costs) {
        costs = reinterpret_cast<Costs>(_mm256_set1_epi16(cost));
    }

    TIOMIPRA_FOR_AVX2 static void fill(std::uint8_t pixel, Pixels& pixels) {
        pixels = reinterpret_cast<Pixels>(_mm256_set1_epi8(static_cast<char>(pixel)));
    }

    TIOMIPRA_FOR_AVX2 static void add(const Costs& change, Costs& sum) {
        sum = reinterpret_cast<Costs>(
            _mm256_adds_epi16(reinterpret_cast<__m256i>(sum), reinterpret_cast<__m256i>(change)));
    }

    TIOMIPRA_FOR_AVX2 static void subtract(const Costs& change, Costs& difference) {
        difference = reinterpret_cast<Costs>(_mm256_subs_epi16(
            reinterpret_cast<__m256i>(difference), reinterpret_cast<__m256i>(change)));
    }

    TIOMIPRA_FOR_AVX2 static void subtract(const Pixels& pixels, Pixels& difference) {
        difference = reinterpret_cast<Pixels>(_mm256_subs_epu8(
            reinterpret_cast<__m256i>(difference), reinterpret_cast<__m256i>(pixels)));
    }

    TIOMIPRA_FOR_AVX2 static void widenPixels(const HalfPixels& pixels, Costs& costs) {
        costs = reinterpret_cast<Costs>(_mm256_cvtepu8_epi16(reinterpret_cast<__m128i>(pixels)));
    }

    // The upper half of the first and the lower half of the second.
    TIOMIPRA_FOR_AVX2 static void join(const Costs& before, const Costs& after, Seam& seam) {
        seam = reinterpret_cast<Seam>(_mm256_permute2x128_si256(
            reinterpret_cast<__m256i>(before), reinterpret_cast<__m256i>(after), 0x21));
    }

    TIOMIPRA_FOR_AVX2 static void shiftUp(const Seam& seam, const Costs& costs, Costs& shifted) {
        shifted = reinterpret_cast<Costs>(_mm256_alignr_epi8(reinterpret_cast<__m256i>(costs),
                                                             reinterpret_cast<__m256i>(seam), 14));
    }

    TIOMIPRA_FOR_AVX2 static void shiftDown(const Costs& costs, const Seam& seam, Costs& shifted) {
        shifted = reinterpret_cast<Costs>(_mm256_alignr_epi8(reinterpret_cast<__m256i>(seam),
                                                             reinterpret_cast<__m256i>(costs), 2));
    }

    TIOMIPRA_FOR_AVX2 static std::int16_t findLeastCost(const Costs& costs) {
        // Only unsigned numbers have a least one here.
        return static_cast<std::int16_t>(
            findLeastOf16(reinterpret_cast<SixteenSums>(costs ^ -0x8000)) ^ 0x8000);
    }

  protected:
    using SixteenSums = Vector<std::uint16_t, 16>;

    TIOMIPRA_FOR_AVX2 static std::uint16_t findLeastOf16(const SixteenSums& sums) {
        Vector<std::uint16_t, 8> halves[2];
        store(sums, halves);
        const auto least = halves[0] < halves[1] ? halves[0] : halves[1];
        return static_cast<std::uint16_t>(
            _mm_cvtsi128_si32(_mm_minpos_epu16(reinterpret_cast<__m128i>(least))));
    }
};

struct Avx2 : AvxCosts {
    static constexpr int lanes = 16;
    using Sums = SixteenSums;
    using Bytes = Vector<std::int8_t, lanes>;

    TIOMIPRA_FOR_AVX2 static void widen(const Bytes& bytes, Sums& sums) {
        sums = reinterpret_cast<Sums>(_mm256_cvtepi8_epi16(reinterpret_cast<__m128i>(bytes)));
    }

    TIOMIPRA_FOR_AVX2 static std::uint16_t findLeast(const Sums& sums) {
        return findLeastOf16(sums);
    }

    TIOMIPRA_FOR_AVX2 static std::uint32_t findSmall(const std::uint16_t* sums,
                                                     std::uint16_t limit) {
        Sums low;
        Sums high;
        load(sums, low);
        load(sums + lanes, high);
        // Packs the lower halves of both first, then the upper ones.
        const __m256i mixed = _mm256_packs_epi16(reinterpret_cast<__m256i>(low <= limit),
                                                 reinterpret_cast<__m256i>(high <= limit));
        const __m256i inOrder = _mm256_permute4x64_epi64(mixed, 0b11011000);
        return static_cast<std::uint32_t>(_mm256_movemask_epi8(inOrder));
    }
};

struct Avx512 : AvxCosts {
    static constexpr int lanes = 32;
    using Sums = Vector<std::uint16_t, lanes>;
    using Bytes = Vector<std::int8_t, lanes>;

    TIOMIPRA_FOR_AVX512 static void widen(const Bytes& bytes, Sums& sums) {
        sums = reinterpret_cast<Sums>(_mm512_cvtepi8_epi16(reinterpret_cast<__m256i>(bytes)));
    }

    TIOMIPRA_FOR_AVX512 static std::uint16_t findLeast(const Sums& sums) {
        SixteenSums halves[2];
        store(sums, halves);
        return findLeastOf16(halves[0] < halves[1] ? halves[0] : halves[1]);
    }

    TIOMIPRA_FOR_AVX512 static std::uint32_t findSmall(const std::uint16_t* sums,
                                                       std::uint16_t limit) {
        return _mm512_cmple_epu16_mask(_mm512_loadu_si512(sums),
                                       _mm512_set1_epi16(static_cast<short>(limit)));
    }
};

#else

using Baseline = Portable;

#endif

}  // namespace vision

#endif
