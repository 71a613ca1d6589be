#include "matching/gap_filling.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

namespace tiomipra {
namespace {

// Longer gaps may hide something in front of what is at their ends.
constexpr int longestGap = 32;

struct Row {
    float* disparity;
    uchar* measured;
    const uchar* fillable;
};

// The pixels between two measured ones, `before` and `after`.
void fillGap(const Row& row, int before, int after) {
    const float start = row.disparity[before];
    const float slope = (row.disparity[after] - start) / static_cast<float>(after - before);
    for (int x = before + 1; x < after; ++x) {
        if (row.fillable[x] == 0)
            continue;
        row.disparity[x] = start + slope * static_cast<float>(x - before);
        row.measured[x] = 255;
    }
}

// The first column from `start` on where `mask`, of 255 and 0, has `value`; `columns` if none has.
int findColumn(const uchar* mask, int value, int start, int columns) {
    const auto* const found =
        std::memchr(mask + start, value, static_cast<std::size_t>(columns - start));
    return found == nullptr ? columns : static_cast<int>(static_cast<const uchar*>(found) - mask);
}

void fillGapsOfRow(const Row& row, int columns, double largest) {
    int start = findColumn(row.measured, 255, 0, columns);
    while (start < columns) {
        const int before = findColumn(row.measured, 0, start, columns) - 1;
        const int after = findColumn(row.measured, 255, before + 1, columns);
        if (after < columns && after - before - 1 <= longestGap &&
            std::abs(row.disparity[after] - row.disparity[before]) <= largest)
            fillGap(row, before, after);
        start = after;
    }
}

// `row` as far as it is measured; elsewhere the latest value that is, and before all of them the
// first one.
void bridgeHoles(const float* row, const uchar* measured, int columns, float* bridged) {
    int start = findColumn(measured, 255, 0, columns);
    std::fill_n(bridged, start, row[start]);
    while (start < columns) {
        const int hole = findColumn(measured, 0, start, columns);
        const int end = findColumn(measured, 255, hole, columns);
        std::copy(row + start, row + hole, bridged + start);
        std::fill(bridged + hole, bridged + end, row[hole - 1]);
        start = end;
    }
}

// Where nothing was measured, the value of the latest pixel of the row that was, so that a hole
// takes the values beside it; where the whole row has none, those of the row above, or of the first
// one that has some.
cv::Mat withHolesBridged(const cv::Mat& disparity, const cv::Mat& measured) {
    const auto hasNone = [&](int y) { return cv::countNonZero(measured.row(y)) == 0; };
    cv::Mat bridged(disparity.size(), CV_32FC1);
    int source = 0;
    while (source < disparity.rows && hasNone(source))
        ++source;
    if (source == disparity.rows)
        return disparity;
    for (int y = 0; y < disparity.rows; ++y) {
        source = hasNone(y) ? source : y;
        bridgeHoles(disparity.ptr<float>(source), measured.ptr<uchar>(source), disparity.cols,
                    bridged.ptr<float>(y));
    }
    return bridged;
}

// Gives `smooth` the values of `disparity` back where these were not measured. In steps that
// compilers take for several pixels at once, as `cv::Mat::copyTo` with a mask does not.
void keepUnmeasured(const cv::Mat& disparity, const cv::Mat& measured, cv::Mat& smooth) {
    const int columns = disparity.cols;
    for (int y = 0; y < disparity.rows; ++y) {
        const auto* const raw = disparity.ptr<float>(y);
        const auto* const isMeasured = measured.ptr<uchar>(y);
        auto* const row = smooth.ptr<float>(y);
        for (int x = 0; x < columns; ++x)
            row[x] = isMeasured[x] != 0 ? row[x] : raw[x];
    }
}

}  // namespace

void fillGaps(cv::Mat& disparity, cv::Mat& measured, const cv::Mat& fillable, double largest) {
    for (int y = 0; y < disparity.rows; ++y)
        fillGapsOfRow({disparity.ptr<float>(y), measured.ptr<uchar>(y), fillable.ptr<uchar>(y)},
                      disparity.cols, largest);
}

cv::Mat smoothByMedian(const cv::Mat& disparity, const cv::Mat& measured, int size) {
    cv::Mat smooth;
    cv::medianBlur(withHolesBridged(disparity, measured), smooth, size);
    keepUnmeasured(disparity, measured, smooth);
    return smooth;
}

}  // namespace tiomipra
