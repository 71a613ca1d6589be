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

#if defined(__x86_64__)

// SSE2, the least that x86-64 has.
struct Baseline {
    static constexpr int lanes = 16;
    static constexpr int integers = 4;
    using Sums = Vector<std::uint16_t, lanes>;
    using Bytes = Vector<std::int8_t, lanes>;
    using SignedSums = Vector<std::int16_t, lanes>;

    static void widen(const Bytes& bytes, Sums& sums) {
        sums = reinterpret_cast<Sums>(__builtin_convertvector(bytes, SignedSums));
    }

    static std::uint16_t findLeast(const Sums& sums) {
        Vector<std::int16_t, lanes / 2> halves[2];
        store(sums, halves);
        // Only signed numbers have a minimum here.
        halves[0] ^= -0x8000;
        halves[1] ^= -0x8000;
        auto least = halves[0] < halves[1] ? halves[0] : halves[1];
        const auto four = shiftDown<8>(least);
        least = four < least ? four : least;
        const auto two = shiftDown<4>(least);
        least = two < least ? two : least;
        const auto one = shiftDown<2>(least);
        least = one < least ? one : least;
        return static_cast<std::uint16_t>(least[0] ^ 0x8000);
    }

    static std::uint32_t findSmall(const std::uint16_t* sums, std::uint16_t limit) {
        return findSmallOf16(sums, limit) | findSmallOf16(sums + 16, limit) << 16;
    }

  private:
    template <int bytes>
    static Vector<std::int16_t, 8> shiftDown(const Vector<std::int16_t, 8>& numbers) {
        return reinterpret_cast<Vector<std::int16_t, 8>>(
            _mm_srli_si128(reinterpret_cast<__m128i>(numbers), bytes));
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

struct Avx2 {
    static constexpr int lanes = 16;
    static constexpr int integers = 8;
    using Sums = Vector<std::uint16_t, lanes>;
    using Bytes = Vector<std::int8_t, lanes>;

    TIOMIPRA_FOR_AVX2 static void widen(const Bytes& bytes, Sums& sums) {
        sums = reinterpret_cast<Sums>(_mm256_cvtepi8_epi16(reinterpret_cast<__m128i>(bytes)));
    }

    TIOMIPRA_FOR_AVX2 static std::uint16_t findLeast(const Sums& sums) {
        Vector<std::uint16_t, lanes / 2> halves[2];
        store(sums, halves);
        const auto least = halves[0] < halves[1] ? halves[0] : halves[1];
        return static_cast<std::uint16_t>(
            _mm_cvtsi128_si32(_mm_minpos_epu16(reinterpret_cast<__m128i>(least))));
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

struct Avx512 {
    static constexpr int lanes = 32;
    static constexpr int integers = 8;
    using Sums = Vector<std::uint16_t, lanes>;
    using Bytes = Vector<std::int8_t, lanes>;

    TIOMIPRA_FOR_AVX512 static void widen(const Bytes& bytes, Sums& sums) {
        sums = reinterpret_cast<Sums>(_mm512_cvtepi8_epi16(reinterpret_cast<__m256i>(bytes)));
    }

    TIOMIPRA_FOR_AVX512 static std::uint16_t findLeast(const Sums& sums) {
        Avx2::Sums halves[2];
        store(sums, halves);
        return Avx2::findLeast(halves[0] < halves[1] ? halves[0] : halves[1]);
    }

    TIOMIPRA_FOR_AVX512 static std::uint32_t findSmall(const std::uint16_t* sums,
                                                       std::uint16_t limit) {
        return _mm512_cmple_epu16_mask(_mm512_loadu_si512(sums),
                                       _mm512_set1_epi16(static_cast<short>(limit)));
    }
};

#else

// What the compiler makes of it; for instance NEON.
struct Baseline {
    static constexpr int lanes = 16;
    static constexpr int integers = 4;
    using Sums = Vector<std::uint16_t, lanes>;
    using Bytes = Vector<std::int8_t, lanes>;
    using SignedSums = Vector<std::int16_t, lanes>;

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
};

#endif

}  // namespace vision

#endif
