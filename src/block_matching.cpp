#include "block_matching.hpp"

#include <algorithm>
#include <opencv2/calib3d.hpp>

#include "block_matching_kernel.hpp"
#include "pre_filter.hpp"
#include "shared/speckle_filter.hpp"

namespace vision {
namespace {

using PartFunction = void(const MatchingTask& task, const Part& part);

void matchPartBaseline(const MatchingTask& task, const Part& part) {
    PartMatcher<Baseline>(task, part).run();
}

#if defined(__x86_64__)
TIOMIPRA_FOR_AVX2 void matchPartAvx2(const MatchingTask& task, const Part& part) {
    PartMatcher<Avx2>(task, part).run();
}

TIOMIPRA_FOR_AVX512 void matchPartAvx512(const MatchingTask& task, const Part& part) {
    PartMatcher<Avx512>(task, part).run();
}

PartFunction* choosePartFunction(InstructionSet instructionSet) {
    switch (instructionSet) {
        case InstructionSet::avx512:
            return matchPartAvx512;
        case InstructionSet::avx2:
            return matchPartAvx2;
        case InstructionSet::baseline:
            break;
    }
    return matchPartBaseline;
}
#else
PartFunction* choosePartFunction(InstructionSet) {
    return matchPartBaseline;
}
#endif

// At least as many rows as it takes to make the sums over a window that a part starts with pay.
int countParts(int rows, int windowSize) {
    return std::min(cv::getNumThreads(), std::max(rows / windowSize, 1));
}

cv::Range divide(const cv::Range& range, int part, int parts) {
    const auto size = static_cast<std::int64_t>(range.size());
    return {range.start + static_cast<int>(size * part / parts),
            range.start + static_cast<int>(size * (part + 1) / parts)};
}

void matchInParts(const MatchingTask& task, const cv::Range& columns, const cv::Range& rows,
                  InstructionSet instructionSet) {
    PartFunction* const matchPart = choosePartFunction(instructionSet);
    const int parts = countParts(rows.size(), task.settings.windowSize);
    cv::parallel_for_(cv::Range(0, parts), [&](const cv::Range& range) {
        for (int part = range.start; part < range.end; ++part)
            matchPart(task, {columns, divide(rows, part, parts)});
    });
    // What OpenCV writes beyond the end of its last row.
    const int imageColumns = task.disparities.cols - task.firstLeft;
    if (task.settings.minDisparity > 0) {
        matchPart(task, {{imageColumns, imageColumns + task.settings.minDisparity},
                         {rows.end - 1, rows.end}});
    }
}

// Fills `disparities`, which is missing everywhere, where something can be matched.
void match(const cv::Mat& left, const cv::Mat& right, const BlockMatching& settings,
           InstructionSet instructionSet, cv::Mat& disparities) {
    const int largest = settings.minDisparity + settings.disparityNumber - 1;
    const int firstLeft = std::max(largest, 0);
    const int firstRight = std::max(-largest, 0);
    const int lastRight = left.cols - settings.disparityNumber - firstRight;
    const cv::Rect image(cv::Point(), left.size());
    const cv::Rect valid = cv::getValidDisparityROI(image, image, settings.minDisparity,
                                                    settings.disparityNumber, settings.windowSize);
    const cv::Range columns(valid.x - firstLeft, std::min(valid.br().x - firstLeft, lastRight + 1));
    if (firstLeft >= left.cols || columns.start >= columns.end)
        return;

    const int repeated = settings.windowSize / 2 + std::max(settings.minDisparity, 0);
    const MatchingTask task{filterSlopes(left, settings.preFilterCap, repeated),
                            filterSlopes(right, settings.preFilterCap, MatchingTask::overread),
                            disparities,
                            settings,
                            firstLeft,
                            firstRight,
                            lastRight};
    matchInParts(task, columns, {valid.y, valid.br().y}, instructionSet);
}

int missingDisparity(const BlockMatching& settings) {
    return (settings.minDisparity - 1) * cv::StereoMatcher::DISP_SCALE;
}

cv::Mat makeMissing(const cv::Size& size, const BlockMatching& settings) {
    return cv::Mat(size, CV_16SC1, cv::Scalar::all(missingDisparity(settings)));
}

bool isOddWithin5And255(int value) {
    return value >= 5 && value <= 255 && value % 2 != 0;
}

}  // namespace

bool canMatchBlocks(const BlockMatching& settings, const cv::Size& size) {
    const int window = settings.windowSize;
    constexpr int largestSum = 0xffff;
    return isOddWithin5And255(window) && window < std::min(size.width, size.height) &&
           settings.disparityNumber > 0 && settings.disparityNumber % 16 == 0 &&
           settings.preFilterCap >= 1 && settings.preFilterCap <= 63 &&
           isOddWithin5And255(settings.preFilterSize) && settings.textureThreshold >= 0 &&
           settings.uniquenessRatio >= 0 && settings.uniquenessRatio <= 100 &&
           window * window * 2 * settings.preFilterCap <= largestSum;
}

bool isFasterThanOpenCv(const BlockMatching& settings, InstructionSet instructionSet) {
    const bool sumsIn16Bits = settings.preFilterCap <= 31 && settings.windowSize <= 21;
    return instructionSet != InstructionSet::baseline ||
           (!sumsIn16Bits && settings.uniquenessRatio > 0);
}

cv::Mat matchBlocks(const cv::Mat& left, const cv::Mat& right, const BlockMatching& settings,
                    InstructionSet instructionSet) {
    cv::Mat disparities = makeMissing(left.size(), settings);
    match(left, right, settings, instructionSet, disparities);
    if (settings.speckleWindowSize > 0 && settings.speckleRange >= 0) {
        filterSpeckles(disparities, cv::saturate_cast<std::int16_t>(missingDisparity(settings)),
                       settings.speckleWindowSize, settings.speckleRange);
    }
    return disparities;
}

cv::Mat matchBlocksByOpenCv(const cv::Mat& left, const cv::Mat& right,
                            const BlockMatching& settings) {
    const auto matcher = cv::StereoBM::create();
    matcher->setBlockSize(settings.windowSize);
    matcher->setMinDisparity(settings.minDisparity);
    matcher->setNumDisparities(settings.disparityNumber);
    matcher->setPreFilterCap(settings.preFilterCap);
    matcher->setPreFilterSize(settings.preFilterSize);
    matcher->setTextureThreshold(settings.textureThreshold);
    matcher->setUniquenessRatio(settings.uniquenessRatio);
    matcher->setSpeckleWindowSize(settings.speckleWindowSize);
    matcher->setSpeckleRange(settings.speckleRange);
    // Filled first, as nothing is written when the window fits nowhere.
    cv::Mat disparities = makeMissing(left.size(), settings);
    matcher->compute(left, right, disparities);
    return disparities;
}

}  // namespace vision
