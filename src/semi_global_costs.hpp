// The costs of matching a row of pixels, compiled once for each instruction set.
//
// A pixel of the left image and one of the right differ by as much as the grey level of the one
// leaves the range of the other: from halfway to the pixel on its left to halfway to that on its
// right, by Birchfield and Tomasi. That of the slopes of grey levels is added to a quarter of that
// of the grey levels themselves. The cost of a match is the sum over its window; pixels beyond the
// image are those on its border. From one row to the next, the sum over the row that enters the
// window is added and that over the row that leaves it subtracted, both kept up from one pixel to
// the next:
//
//     entering[i] += pixelCosts[y + half][x + half][i] - pixelCosts[y + half][x - half - 1][i]
//     costs[y][x][i] = costs[y - 1][x][i] - leaving[i] + entering[i]
#ifndef VISION_SEMI_GLOBAL_COSTS_HPP
#define VISION_SEMI_GLOBAL_COSTS_HPP

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "aligned_numbers.hpp"
#include "semi_global_task.hpp"
#include "vectors.hpp"

namespace vision {

// Numbers of a row of pixels, and the least and the largest on the way to both neighbours.
class PixelRanges {
  public:
    static constexpr int overread = 64;
    struct Place {
        const std::uint8_t* value;
        const std::uint8_t* lowest;
        const std::uint8_t* highest;
    };

    explicit PixelRanges(int width) : _stride(width + overread), _numbers(3 * _stride) {}

    Place at(int x) const {
        const std::uint8_t* value = _numbers.data() + 1 + x;
        return {value, value + _stride, value + 2 * _stride};
    }

    // For `width` numbers, to which one is added before and one behind.
    std::uint8_t* values() { return _numbers.data() + 1; }
    void findRanges(int width);

  private:
    std::size_t _stride;
    std::vector<std::uint8_t> _numbers;
};

// What the costs of a part of a row are made of.
class CostTables {
  public:
    CostTables(const SemiGlobalTask& task, const Columns& part);

    // Sets the ranges to those of row `y`.
    void takeRow(const SemiGlobalTask& task, int y);

    // Of the row, as many as are needed at the same time, for `compared`.
    std::uint8_t* pixelCosts(int y) {
        return _pixelCosts.data() + static_cast<std::ptrdiff_t>(y % _keptRows) * _stride;
    }

    Columns compared;  // The part and half a window on both sides.
    PixelRanges leftSlopes;
    PixelRanges leftGreys;
    PixelRanges rightSlopes;  // From right to left, so that their disparities grow.
    PixelRanges rightGreys;
    AlignedNumbers<std::int16_t> entering;  // Sums over a row of the window.
    AlignedNumbers<std::int16_t> leaving;

  private:
    int _keptRows;
    std::ptrdiff_t _stride;
    AlignedNumbers<std::uint8_t> _pixelCosts;
    std::vector<std::int8_t> _slopes;
    std::vector<std::uint8_t> _greys;
};

template <typename Isa>
class CostKernel {
  public:
    TIOMIPRA_INLINE CostKernel(const SemiGlobalTask& task, const Columns& part, CostTables& tables)
        : _task(task), _part(part), _tables(tables), _size(task.disparityNumber()) {}

    // `before` are the costs of the row before, if there is one, and may be where `costs` go.
    TIOMIPRA_INLINE void run(int y, const std::int16_t* before, std::int16_t* costs) {
        if (y == 0)
            addFirstRows(costs);
        else
            moveDown(y, before, costs);
    }

  private:
    using Costs = typename Isa::Costs;
    using Pixels = typename Isa::Pixels;

    // Over a row of the window.
    struct RowSum {
        const std::uint8_t* pixelCosts;
        std::int16_t* sums;
    };

    TIOMIPRA_INLINE void addFirstRows(std::int16_t* costs) {
        std::fill_n(costs, _task.costsOf(_part.size()), _task.largeChange);
        for (int y = 0; y <= _task.half; ++y) {
            if (y < _task.rows())
                comparePixels(y);
            addFirstRow(y, costs);
        }
    }

    // The first row of the image stands for those above it, too.
    TIOMIPRA_INLINE void addFirstRow(int y, std::int16_t* costs) {
        const std::int32_t times = y == 0 ? _task.half + 1 : 1;
        const RowSum sum = startSum(std::min(y, _task.rows() - 1), _tables.entering.data());
        for (int x = _part.begin; x < _part.end; ++x, costs += _size) {
            if (x > _part.begin)
                moveRight(sum, x);
            for (int i = 0; i < _size; ++i) {
                const std::int32_t added = std::min<std::int32_t>(sum.sums[i] * times, largestCost);
                costs[i] = static_cast<std::int16_t>(
                    std::min<std::int32_t>(costs[i] + added, largestCost));
            }
        }
    }

    TIOMIPRA_INLINE void moveDown(int y, const std::int16_t* before, std::int16_t* costs) {
        const int enteringRow = y + _task.half;
        if (enteringRow < _task.rows())
            comparePixels(enteringRow);
        const RowSum entering =
            startSum(std::min(enteringRow, _task.rows() - 1), _tables.entering.data());
        const RowSum leaving = startSum(std::max(y - _task.half - 1, 0), _tables.leaving.data());
        // Which comes first counts only where the sum does not fit: in the first column it depends.
        const bool addsFirst = _part.begin == 0 && enteringRow < _task.rows();
        for (int i = 0; i < _size; i += Isa::costLanes)
            changeFirst(entering.sums + i, leaving.sums + i, addsFirst, before + i, costs + i);
        for (int x = _part.begin + 1; x < _part.end; ++x) {
            const std::ptrdiff_t here = _task.costsOf(x - _part.begin);
            moveRight(entering, leaving, x, before + here, costs + here);
        }
    }

    TIOMIPRA_INLINE void changeFirst(const std::int16_t* entering, const std::int16_t* leaving,
                                     bool addsFirst, const std::int16_t* before,
                                     std::int16_t* costs) {
        Costs cost;
        Costs added;
        Costs subtracted;
        load(before, cost);
        load(entering, added);
        load(leaving, subtracted);
        if (addsFirst)
            Isa::add(added, cost);
        Isa::subtract(subtracted, cost);
        if (!addsFirst)
            Isa::add(added, cost);
        store(cost, costs);
    }

    // The sum for the first pixel.
    TIOMIPRA_INLINE RowSum startSum(int y, std::int16_t* sums) {
        const RowSum sum{_tables.pixelCosts(y), sums};
        std::fill_n(sums, _size, std::int16_t{0});
        for (int x = _part.begin - _task.half; x <= _part.begin + _task.half; ++x) {
            const std::uint8_t* pixelCosts = at(sum, x);
            for (int i = 0; i < _size; ++i)
                sums[i] = static_cast<std::int16_t>(sums[i] + pixelCosts[i]);
        }
        return sum;
    }

    TIOMIPRA_INLINE void moveRight(const RowSum& sum, int x) {
        const std::uint8_t* added = at(sum, x + _task.half);
        const std::uint8_t* subtracted = at(sum, x - _task.half - 1);
        for (int i = 0; i < _size; ++i)
            sum.sums[i] = static_cast<std::int16_t>(sum.sums[i] + added[i] - subtracted[i]);
    }

    TIOMIPRA_INLINE void moveRight(const RowSum& entering, const RowSum& leaving, int x,
                                   const std::int16_t* before, std::int16_t* costs) {
        const std::uint8_t* const added[] = {at(entering, x + _task.half),
                                             at(leaving, x + _task.half)};
        const std::uint8_t* const subtracted[] = {at(entering, x - _task.half - 1),
                                                  at(leaving, x - _task.half - 1)};
        for (int i = 0; i < _size; i += Isa::costLanes) {
            Costs moved;
            Costs cost;
            load(before + i, cost);
            moveSum(added[1] + i, subtracted[1] + i, leaving.sums + i, moved);
            Isa::subtract(moved, cost);
            moveSum(added[0] + i, subtracted[0] + i, entering.sums + i, moved);
            Isa::add(moved, cost);
            store(cost, costs + i);
        }
    }

    TIOMIPRA_INLINE void moveSum(const std::uint8_t* added, const std::uint8_t* subtracted,
                                 std::int16_t* sums, Costs& sum) {
        typename Isa::HalfPixels pixels;
        Costs costs;
        load(sums, sum);
        load(added, pixels);
        Isa::widenPixels(pixels, costs);
        sum += costs;
        load(subtracted, pixels);
        Isa::widenPixels(pixels, costs);
        sum -= costs;
        store(sum, sums);
    }

    TIOMIPRA_INLINE const std::uint8_t* at(const RowSum& sum, int x) const {
        const int column = std::clamp(x, 0, _task.columns - 1);
        return sum.pixelCosts + _task.costsOf(column - _tables.compared.begin);
    }

    TIOMIPRA_INLINE void comparePixels(int y) {
        _tables.takeRow(_task, y);
        std::uint8_t* pixelCosts = _tables.pixelCosts(y);
        // The last vector may reach into the next pixel, which comes after it.
        for (int x = _tables.compared.begin; x < _tables.compared.end; ++x, pixelCosts += _size) {
            const int left = _task.firstLeft + x;
            const int right = _task.right.cols - 1 - left + _task.settings.minDisparity;
            for (int i = 0; i < _size; i += 2 * Isa::costLanes) {
                Pixels slopes;
                Pixels greys;
                compare(_tables.leftSlopes.at(left), _tables.rightSlopes.at(right + i), slopes);
                compare(_tables.leftGreys.at(left), _tables.rightGreys.at(right + i), greys);
                store(slopes + (greys >> 2), pixelCosts + i);
            }
        }
    }

    // How far either pixel is beyond the range of the other, whichever is less.
    TIOMIPRA_INLINE void compare(const PixelRanges::Place& left, const PixelRanges::Place& right,
                                 Pixels& difference) {
        Pixels leftValue;
        Pixels leftLowest;
        Pixels leftHighest;
        Isa::fill(*left.value, leftValue);
        Isa::fill(*left.lowest, leftLowest);
        Isa::fill(*left.highest, leftHighest);
        Pixels rightValue;
        Pixels rightLowest;
        Pixels rightHighest;
        load(right.value, rightValue);
        load(right.lowest, rightLowest);
        load(right.highest, rightHighest);
        Pixels leftBeyond;
        Pixels rightBeyond;
        findDistance(leftValue, rightLowest, rightHighest, leftBeyond);
        findDistance(rightValue, leftLowest, leftHighest, rightBeyond);
        difference = leftBeyond < rightBeyond ? leftBeyond : rightBeyond;
    }

    // From `values` to the range, on whichever side.
    TIOMIPRA_INLINE void findDistance(const Pixels& values, const Pixels& lowest,
                                      const Pixels& highest, Pixels& distance) {
        Pixels above = values;
        Pixels below = lowest;
        Isa::subtract(highest, above);
        Isa::subtract(values, below);
        distance = above | below;
    }

    const SemiGlobalTask& _task;
    Columns _part;
    CostTables& _tables;
    int _size;  // costs of a pixel
};

}  // namespace vision

#endif
