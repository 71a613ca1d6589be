#include "semi_global_matching.hpp"

#include <algorithm>
#include <limits>
#include <opencv2/calib3d.hpp>
#include <opencv2/imgproc.hpp>

#include "pre_filter.hpp"
#include "row_pipeline.hpp"
#include "semi_global_choice.hpp"
#include "semi_global_costs.hpp"
#include "semi_global_paths.hpp"
#include "shared/speckle_filter.hpp"

namespace vision {

CostTables::CostTables(const SemiGlobalTask& task, const Columns& part)
    : compared{std::max(part.begin - task.half, 0), std::min(part.end + task.half, task.columns)},
      leftSlopes(task.left.cols),
      leftGreys(task.left.cols),
      rightSlopes(task.left.cols),
      rightGreys(task.left.cols),
      entering(static_cast<std::size_t>(task.disparityNumber())),
      leaving(static_cast<std::size_t>(task.disparityNumber())),
      _keptRows(std::min(2 * task.half + 2, task.rows())),
      _stride(task.costsOf(compared.size()) + PixelRanges::overread),
      _pixelCosts(static_cast<std::size_t>(_stride) * static_cast<std::size_t>(_keptRows)),
      _slopes(static_cast<std::size_t>(task.left.cols)),
      _greys(static_cast<std::size_t>(task.left.cols)) {}

namespace {

std::uint8_t halfway(std::uint8_t a, std::uint8_t b) {
    return static_cast<std::uint8_t>((a & b) + ((a ^ b) >> 1));
}

// In 8 bits, so that compilers make vectors of it.
void findRanges(const std::uint8_t* values, int width, std::uint8_t* __restrict lowest,
                std::uint8_t* __restrict highest) {
    for (int x = 0; x < width; ++x) {
        const std::uint8_t value = values[x];
        const std::uint8_t before = halfway(values[x - 1], value);
        const std::uint8_t after = halfway(value, values[x + 1]);
        const std::uint8_t least = before < after ? before : after;
        const std::uint8_t most = before < after ? after : before;
        lowest[x] = least < value ? least : value;
        highest[x] = most > value ? most : value;
    }
}

void reverse(const std::uint8_t* __restrict source, int size, std::uint8_t* __restrict reversed) {
    for (int i = 0; i < size; ++i)
        reversed[i] = source[size - 1 - i];
}

}  // namespace

void PixelRanges::findRanges(int width) {
    values()[-1] = values()[0];
    values()[width] = values()[width - 1];
    vision::findRanges(values(), width, values() + _stride, values() + 2 * _stride);
}

void CostTables::takeRow(const SemiGlobalTask& task, int y) {
    const int width = task.left.cols;
    const int above = std::max(y - 1, 0);
    const int below = std::min(y + 1, task.rows() - 1);
    const auto border = static_cast<std::uint8_t>(task.slopeCap);
    const auto take = [&](const cv::Mat& image) {
        filterSlopes(image.ptr(above), image.ptr(y), image.ptr(below), width, task.slopeCap,
                     _slopes.data());
        std::copy_n(image.ptr(y), width, _greys.data());
        _greys.front() = _greys.back() = border;
    };
    take(task.left);
    std::copy_n(_slopes.data(), width, leftSlopes.values());
    std::copy_n(_greys.data(), width, leftGreys.values());
    take(task.right);
    reverse(reinterpret_cast<const std::uint8_t*>(_slopes.data()), width, rightSlopes.values());
    reverse(_greys.data(), width, rightGreys.values());
    for (PixelRanges* ranges : {&leftSlopes, &leftGreys, &rightSlopes, &rightGreys})
        ranges->findRanges(width);
}

ChoiceRow::ChoiceRow(const SemiGlobalTask& task)
    : along(task),
      rightDisparities(static_cast<std::size_t>(task.left.cols)),
      rightSums(static_cast<std::size_t>(task.left.cols)) {}

ChoiceTables::ChoiceTables(const SemiGlobalTask& task)
    : stride(std::ptrdiff_t{(task.disparityNumber() + 31) / 32} * 32),
      sums(static_cast<std::size_t>(stride) * (PixelBlock::size + 2)) {}

namespace {

// What the steps of a part of the columns work on.
struct PartTables {
    PartTables(const SemiGlobalTask& task, const Columns& part, int rows)
        : columns(part),
          costTables(task, part),
          handed(task),
          along(task),
          choiceTables(task),
          keptRows(rows),
          costs(rows, static_cast<int>(task.costsOf(part.size())), CV_16SC1),
          sums(costs.size(), CV_16SC1) {}

    Columns columns;
    CostTables costTables;
    AlongRow handed;  // by the part before
    AlongRow along;
    ChoiceTables choiceTables;
    int keptRows;  // whose costs are kept
    cv::Mat costs;
    cv::Mat sums;
};

// The paths into the last pixel of a part are a step of their own: it alone needs the part behind
// it, which so may be worked on at the same time.
enum class Step { costs, paths, lastPaths, choice };
constexpr int stepNumber = 4;

// A step for a row: the `count`-th row on the way down or up.
struct Job {
    Step step;
    int count;
    bool isDown;
    int y;
    Columns pixels;  // whose paths are followed
    const std::int16_t* costsBefore;
    std::int16_t* costs;
    std::int16_t* sums;
};

template <typename Isa>
TIOMIPRA_INLINE void runJob(const SemiGlobalTask& task, PartTables& part, PathTables& paths,
                            ChoiceRow& choice, const Job& job) {
    switch (job.step) {
        case Step::costs:
            CostKernel<Isa>(task, part.columns, part.costTables)
                .run(job.y, job.costsBefore, job.costs);
            break;
        case Step::paths:
        case Step::lastPaths:
            PathKernel<Isa>(task, paths, part.along)
                .run(job.count, job.isDown, part.columns, job.pixels, job.costs, job.sums);
            break;
        case Step::choice:
            ChoiceKernel<Isa>(task, part.choiceTables, choice)
                .run(job.y, part.columns, job.costs, job.sums);
            break;
    }
}

using JobFunction = void(const SemiGlobalTask& task, PartTables& part, PathTables& paths,
                         ChoiceRow& choice, const Job& job);

void runBaseline(const SemiGlobalTask& task, PartTables& part, PathTables& paths, ChoiceRow& choice,
                 const Job& job) {
    runJob<Baseline>(task, part, paths, choice, job);
}

#if defined(__x86_64__)
TIOMIPRA_FOR_AVX2 void runAvx2(const SemiGlobalTask& task, PartTables& part, PathTables& paths,
                               ChoiceRow& choice, const Job& job) {
    runJob<Avx2>(task, part, paths, choice, job);
}

TIOMIPRA_FOR_AVX512 void runAvx512(const SemiGlobalTask& task, PartTables& part, PathTables& paths,
                                   ChoiceRow& choice, const Job& job) {
    runJob<Avx512>(task, part, paths, choice, job);
}

JobFunction* chooseJobFunction(InstructionSet instructionSet) {
    switch (instructionSet) {
        case InstructionSet::avx512:
            return runAvx512;
        case InstructionSet::avx2:
            return runAvx2;
        case InstructionSet::baseline:
            break;
    }
    return runBaseline;
}
#else
JobFunction* chooseJobFunction(InstructionSet) {
    return runBaseline;
}
#endif

int firstLeft(const SemiGlobalMatching& settings) {
    return std::max(settings.minDisparity + settings.disparityNumber, 0);
}

int countColumns(const SemiGlobalMatching& settings, int width) {
    return width + std::min(settings.minDisparity, 0) - firstLeft(settings);
}

int halfOf(int windowSize) {
    constexpr int defaultSize = 5;
    return (windowSize > 0 ? windowSize : defaultSize) / 2;
}

int slopeCap(const SemiGlobalMatching& settings) {
    return std::max(settings.preFilterCap, 15) | 1;
}

SemiGlobalTask makeTask(const cv::Mat& left, const cv::Mat& right,
                        const SemiGlobalMatching& settings, cv::Mat& disparities) {
    const int smallChange = settings.P1 > 0 ? settings.P1 : 2;
    const int largeChange = std::max(settings.P2 > 0 ? settings.P2 : 5, smallChange + 1);
    return {left,
            right,
            settings,
            disparities,
            firstLeft(settings),
            countColumns(settings, left.cols),
            halfOf(settings.windowSize),
            slopeCap(settings),
            static_cast<std::int16_t>(smallChange),
            static_cast<std::int16_t>(largeChange)};
}

// At most four, as memory grows with them; each at least two windows wide, as pixels are compared
// by both parts around the seam.
int countParts(const SemiGlobalTask& task) {
    const int most = task.columns / (4 * task.half + 2);
    return std::clamp(cv::getNumThreads(), 1, std::clamp(most, 1, 4));
}

// All steps of an image, over threads.
class Matcher {
  public:
    Matcher(const SemiGlobalTask& task, InstructionSet instructionSet)
        : _task(task),
          _run(chooseJobFunction(instructionSet)),
          _partNumber(countParts(task)),
          _paths(task, _partNumber) {
        _parts.reserve(static_cast<std::size_t>(_partNumber));  // As moving them would copy.
        for (int part = 0; part < _partNumber; ++part)
            _parts.emplace_back(task, columnsOf(part), countKeptRows(part));
        for (int row = 0; row < countRowsAhead(0); ++row)
            _choiceRows.emplace_back(task);
    }

    void run() {
        if (!_task.settings.fullDP) {
            runWay({Step::costs, Step::paths, Step::lastPaths, Step::choice}, true);
            return;
        }
        runWay({Step::costs, Step::paths, Step::lastPaths}, true);
        _paths = PathTables(_task, _partNumber);
        runWay({Step::paths, Step::lastPaths, Step::choice}, false);
    }

  private:
    Columns columnsOf(int part) const {
        return {_task.columns * part / _partNumber, _task.columns * (part + 1) / _partNumber};
    }

    // A part follows paths up to two rows ahead of the part behind it, and chooses after it; two
    // rows more, so that parts seldom wait for each other.
    int countRowsAhead(int part) const {
        return _partNumber == 1 ? 1 : 2 * (_partNumber - part) + 1;
    }
    int countKeptRows(int part) const {
        return _task.settings.fullDP ? _task.rows() : countRowsAhead(part);
    }

    // Other steps than `steps` have nothing to do.
    void runWay(const std::vector<Step>& steps, bool isDown) {
        for (PartTables& part : _parts)
            part.handed.begin(_task);
        RowPipeline pipeline(findNeeds(isDown), _task.rows());
        cv::parallel_for_(cv::Range(0, _partNumber), [&](const cv::Range& range) {
            pipeline.work(range.start, [&](int index, int row) {
                const auto step = static_cast<Step>(index % stepNumber);
                if (std::find(steps.begin(), steps.end(), step) != steps.end())
                    runJob(index / stepNumber, step, row, isDown);
            });
        });
    }

    bool isPart(int part) const { return part >= 0 && part < _partNumber; }

    std::vector<RowPipeline::Step> findNeeds(bool isDown) const {
        using Needs = std::vector<RowPipeline::Need>;
        const auto need = [](int part, Step step, int rowsBefore) {
            return RowPipeline::Need{part * stepNumber + static_cast<int>(step), rowsBefore};
        };
        std::vector<RowPipeline::Step> steps;
        for (int part = 0; part < _partNumber; ++part) {
            Needs costs{need(part, Step::choice, countKeptRows(part))};
            Needs paths{need(part, Step::costs, 0), need(part, Step::lastPaths, 1)};
            Needs lastPaths{need(part, Step::paths, 0)};
            Needs choice{need(part, Step::lastPaths, 0)};
            if (const int before = isDown ? part - 1 : part + 1; isPart(before))
                paths.push_back(need(before, Step::lastPaths, 0));
            if (const int behind = isDown ? part + 1 : part - 1; isPart(behind))
                lastPaths.push_back(need(behind, Step::paths, 1));
            choice.push_back(isPart(part + 1) ? need(part + 1, Step::choice, 0)
                                              : need(0, Step::choice, countRowsAhead(0)));
            for (const Needs& needs : {costs, paths, lastPaths, choice})
                steps.push_back({part, needs});
        }
        return steps;
    }

    void runJob(int partIndex, Step step, int count, bool isDown) {
        PartTables& part = _parts[static_cast<std::size_t>(partIndex)];
        if (step == Step::paths)
            part.along = part.handed;
        const int y = isDown ? count : _task.rows() - 1 - count;
        const int place = y % part.keptRows;
        const int placeBefore = std::max(y - 1, 0) % part.keptRows;
        ChoiceRow& choice = _choiceRows[static_cast<std::size_t>(y) % _choiceRows.size()];
        _run(_task, part, _paths, choice,
             {step, count, isDown, y, pixelsOf(part.columns, step, isDown),
              part.costs.ptr<std::int16_t>(placeBefore), part.costs.ptr<std::int16_t>(place),
              part.sums.ptr<std::int16_t>(place)});
        const int behind = isDown ? partIndex + 1 : partIndex - 1;
        if (step == Step::lastPaths && isPart(behind))
            _parts[static_cast<std::size_t>(behind)].handed = part.along;
    }

    static Columns pixelsOf(const Columns& part, Step step, bool isDown) {
        if (step == Step::lastPaths)
            return isDown ? Columns{part.end - 1, part.end} : Columns{part.begin, part.begin + 1};
        return isDown ? Columns{part.begin, part.end - 1} : Columns{part.begin + 1, part.end};
    }

    SemiGlobalTask _task;
    JobFunction* _run;
    int _partNumber;
    PathTables _paths;
    std::vector<PartTables> _parts;
    std::vector<ChoiceRow> _choiceRows;
};

int missingDisparity(const SemiGlobalMatching& settings) {
    return (settings.minDisparity - 1) * cv::StereoMatcher::DISP_SCALE;
}

}  // namespace

bool canMatchSemiGlobally(const SemiGlobalMatching& settings, const cv::Size& size) {
    constexpr int largestPixelCost = 2 * 63 + 255 / 4;
    const int window = 2 * halfOf(settings.windowSize) + 1;
    return settings.disparityNumber > 0 && settings.disparityNumber % 16 == 0 && size.height > 0 &&
           countColumns(settings, size.width) > halfOf(settings.windowSize) &&
           settings.preFilterCap <= 63 && window * largestPixelCost <= largestCost &&
           settings.uniquenessRatio >= 0 && settings.uniquenessRatio <= 100 &&
           settings.P1 < std::numeric_limits<int>::max();
}

bool isSemiGlobalFasterThanOpenCv() {
#if defined(__x86_64__)
    return true;
#else
    return false;
#endif
}

cv::Mat matchSemiGlobally(const cv::Mat& left, const cv::Mat& right,
                          const SemiGlobalMatching& settings, InstructionSet instructionSet) {
    cv::Mat disparities(left.size(), CV_16SC1);
    Matcher(makeTask(left, right, settings, disparities), instructionSet).run();
    cv::medianBlur(disparities, disparities, 3);
    if (settings.speckleWindowSize > 0) {
        filterSpeckles(disparities, static_cast<std::int16_t>(missingDisparity(settings)),
                       settings.speckleWindowSize,
                       settings.speckleRange * cv::StereoMatcher::DISP_SCALE);
    }
    return disparities;
}

cv::Mat matchSemiGloballyByOpenCv(const cv::Mat& left, const cv::Mat& right,
                                  const SemiGlobalMatching& settings) {
    const auto matcher = cv::StereoSGBM::create(
        settings.minDisparity, settings.disparityNumber, settings.windowSize, settings.P1,
        settings.P2, settings.disp12MaxDiff, settings.preFilterCap, settings.uniquenessRatio,
        settings.speckleWindowSize, settings.speckleRange,
        settings.fullDP ? cv::StereoSGBM::MODE_HH : cv::StereoSGBM::MODE_SGBM);
    cv::Mat disparities;
    matcher->compute(left, right, disparities);
    return disparities;
}

}  // namespace vision
