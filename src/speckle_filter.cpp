// Works on runs, neighbours in a row that belong together, instead of pixels. Runs of two rows that
// touch are united; a run points to another one of its region, at the end to the first, which
// counts the pixels. What belongs together is found for 64 pixels at a time, as bits.
#include "shared/speckle_filter.hpp"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "vectors.hpp"

namespace vision {
namespace {

// Pixels from `begin` to before `end`. `link` is the index of another run of the region, or less
// than zero, the negative number of the region's pixels.
struct Run {
    std::int32_t link;
    std::uint16_t begin;
    std::uint16_t end;
};

using Bits = std::uint64_t;
constexpr int bitsPerWord = 64;

// A row: its pixels, with one that is missing before the first, and up to 63 behind the last; and
// a bit for each of them.
struct PixelRow {
    PixelRow(int width, std::int16_t missing)
        : words(static_cast<std::size_t>((width + bitsPerWord - 1) / bitsPerWord)),
          pixels(words * bitsPerWord + 1, missing),
          present(words),
          across(words + 1),
          down(words) {}

    std::size_t words;
    std::vector<std::int16_t> pixels;
    std::vector<Bits> present;
    std::vector<Bits> across;  // belongs together with the pixel to the left
    std::vector<Bits> down;    // belongs together with the pixel above
};

template <typename Visit>
void forEachBit(Bits bits, int firstPlace, Visit visit) {
    for (; bits != 0; bits &= bits - 1)
        visit(firstPlace + __builtin_ctzll(bits));
}

class SpeckleFilter {
  public:
    SpeckleFilter(cv::Mat& disparities, std::int16_t missing, int range)
        : _disparities(disparities),
          _missing(missing),
          _range(static_cast<std::uint16_t>(range)),
          _row(disparities.cols, missing),
          _above(disparities.cols, missing),
          _runs(new Run[disparities.total()]) {
        _firstRuns.reserve(static_cast<std::size_t>(disparities.rows) + 1);
        _firstRuns.push_back(0);
        for (int y = 0; y < disparities.rows; ++y)
            addRow(y);
    }

    void remove(int largestSpeckle) {
        for (int y = 0; y < _disparities.rows; ++y) {
            auto* disparities = _disparities.ptr<std::int16_t>(y);
            for (int i = firstRun(y); i < firstRun(y + 1); ++i) {
                if (-_runs[findFirst(i)].link <= largestSpeckle)
                    std::fill(disparities + _runs[i].begin, disparities + _runs[i].end, _missing);
            }
        }
    }

  private:
    int firstRun(int y) const { return _firstRuns[static_cast<std::size_t>(y)]; }

    void addRow(int y) {
        std::swap(_row, _above);
        std::copy_n(_disparities.ptr<std::int16_t>(y), _disparities.cols, _row.pixels.begin() + 1);
        for (std::size_t word = 0; word < _row.words; ++word) {
            const std::int16_t* left = _row.pixels.data() + word * bitsPerWord;
            const std::int16_t* above = _above.pixels.data() + word * bitsPerWord + 1;
            _row.present[word] = compare(left + 1, left + 1);
            _row.across[word] = compare(left + 1, left);
            _row.down[word] = compare(left + 1, above);
        }
        addRuns();
        if (y > 0)
            uniteWithRowAbove(y);
    }

    // For 64 pixels each, which of them belong together.
    Bits compare(const std::int16_t* some, const std::int16_t* others) const {
        constexpr int lanes = 8;
        std::uint16_t distances[bitsPerWord];
        for (int i = 0; i < bitsPerWord; i += lanes) {
            Vector<std::int16_t, lanes> a;
            Vector<std::int16_t, lanes> b;
            load(some + i, a);
            load(others + i, b);
            // As an unsigned number, the distance does not overflow.
            using Distances = Vector<std::uint16_t, lanes>;
            const auto distance = reinterpret_cast<Distances>(a > b ? a : b) -
                                  reinterpret_cast<Distances>(a > b ? b : a);
            const auto isMissing = (a == _missing) | (b == _missing);
            store(distance | reinterpret_cast<Distances>(isMissing), distances + i);
        }
        const Bits low = Baseline::findSmall(distances, _range);
        return low | Bits{Baseline::findSmall(distances + 32, _range)} << 32;
    }

    void addRuns() {
        int ended = _firstRuns.back();
        int begun = ended;
        for (std::size_t word = 0; word < _row.words; ++word) {
            const int x = static_cast<int>(word) * bitsPerWord;
            forEachBit(_row.present[word] & ~_row.across[word], x, [&](int begin) {
                _runs[begun++].begin = static_cast<std::uint16_t>(begin);
            });
            const Bits goesOn = _row.across[word] >> 1 | _row.across[word + 1] << (bitsPerWord - 1);
            forEachBit(_row.present[word] & ~goesOn, x, [&](int last) {
                Run& run = _runs[ended++];
                run.end = static_cast<std::uint16_t>(last + 1);
                run.link = run.begin - run.end;
            });
        }
        _firstRuns.push_back(begun);
    }

    void uniteWithRowAbove(int y) {
        int run = firstRun(y);
        int runAbove = firstRun(y - 1);
        Bits carry = 0;
        for (std::size_t word = 0; word < _row.words; ++word) {
            // Not where the pixels to the left, of the same two runs, united them.
            const Bits down = _row.down[word];
            const Bits isDone = (down << 1 | carry) & _row.across[word] & _above.across[word];
            carry = down >> (bitsPerWord - 1);
            forEachBit(down & ~isDone, static_cast<int>(word) * bitsPerWord, [&](int x) {
                for (; _runs[run].end <= x; ++run) {
                }
                for (; _runs[runAbove].end <= x; ++runAbove) {
                }
                unite(run, runAbove);
            });
        }
    }

    void unite(int a, int b) {
        const auto [first, second] = std::minmax({findFirst(a), findFirst(b)});
        if (first == second)
            return;
        _runs[first].link += _runs[second].link;
        _runs[second].link = first;
    }

    // The first run of the region; shortens the way there.
    int findFirst(int run) {
        while (_runs[run].link >= 0) {
            const int next = _runs[run].link;
            if (_runs[next].link >= 0)
                _runs[run].link = _runs[next].link;
            run = next;
        }
        return run;
    }

    cv::Mat& _disparities;
    std::int16_t _missing;
    std::uint16_t _range;
    PixelRow _row;
    PixelRow _above;
    std::vector<int> _firstRuns;  // by row
    std::unique_ptr<Run[]> _runs;
};

}  // namespace

void filterSpeckles(cv::Mat& disparities, std::int16_t missing, int largestSpeckle, int range) {
    SpeckleFilter(disparities, missing, range).remove(largestSpeckle);
}

}  // namespace vision
