#include "matching/subpixel_refit.hpp"

#include <algorithm>
#include <array>
#include <opencv2/core.hpp>
#include <opencv2/core/hal/intrin.hpp>
#include <opencv2/imgproc.hpp>

namespace tiomipra {
namespace {

// Side of the square of which differences are summed up; 9 to 13 did about as well.
constexpr int windowSize = 11;
constexpr int radius = windowSize / 2;

// Of gradients (Sobel), so that a few strong edges do not outweigh the rest.
constexpr int gradientBound = 31;

// A row of a window is read as one vector, of which the rest does not count.
constexpr int vectorSize = 16;
constexpr std::array<uchar, vectorSize> inWindow{255, 255, 255, 255, 255, 255, 255, 255,
                                                 255, 255, 255, 0,   0,   0,   0,   0};

// How far beyond the image windows and vectors reach, at a disparity one beside the nearest.
constexpr int margin = vectorSize;

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

// The sum of absolute differences of two windows.
int sumDifferences(const uchar* left, std::size_t leftStep, const uchar* right,
                   std::size_t rightStep) {
    const cv::v_uint8x16 counted = cv::v_load(inWindow.data());
    unsigned sum = 0;
    for (int row = 0; row < windowSize; ++row)
        sum += cv::v_reduce_sad(cv::v_load(left + row * leftStep) & counted,
                                cv::v_load(right + row * rightStep) & counted);
    return static_cast<int>(sum);
}

// How far the minimum is from the middle one of three neighbouring sums, -0.5 to 0.5.
double equiangularOffset(int before, int middle, int after) {
    const int slope = std::max(before, after) - middle;
    return slope > 0 ? (before - after) / (2. * slope) : 0;
}

// The pair as it is compared, both with a margin.
struct Gradients {
    cv::Mat left;
    cv::Mat right;
};

float refit(const Gradients& gradients, int y, int x, float disparity) {
    const int columns = gradients.left.cols - 2 * margin;
    const int whole = cvRound(disparity);
    const uchar* const left = windowAround(gradients.left, y, x);
    const auto sumAt = [&](int d) {
        const int match = std::clamp(x - d, -1, columns);
        return sumDifferences(left, gradients.left.step, windowAround(gradients.right, y, match),
                              gradients.right.step);
    };
    const int before = sumAt(whole - 1), middle = sumAt(whole), after = sumAt(whole + 1);
    if (middle > before || middle > after)
        return disparity;
    return static_cast<float>(whole + equiangularOffset(before, middle, after));
}

}  // namespace

cv::Mat refitSubpixels(const cv::Mat& disparity, const cv::Mat& measured, const cv::Mat& left,
                       const cv::Mat& right) {
    const Gradients gradients{boundedGradient(left), boundedGradient(right)};
    cv::Mat refitted = disparity.clone();
    for (int y = 0; y < disparity.rows; ++y) {
        auto* const row = refitted.ptr<float>(y);
        const auto* const isMeasured = measured.ptr<uchar>(y);
        for (int x = 0; x < disparity.cols; ++x) {
            if (isMeasured[x] != 0)
                row[x] = refit(gradients, y, x, row[x]);
        }
    }
    return refitted;
}

}  // namespace tiomipra
