// From the sums of the costs along all paths to the disparities of a row, compiled once for each
// instruction set.
//
// Pixels are worked on from right to left, so that the path that runs this way gets its costs at
// the same time. Then each pixel of the right image is given to the least sum of those that want
// it, and pixels of the left image that did not get theirs lose their disparity.
#ifndef VISION_SEMI_GLOBAL_CHOICE_HPP
#define VISION_SEMI_GLOBAL_CHOICE_HPP

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "aligned_numbers.hpp"
#include "match_finder.hpp"
#include "semi_global_paths.hpp"
#include "semi_global_task.hpp"
#include "vectors.hpp"

namespace vision {

// What passes from one part of a row to that on its left.
struct ChoiceRow {
    explicit ChoiceRow(const SemiGlobalTask& task);

    AlongRow along;
    AlignedNumbers<std::int16_t> rightDisparities;
    AlignedNumbers<std::int16_t> rightSums;
};

struct ChoiceTables {
    explicit ChoiceTables(const SemiGlobalTask& task);

    std::ptrdiff_t stride;               // from the sums of a pixel to those of the next
    AlignedNumbers<std::uint16_t> sums;  // of a block of pixels, shifted to unsigned numbers
};

template <typename Isa>
class ChoiceKernel {
  public:
    TIOMIPRA_INLINE ChoiceKernel(const SemiGlobalTask& task, ChoiceTables& tables, ChoiceRow& row)
        : _task(task),
          _settings(task.settings),
          _disparities(task.disparities),
          _tables(tables),
          _row(row),
          _size(task.disparityNumber()),
          _missing((_settings.minDisparity - 1) * 16),
          _finder(_size) {}

    // `costs` and `sums` are those of the part's first pixel. Parts follow from right to left.
    TIOMIPRA_INLINE void run(int y, const Columns& part, const std::int16_t* costs,
                             const std::int16_t* sums) {
        auto* disparities = _disparities.ptr<std::int16_t>(y);
        if (part.end == _task.columns)
            begin(disparities);
        const int blocks = (part.size() + PixelBlock::size - 1) / PixelBlock::size;
        for (int block = blocks - 1; block >= 0; --block)
            chooseBlock(part, block * PixelBlock::size, costs, sums, disparities);
        if (part.begin == 0)
            check(disparities);
    }

  private:
    using Costs = typename Isa::Costs;
    using Integers = Vector<std::int32_t, Isa::integers>;
    using Floats = Vector<float, Isa::integers>;
    using Limits = Vector<std::uint16_t, Isa::integers>;
    using Results = Vector<std::int16_t, Isa::integers>;

    // From the unsigned numbers to signed ones.
    static constexpr int shift = 0x8000;

    TIOMIPRA_INLINE void begin(std::int16_t* disparities) {
        const auto missing = static_cast<std::int16_t>(_missing);
        std::fill_n(disparities, _disparities.cols, missing);
        std::fill_n(_row.rightDisparities.data(), _disparities.cols, missing);
        std::fill_n(_row.rightSums.data(), _disparities.cols, largestCost);
        _row.along.begin(_task);
    }

    TIOMIPRA_INLINE void chooseBlock(const Columns& part, int begin, const std::int16_t* costs,
                                     const std::int16_t* sums, std::int16_t* disparities) {
        const int size = std::min(PixelBlock::size, part.size() - begin);
        // One sum may be read before those of the first pixel.
        std::uint16_t* unsignedSums = _tables.sums.data() + _tables.stride;
        for (int pixel = size - 1; pixel >= 0; --pixel) {
            const std::ptrdiff_t here = _task.costsOf(begin + pixel);
            std::uint16_t* to = unsignedSums + pixel * _tables.stride;
            const std::int16_t least = _settings.fullDP ? takeSums(sums + here, to)
                                                        : followPath(costs + here, sums + here, to);
            _block.least[pixel] = static_cast<std::uint16_t>(least + shift);
        }
        for (int pixel = 0; pixel < size; pixel += Isa::integers)
            findLimits(pixel);
        _finder.find(unsignedSums, _tables.stride, size, _block);
        std::int16_t chosen[PixelBlock::size];
        for (int pixel = 0; pixel < size; pixel += Isa::integers)
            interpolate(pixel, chosen + pixel);
        const int first = _task.firstLeft + part.begin + begin;
        std::copy_n(chosen, size, disparities + first);
        for (int pixel = size - 1; pixel >= 0; --pixel)
            claim(first + pixel, pixel, chosen[pixel]);
    }

    // Sets the sums `to` and returns the least.
    TIOMIPRA_INLINE std::int16_t takeSums(const std::int16_t* sums, std::uint16_t* to) {
        Costs least;
        Isa::fill(largestCost, least);
        for (int i = 0; i < _size; i += Isa::costLanes) {
            Costs sum;
            load(sums + i, sum);
            least = sum < least ? sum : least;
            store(sum ^ -shift, to + i);
        }
        return Isa::findLeastCost(least);
    }

    // The same with the costs along the path from the right.
    TIOMIPRA_INLINE std::int16_t followPath(const std::int16_t* costs, const std::int16_t* sums,
                                            std::uint16_t* to) {
        std::int16_t* along = _row.along.costs.data();
        PathStep<Isa> path(along, _row.along.limit, _task.smallChange);
        Costs least;
        Isa::fill(largestCost, least);
        const int last = _size - Isa::costLanes;
        for (int i = 0; i <= last; i += Isa::costLanes) {
            Costs cost;
            Costs sum;
            Costs result;
            load(costs + i, cost);
            load(sums + i, sum);
            if (i < last)
                path.take(i, cost, result);
            else
                path.takeLast(cost, result);
            store(result, along + i);
            Isa::add(result, sum);
            least = sum < least ? sum : least;
            store(sum ^ -shift, to + i);
        }
        _row.along.limit = wrappingSum(path.least(), _task.largeChange);
        return Isa::findLeastCost(least);
    }

    // The largest sum s for which s * (100 - uniquenessRatio) < least * 100, if that is more than
    // the least. Single precision does it exactly: the quotient, where a sum can be that large, is
    // at least 1/100 from a whole number if it is none; elsewhere it is infinite, for a ratio of
    // 100.
    TIOMIPRA_INLINE void findLimits(int first) {
        Integers least;
        loadWider(_block.least + first, least);
        least -= shift;
        const auto divisor = static_cast<float>(100 - _settings.uniquenessRatio);
        Floats quotient = __builtin_convertvector(least * 100 - 1, Floats) / divisor;
        const Floats largest = Floats{} + static_cast<float>(largestCost);
        quotient = quotient < largest ? quotient : largest;
        quotient = quotient > -largest - 1 ? quotient : -largest - 1;
        Integers limit = __builtin_convertvector(quotient, Integers);
        limit = limit > least ? limit : least;
        store(__builtin_convertvector(limit + shift, Limits), _block.limit + first);
    }

    // In sixteenths, place + (before - after) / (2 * curve), rounded; at the ends, the place.
    // Single precision does it exactly: the quotient is at most 9 and at least 1 / 2^18 from a
    // whole number if it is none.
    TIOMIPRA_INLINE void interpolate(int pixel, std::int16_t* results) {
        const auto [least, before, after, place, isAmbiguous] =
            FoundPixels<Integers>(_block, pixel);
        Integers curve = before + after - 2 * least;
        curve = curve > 1 ? curve : 1;
        const auto dividend = __builtin_convertvector((before - after) * 16 + curve, Floats);
        const auto divisor = __builtin_convertvector(curve * 2, Floats);
        const auto fraction = __builtin_convertvector(dividend / divisor, Integers);
        const Integers isInside = (place > 0) & (place < _size - 1);
        const Integers disparity = (place + _settings.minDisparity) * 16 + (fraction & isInside);

        // Only a positive sum has others that are less than some hundredths above it.
        Integers isMissing = least == largestCost + shift;
        if (_settings.uniquenessRatio > 0)
            isMissing |= isAmbiguous & (least > shift);
        const Integers missing = Integers{} + _missing;
        const Integers result = isMissing ? missing : disparity;
        store(__builtin_convertvector(result, Results), results);
    }

    // The pixel of the right image is given to the pixel at `x` if its sum is the least so far.
    TIOMIPRA_INLINE void claim(int x, int pixel, std::int16_t result) {
        if (result == _missing)
            return;
        const int disparity = _block.place[pixel] + _settings.minDisparity;
        const int right = x - disparity;
        const auto sum = static_cast<std::int16_t>(_block.least[pixel] - shift);
        if (_row.rightSums.data()[right] > sum) {
            _row.rightSums.data()[right] = sum;
            _row.rightDisparities.data()[right] = static_cast<std::int16_t>(disparity);
        }
    }

    // A disparity stays if the pixel of the right image on one of its sides has about the same.
    TIOMIPRA_INLINE void check(std::int16_t* disparities) {
        for (int x = _task.firstLeft; x < _task.firstLeft + _task.columns; ++x) {
            const int disparity = disparities[x];
            if (disparity != _missing && isOdd(x, disparity >> 4) &&
                isOdd(x, (disparity + 15) >> 4))
                disparities[x] = static_cast<std::int16_t>(_missing);
        }
    }

    // As OpenCV has it, a pixel of the right image that nobody wanted has the number for a missing
    // disparity, which is in sixteenths, as its disparity, which is not.
    TIOMIPRA_INLINE bool isOdd(int x, int disparity) const {
        const int right = x - disparity;
        if (right < 0 || right >= _disparities.cols)
            return false;
        const int found = _row.rightDisparities.data()[right];
        return found >= _settings.minDisparity &&
               std::abs(found - disparity) > std::max(_settings.disp12MaxDiff, 1);
    }

    const SemiGlobalTask& _task;
    SemiGlobalMatching _settings;
    cv::Mat _disparities;  // those of the task
    ChoiceTables& _tables;
    ChoiceRow& _row;
    int _size;  // sums of a pixel
    int _missing;
    MatchFinder<Isa> _finder;
    PixelBlock _block{};
};

}  // namespace vision

#endif
