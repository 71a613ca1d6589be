#include "matching/subpixel_refit.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <numeric>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <vector>

namespace tiomipra {
namespace {

// Side of the square of which differences are summed up; 9 to 13 did about as well.
constexpr int windowSize = 11;
constexpr int radius = windowSize / 2;

// Of gradients (Sobel), so that a few strong edges do not outweigh the rest.
constexpr int gradientBound = 31;

// Columns are summed up so many at a time, which compilers do at once.
constexpr int chunk = 16;

// How far beyond the image windows and chunks reach, at a disparity one beside the nearest.
constexpr int margin = radius + 1 + chunk;

// Bounded gradients from 0 on, with a margin, `CV_8UC1`.
cv::Mat boundedGradient(const cv::Mat& image) {
    cv::Mat gradient, bytes, wide;
    cv::Sobel(image, gradient, CV_16S, 1, 0);
    cv::Mat(cv::max(cv::min(gradient, gradientBound), -gradientBound) + gradientBound)
        .convertTo(bytes, CV_8U);
    cv::copyMakeBorder(bytes, wide, margin, margin, margin, margin, cv::BORDER_REPLICATE);
    return wide;
}

// The window around a pixel, of an image with a margin.
const uchar* windowAround(const cv::Mat& image, int y, int x) {
    return image.ptr<uchar>(y + margin - radius, x + margin - radius);
}

// The sums of absolute differences of columns as high as a window, for `count` columns and what is
// left of the last chunk.
void sumColumns(const uchar* left, const uchar* right, std::size_t step, int count,
                std::uint16_t* sums) {
    for (int first = 0; first < count; first += chunk) {
        std::array<std::uint16_t, chunk> chunkSums{};
        for (std::size_t row = 0; row < windowSize; ++row) {
            for (std::size_t i = 0; i < chunk; ++i) {
                const std::size_t at = row * step + static_cast<std::size_t>(first) + i;
                chunkSums[i] += static_cast<std::uint16_t>(std::abs(left[at] - right[at]));
            }
        }
        std::copy(chunkSums.begin(), chunkSums.end(), sums + first);
    }
}

// How far the minimum is from the middle one of three neighbouring sums, -0.5 to 0.5.
double equiangularOffset(int before, int middle, int after) {
    const int slope = std::max(before, after) - middle;
    return slope > 0 ? (before - after) / (2. * slope) : 0;
}

// From sums of columns to those of `count` windows, the first of which begins with the first
// column.
void sumWindows(std::vector<std::uint16_t>& sums, std::size_t count) {
    int sum = std::accumulate(sums.begin(), sums.begin() + windowSize, 0);
    for (std::size_t i = 0; i < count; ++i) {
        const int next = sum + sums[i + windowSize] - sums[i];
        sums[i] = static_cast<std::uint16_t>(sum);
        sum = next;
    }
}

// Pixels of a row that lie side by side.
struct Run {
    int y;
    int begin, end;
    int whole;  // the nearest whole disparity of all of them
};

// Windows of neighbours that have the same whole disparity share the sums of their columns.
class RunRefit {
  public:
    RunRefit(const cv::Mat& left, const cv::Mat& right)
        : _left(boundedGradient(left)), _right(boundedGradient(right)) {
        for (auto& sums : _sums)
            sums.resize(static_cast<std::size_t>(_left.cols + chunk));
    }

    // `row` holds the disparities of the row in which the run is.
    void refit(const Run& run, float* row) {
        for (int k = 0; k < 3; ++k)
            sumDifferences(run, run.whole + k - 1, _sums[static_cast<std::size_t>(k)]);
        for (int x = run.begin; x < run.end; ++x) {
            const auto i = static_cast<std::size_t>(x - run.begin);
            const int before = _sums[0][i], middle = _sums[1][i], after = _sums[2][i];
            if (middle <= before && middle <= after)
                row[x] = static_cast<float>(run.whole + equiangularOffset(before, middle, after));
        }
    }

  private:
    void sumDifferences(const Run& run, int disparity, std::vector<std::uint16_t>& sums) const {
        const int count = run.end - run.begin;
        sumColumns(windowAround(_left, run.y, run.begin),
                   windowAround(_right, run.y, run.begin - disparity), _left.step,
                   count + windowSize - 1, sums.data());
        sumWindows(sums, static_cast<std::size_t>(count));
    }

    const cv::Mat _left, _right;  // gradients
    std::array<std::vector<std::uint16_t>, 3> _sums;
};

constexpr int noDisparity = std::numeric_limits<int>::max();

// The nearest whole disparities of a row, where they are measured and lead to the right image.
void roundRow(const float* disparity, const uchar* measured, std::vector<int>& wholes) {
    const int columns = static_cast<int>(wholes.size());
    for (int x = 0; x < columns; ++x) {
        const int whole = measured[x] != 0 ? cvRound(disparity[x]) : noDisparity;
        const bool isWithin = whole <= x && x - whole < columns;
        wholes[static_cast<std::size_t>(x)] = isWithin ? whole : noDisparity;
    }
}

}  // namespace

cv::Mat refitSubpixels(const cv::Mat& disparity, const cv::Mat& measured, const cv::Mat& left,
                       const cv::Mat& right) {
    RunRefit runRefit(left, right);
    cv::Mat refitted = disparity.clone();
    std::vector<int> wholes(static_cast<std::size_t>(disparity.cols));
    for (int y = 0; y < disparity.rows; ++y) {
        roundRow(disparity.ptr<float>(y), measured.ptr<uchar>(y), wholes);
        for (auto begin = wholes.begin(); begin != wholes.end();) {
            const auto end =
                std::find_if(begin, wholes.end(), [&](int whole) { return whole != *begin; });
            if (*begin != noDisparity)
                runRefit.refit({y, static_cast<int>(begin - wholes.begin()),
                                static_cast<int>(end - wholes.begin()), *begin},
                               refitted.ptr<float>(y));
            begin = end;
        }
    }
    return refitted;
}

}  // namespace tiomipra
