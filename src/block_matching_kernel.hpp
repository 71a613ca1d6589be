// Matches the pixels of a part of an image, compiled once for each instruction set.
//
// The image is worked on row by row. For each column of the left image and each disparity there is
// the sum of absolute differences over the rows of the window. From one row to the next, the
// differences of the row that enters the window are added and those of the row that leaves it are
// subtracted; from one pixel to the next, one such column enters the sum over the window and
// another leaves it. Neighbouring disparities lie side by side in a vector, as their pixels do in
// the right image; `i` counts them from the largest disparity down:
//
//     columns[c][i] += |left[entering row][c] - right[entering row][c + i]|
//                    - |left[leaving row][c]  - right[leaving row][c + i]|
//     sums[x][i] = sums[x - 1][i] + columns[x + window / 2][i] - columns[x - window / 2 - 1][i]
//
// A block of pixels at a time then gets its disparities (`DisparityChooser`).
#ifndef VISION_BLOCK_MATCHING_KERNEL_HPP
#define VISION_BLOCK_MATCHING_KERNEL_HPP

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <opencv2/core.hpp>

#include "aligned_numbers.hpp"
#include "block_matching.hpp"
#include "disparity_chooser.hpp"
#include "vectors.hpp"

namespace vision {

// What all parts of an image have in common.
struct MatchingTask {
    // Pre-filtered, 0 to 126. Behind each row, `right` goes on for at least `overread` pixels of
    // any value, and `left` repeats the last one for half a window and the smallest disparity.
    static constexpr int overread = 32;
    cv::Mat left;
    cv::Mat right;
    cv::Mat disparities;
    BlockMatching settings;

    // Column x is pixel firstLeft + x of the left image, to be matched with the pixels from
    // firstRight + min(x, lastRight) on of the right image.
    int firstLeft;
    int firstRight;
    int lastRight;
};

// Pixels to match; the window of each lies in the rows of the image.
struct Part {
    cv::Range columns;  // counted as in MatchingTask
    cv::Range rows;
};

template <typename Isa>
class PartMatcher {
  public:
    TIOMIPRA_INLINE PartMatcher(const MatchingTask& task, const Part& part)
        : _task(task),
          _settings(task.settings),
          _disparities(task.disparities),
          _part(part),
          _half(_settings.windowSize / 2),
          _stride(std::ptrdiff_t{(_settings.disparityNumber + Chooser::scanned - 1) /
                                 Chooser::scanned} *
                  Chooser::scanned),
          _columnNumber(part.columns.size() + _settings.windowSize - 1),
          _columns(static_cast<std::size_t>(_columnNumber + 1) * _stride),
          _textures(static_cast<std::size_t>(_columnNumber)),
          _sums(static_cast<std::size_t>(blockSize + 1) * _stride + Chooser::overread),
          _chooser(_settings) {
        const int used = (_settings.disparityNumber - 1) % lanes + 1;
        for (int lane = 0; lane < lanes; ++lane)
            _unused[lane] = lane < used ? 0 : 0xffff;
    }

    TIOMIPRA_INLINE void run() {
        addFirstRows();
        for (int y = _part.rows.start; y < _part.rows.end; ++y)
            matchRow(y);
    }

  private:
    static constexpr int lanes = Isa::lanes;
    using Sums = typename Isa::Sums;
    using Bytes = typename Isa::Bytes;

    using Chooser = DisparityChooser<Isa>;
    static constexpr int blockSize = Chooser::blockSize;

    // The rows of both images that enter and leave the window.
    struct Rows {
        const std::int8_t* enteringLeft;
        const std::int8_t* leavingLeft;
        const std::int8_t* enteringRight;
        const std::int8_t* leavingRight;
    };

    // What moving the window by a pixel reads and writes.
    struct Step {
        const std::int8_t* enteringRight;
        const std::int8_t* leavingRight;
        std::int8_t enteringLeft;
        std::int8_t leavingLeft;
        std::uint16_t* enteringColumn;
        const std::uint16_t* leavingColumn;
        const std::uint16_t* sumsBefore;
        std::uint16_t* sums;
    };

    TIOMIPRA_INLINE Rows findRows(int entering, int leaving) const {
        const int left = _task.firstLeft + _part.columns.start - _half;
        return {_task.left.ptr<std::int8_t>(entering) + left,
                _task.left.ptr<std::int8_t>(leaving) + left,
                _task.right.ptr<std::int8_t>(entering) + _task.firstRight,
                _task.right.ptr<std::int8_t>(leaving) + _task.firstRight};
    }

    // Columns of the part are counted from the first that the window of its first pixel covers.
    TIOMIPRA_INLINE int findRight(int c) const {
        return std::min(_part.columns.start - _half + c, _task.lastRight);
    }

    // Column -1 is zero: it leaves the window when that is not full yet.
    TIOMIPRA_INLINE std::uint16_t* column(int c) {
        return _columns.data() + static_cast<std::ptrdiff_t>(c + 1) * _stride;
    }

    // Sums over the window of the row above the part. A row above the image counts as its first
    // row does, when it is added here and when it leaves the window.
    TIOMIPRA_INLINE void addFirstRows() {
        auto* textures = _textures.data();
        const int first = _part.rows.start - _half - 1;
        for (int y = first; y < first + _settings.windowSize; ++y) {
            const Rows rows = findRows(std::max(y, 0), 0);
            for (int c = 0; c < _columnNumber; ++c) {
                const std::int8_t left = rows.enteringLeft[c];
                addRow(rows.enteringRight + findRight(c), left, column(c));
                textures[c] += static_cast<std::uint16_t>(std::abs(left - _settings.preFilterCap));
            }
        }
    }

    TIOMIPRA_INLINE void addRow(const std::int8_t* right, std::int8_t left, std::uint16_t* sums) {
        for (int i = 0; i < _settings.disparityNumber; ++i)
            sums[i] += static_cast<std::uint16_t>(std::abs(right[i] - left));
    }

    TIOMIPRA_INLINE void matchRow(int y) {
        const Rows rows = findRows(y + _half, std::max(y - _half - 1, 0));
        changeTextures(rows);
        std::int32_t texture = 0;
        auto* sums = _sums.data();
        std::fill_n(sums, _stride, std::uint16_t{0});
        for (int c = 0; c < _settings.windowSize - 1; ++c) {
            slide(makeStep(rows, c, -1, sums, sums));
            texture += _textures.data()[c];
        }
        auto* disparities =
            _disparities.ptr<std::int16_t>(y) + _task.firstLeft + _part.columns.start;
        for (int x = 0; x < _part.columns.size(); x += blockSize)
            matchBlock(rows, x, texture, disparities + x);
    }

    TIOMIPRA_INLINE void changeTextures(const Rows& rows) {
        auto* textures = _textures.data();
        const int cap = _settings.preFilterCap;
        for (int c = 0; c < _columnNumber; ++c) {
            const int change =
                std::abs(rows.enteringLeft[c] - cap) - std::abs(rows.leavingLeft[c] - cap);
            textures[c] = static_cast<std::uint16_t>(textures[c] + change);
        }
    }

    // The first sums are those of the pixel before the block. `texture` is the sum for that pixel,
    // and becomes that for the last one of the block.
    TIOMIPRA_INLINE void matchBlock(const Rows& rows, int begin, std::int32_t& texture,
                                    std::int16_t* disparities) {
        const int size = std::min(blockSize, _part.columns.size() - begin);
        const auto* textures = _textures.data();
        auto* sums = _sums.data();
        for (int pixel = 0; pixel < size; ++pixel) {
            const int leaving = begin + pixel - 1;
            const int entering = leaving + _settings.windowSize;
            const std::uint16_t least = slide(makeStep(
                rows, entering, leaving, sums + pixel * _stride, sums + (pixel + 1) * _stride));
            texture += textures[entering] - (leaving < 0 ? 0 : textures[leaving]);
            _chooser.take(pixel, least, texture);
        }
        _chooser.choose(sums + _stride, _stride, size, disparities);
        std::copy_n(sums + size * _stride, _stride, sums);
    }

    TIOMIPRA_INLINE Step makeStep(const Rows& rows, int entering, int leaving,
                                  const std::uint16_t* sumsBefore, std::uint16_t* sums) {
        const int right = findRight(entering);
        return {rows.enteringRight + right,
                rows.leavingRight + right,
                rows.enteringLeft[entering],
                rows.leavingLeft[entering],
                column(entering),
                column(leaving),
                sumsBefore,
                sums};
    }

    // The least sum after the step.
    TIOMIPRA_INLINE std::uint16_t slide(const Step& step) {
        Sums least = Sums{} + 0xffff;
        Sums sums;
        const int last = (_settings.disparityNumber - 1) / lanes * lanes;
        for (int i = 0; i < last; i += lanes) {
            slide(step, i, sums);
            least = sums < least ? sums : least;
        }
        slide(step, last, sums);
        Sums unused;
        load(_unused, unused);
        sums |= unused;
        least = sums < least ? sums : least;
        return Isa::findLeast(least);
    }

    TIOMIPRA_INLINE void slide(const Step& step, int i, Sums& sums) {
        Bytes entering;
        Bytes leaving;
        load(step.enteringRight + i, entering);
        load(step.leavingRight + i, leaving);
        entering -= step.enteringLeft;
        leaving -= step.leavingLeft;
        entering = entering < 0 ? -entering : entering;
        leaving = leaving < 0 ? -leaving : leaving;
        Sums change;
        Isa::widen(entering - leaving, change);

        Sums column;
        load(step.enteringColumn + i, column);
        column += change;
        store(column, step.enteringColumn + i);
        Sums leavingColumn;
        load(step.leavingColumn + i, leavingColumn);
        load(step.sumsBefore + i, sums);
        sums += column - leavingColumn;
        store(sums, step.sums + i);
    }

    const MatchingTask& _task;
    BlockMatching _settings;
    cv::Mat _disparities;  // those of the task
    Part _part;
    int _half;                               // of the window
    std::ptrdiff_t _stride;                  // sums from a column or pixel to the next
    int _columnNumber;                       // that the windows of the part cover
    AlignedNumbers<std::uint16_t> _columns;  // sums of differences by column and disparity
    AlignedNumbers<std::uint16_t>
        _textures;  // sums of differences from a grey level without slope, by column
    AlignedNumbers<std::uint16_t> _sums;  // over the window: of the pixel before the block, and of
                                          // the block; and a few that are read behind the last
    Chooser _chooser;
    std::uint16_t _unused[lanes]{};  // 0xffff in the lanes of the last vector without a disparity
};

}  // namespace vision

#endif
