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

CostTables::CostTables(const SemiGlobalTask& task)
    : leftSlopes(task.left.cols),
      leftGreys(task.left.cols),
      rightSlopes(task.left.cols),
      rightGreys(task.left.cols),
      entering(static_cast<std::size_t>(task.disparityNumber())),
      leaving(static_cast<std::size_t>(task.disparityNumber())),
      _keptRows(std::min(2 * task.half + 2, task.rows())),
      _stride(task.rowSize() + PixelRanges::overread),
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

ChoiceTables::ChoiceTables(const SemiGlobalTask& task)
    : stride(std::ptrdiff_t{(task.disparityNumber() + 31) / 32} * 32),
      sums(static_cast<std::size_t>(stride) * (PixelBlock::size + 2)),
      along(static_cast<std::size_t>(task.disparityNumber())),
      rightDisparities(static_cast<std::size_t>(task.left.cols)),
      rightSums(static_cast<std::size_t>(task.left.cols)) {}

namespace {

struct Tables {
    explicit Tables(const SemiGlobalTask& task) : costs(task), paths(task), choice(task) {}
    CostTables costs;
    PathTables paths;
    ChoiceTables choice;
};

enum class Step { costs, paths, choice };

// A step for a row: the `count`-th row on the way down or up.
struct Job {
    Step step;
    int count;
    bool isDown;
    int y;
    const std::int16_t* costsBefore;
    std::int16_t* costs;
    std::int16_t* sums;
};

template <typename Isa>
TIOMIPRA_INLINE void runJob(const SemiGlobalTask& task, Tables& tables, const Job& job) {
    switch (job.step) {
        case Step::costs:
            CostKernel<Isa>(task, tables.costs).run(job.y, job.costsBefore, job.costs);
            break;
        case Step::paths:
            PathKernel<Isa>(task, tables.paths).run(job.count, job.isDown, job.costs, job.sums);
            break;
        case Step::choice:
            ChoiceKernel<Isa>(task, tables.choice).run(job.y, job.costs, job.sums);
            break;
    }
}

using JobFunction = void(const SemiGlobalTask& task, Tables& tables, const Job& job);

void runBaseline(const SemiGlobalTask& task, Tables& tables, const Job& job) {
    runJob<Baseline>(task, tables, job);
}

#if defined(__x86_64__)
TIOMIPRA_FOR_AVX2 void runAvx2(const SemiGlobalTask& task, Tables& tables, const Job& job) {
    runJob<Avx2>(task, tables, job);
}

TIOMIPRA_FOR_AVX512 void runAvx512(const SemiGlobalTask& task, Tables& tables, const Job& job) {
    runJob<Avx512>(task, tables, job);
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

// All steps of an image, over threads.
class Matcher {
  public:
    Matcher(const SemiGlobalTask& task, InstructionSet instructionSet)
        : _task(task),
          _run(chooseJobFunction(instructionSet)),
          _tables(task),
          _threads(std::clamp(cv::getNumThreads(), 1, 3)),
          _keptRows(task.settings.fullDP ? task.rows() : (_threads == 1 ? 1 : 4)),
          _costs(_keptRows, static_cast<int>(task.rowSize()), CV_16SC1),
          _sums(_costs.size(), CV_16SC1) {}

    void run() {
        if (!_task.settings.fullDP) {
            runWay({Step::costs, Step::paths, Step::choice}, true);
            return;
        }
        runWay({Step::costs, Step::paths}, true);
        _tables.paths = PathTables(_task);
        runWay({Step::paths, Step::choice}, false);
    }

  private:
    void runWay(const std::vector<Step>& steps, bool isDown) {
        RowPipeline pipeline({static_cast<int>(steps.size()), _task.rows(), _keptRows});
        cv::parallel_for_(cv::Range(0, _threads), [&](const cv::Range&) {
            pipeline.work([&](int step, int row) {
                runJob(steps[static_cast<std::size_t>(step)], row, isDown);
            });
        });
    }

    void runJob(Step step, int count, bool isDown) {
        const int y = isDown ? count : _task.rows() - 1 - count;
        const int place = y % _keptRows;
        const int placeBefore = std::max(y - 1, 0) % _keptRows;
        _run(_task, _tables,
             {step, count, isDown, y, _costs.ptr<std::int16_t>(placeBefore),
              _costs.ptr<std::int16_t>(place), _sums.ptr<std::int16_t>(place)});
    }

    SemiGlobalTask _task;
    JobFunction* _run;
    Tables _tables;
    int _threads;
    int _keptRows;  // whose costs are kept
    cv::Mat _costs;
    cv::Mat _sums;
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
