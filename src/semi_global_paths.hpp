// The costs along paths to a row of pixels, compiled once for each instruction set.
//
// Along a path, a pixel's cost at a disparity is that of the match and the least of the pixel's
// before at any disparity, with what the change costs; minus the least of the pixel before, so that
// costs don't grow with the path:
//
//     path[p][i] = cost[p][i] - limit + min(path[q][i], path[q][i - 1] + smallChange,
//                                           path[q][i + 1] + smallChange, limit)
//     limit = min(path[q]) + largeChange
//
// One path runs along the row; three come from the row before: diagonally from both sides, and
// straight. Their costs replace those of the pixel before where these stand. So the places move by
// one pixel with each row where the path is diagonal, and go round at the end of the row. There are
// a few places more than pixels, as parts of a row may be some rows behind those before them.
#ifndef VISION_SEMI_GLOBAL_PATHS_HPP
#define VISION_SEMI_GLOBAL_PATHS_HPP

#include <algorithm>
#include <cstdint>

#include "aligned_numbers.hpp"
#include "semi_global_task.hpp"
#include "vectors.hpp"

namespace vision {

// The next pixel of a path.
template <typename Isa>
class PathStep {
  public:
    using Costs = typename Isa::Costs;

    // `before` are the costs of the pixel before, `limit` the least of them and a large change.
    TIOMIPRA_INLINE PathStep(const std::int16_t* before, std::int16_t limit,
                             std::int16_t smallChange)
        : _before(before) {
        Isa::fill(limit, _limit);
        Isa::fill(smallChange, _smallChange);
        Isa::fill(largestCost, _least);
        load(before, _here);
        Isa::join(_least, _here, _seam);
    }

    // The costs from the i-th on. To be called for all vectors in their order; those of the pixel
    // before may be replaced afterwards.
    TIOMIPRA_INLINE void take(int i, const Costs& cost, Costs& result) {
        Costs next;
        load(_before + i + Isa::costLanes, next);
        take(cost, next, result);
    }

    TIOMIPRA_INLINE void takeLast(const Costs& cost, Costs& result) {
        Costs next;
        Isa::fill(largestCost, next);
        take(cost, next, result);
    }

    TIOMIPRA_INLINE std::int16_t least() const { return Isa::findLeastCost(_least); }

  private:
    TIOMIPRA_INLINE void take(const Costs& cost, const Costs& next, Costs& result) {
        Costs below;
        Costs above;
        Isa::shiftUp(_seam, _here, below);
        Isa::join(_here, next, _seam);
        Isa::shiftDown(_here, _seam, above);
        Costs changed = below < above ? below : above;
        Isa::add(_smallChange, changed);
        result = _here < changed ? _here : changed;
        result = result < _limit ? result : _limit;
        Isa::subtract(_limit, result);
        Isa::add(cost, result);
        _least = result < _least ? result : _least;
        _here = next;
    }

    const std::int16_t* _before;
    Costs _limit;
    Costs _smallChange;
    Costs _least;
    Costs _here;               // of the pixel before, at the same disparities
    typename Isa::Seam _seam;  // with those at the disparities below
};

// The costs along one path to the pixels of a row, and the least of each with a large change.
struct PathRow {
    PathRow(const SemiGlobalTask& task, int places)
        : costs(static_cast<std::size_t>(task.costsOf(places))),
          limits(static_cast<std::size_t>(places)) {
        std::fill_n(limits.data(), places, task.largeChange);
    }

    AlignedNumbers<std::int16_t> costs;
    AlignedNumbers<std::int16_t> limits;
};

// The same of the path along the row.
struct AlongRow {
    explicit AlongRow(const SemiGlobalTask& task)
        : costs(static_cast<std::size_t>(task.disparityNumber())) {
        begin(task);
    }

    void begin(const SemiGlobalTask& task) {
        std::fill_n(costs.data(), task.disparityNumber(), std::int16_t{0});
        limit = task.largeChange;
    }

    AlignedNumbers<std::int16_t> costs;
    std::int16_t limit;
};

struct PathTables {
    PathTables(const SemiGlobalTask& task, int parts)
        : places(task.columns + 2 * parts),
          fromLeft(task, places),
          straight(task, places),
          fromRight(task, places),
          none(static_cast<std::size_t>(task.disparityNumber())) {}

    int places;
    PathRow fromLeft;
    PathRow straight;
    PathRow fromRight;
    AlignedNumbers<std::int16_t> none;  // The costs before the first pixel of a path: zeros.
};

template <typename Isa>
class PathKernel {
  public:
    TIOMIPRA_INLINE PathKernel(const SemiGlobalTask& task, PathTables& tables, AlongRow& along)
        : _task(task), _tables(tables), _along(along), _size(task.disparityNumber()) {}

    // Follows the paths into some `pixels` of the next row, the `count`-th of a pass, and adds
    // their costs to `sums`, which begin as zeros on the way down. On the way up, everything is
    // turned round. `costs` and `sums` are those of the part's first pixel.
    TIOMIPRA_INLINE void run(int count, bool isDown, const Columns& part, const Columns& pixels,
                             const std::int16_t* costs, std::int16_t* sums) {
        const int moved = count % _tables.places;
        for (int n = 0; n < pixels.size(); ++n) {
            const int x = isDown ? pixels.begin + n : pixels.end - 1 - n;
            const int left = x < moved ? x - moved + _tables.places : x - moved;
            const int right = x + moved < _tables.places ? x + moved : x + moved - _tables.places;
            const Place places[] = {{_along.costs.data(), _along.limit, true},
                                    find(_tables.fromLeft, left, x > 0),
                                    find(_tables.straight, x, true),
                                    find(_tables.fromRight, right, x < _task.columns - 1)};
            const std::ptrdiff_t here = _task.costsOf(x - part.begin);
            follow(places, costs + here, isDown, sums + here);
        }
    }

  private:
    using Costs = typename Isa::Costs;

    struct Place {
        std::int16_t* costs;
        std::int16_t& limit;
        bool hasBefore;
    };

    TIOMIPRA_INLINE Place find(PathRow& row, int x, bool hasBefore) {
        return {row.costs.data() + _task.costsOf(x), row.limits.data()[x], hasBefore};
    }

    TIOMIPRA_INLINE PathStep<Isa> step(const Place& place) {
        if (place.hasBefore)
            return {place.costs, place.limit, _task.smallChange};
        return {_tables.none.data(), _task.largeChange, _task.smallChange};
    }

    TIOMIPRA_INLINE void follow(const Place (&places)[4], const std::int16_t* costs, bool isDown,
                                std::int16_t* sums) {
        PathStep<Isa> paths[] = {step(places[0]), step(places[1]), step(places[2]),
                                 step(places[3])};
        const int last = _size - Isa::costLanes;
        for (int i = 0; i <= last; i += Isa::costLanes) {
            Costs cost;
            Costs sum{};
            load(costs + i, cost);
            if (!isDown)
                load(sums + i, sum);
            for (int path = 0; path < 4; ++path) {
                Costs result;
                if (i < last)
                    paths[path].take(i, cost, result);
                else
                    paths[path].takeLast(cost, result);
                store(result, places[path].costs + i);
                Isa::add(result, sum);
            }
            store(sum, sums + i);
        }
        for (int path = 0; path < 4; ++path)
            places[path].limit = wrappingSum(paths[path].least(), _task.largeChange);
    }

    const SemiGlobalTask& _task;
    PathTables& _tables;
    AlongRow& _along;
    int _size;  // costs of a pixel
};

}  // namespace vision

#endif
