#include "matching/gap_filling.hpp"

#include <algorithm>
#include <cmath>
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

void fillGapsOfRow(const Row& row, int columns, double largest) {
    int before = columns;  // the latest measured pixel; none yet
    for (int x = 0; x < columns; ++x) {
        if (row.measured[x] == 0)
            continue;
        const bool isGap = before + 1 < x && x - before - 1 <= longestGap;
        if (isGap && std::abs(row.disparity[x] - row.disparity[before]) <= largest)
            fillGap(row, before, x);
        before = x;
    }
}

// Where nothing was measured, the value of the latest pixel of the row that was, so that a hole
// takes the values beside it.
cv::Mat withHolesBridged(const cv::Mat& disparity, const cv::Mat& measured) {
    cv::Mat bridged = disparity.clone();
    for (int y = 0; y < disparity.rows; ++y) {
        auto* const row = bridged.ptr<float>(y);
        const auto* const isMeasured = measured.ptr<uchar>(y);
        const auto* const first = std::find_if(isMeasured, isMeasured + disparity.cols,
                                               [](uchar value) { return value != 0; });
        if (first == isMeasured + disparity.cols)
            continue;
        float latest = row[first - isMeasured];
        for (int x = 0; x < disparity.cols; ++x)
            latest = row[x] = isMeasured[x] != 0 ? row[x] : latest;
    }
    return bridged;
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
    cv::Mat result = disparity.clone();
    smooth.copyTo(result, measured);
    return result;
}

}  // namespace tiomipra
