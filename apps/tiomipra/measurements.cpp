#include "measurements.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <opencv2/imgproc.hpp>

namespace tiomipra {
namespace {

std::vector<float> collect(const cv::Mat& values, const cv::Mat& measured) {
    std::vector<float> collected;
    collected.reserve(static_cast<std::size_t>(cv::countNonZero(measured)));
    for (int y = 0; y < values.rows; ++y) {
        const auto* value = values.ptr<float>(y);
        const auto* isMeasured = measured.ptr<uchar>(y);
        for (int x = 0; x < values.cols; ++x)
            if (isMeasured[x] != 0)
                collected.push_back(value[x]);
    }
    return collected;
}

// The value that `percent` of the sorted values do not exceed.
double percentile(const std::vector<float>& sorted, int percent) {
    return sorted[(sorted.size() - 1) * static_cast<std::size_t>(percent) / 100];
}

}  // namespace

cv::Mat findMatched(const cv::Mat& disparity, int minDisparity) {
    return (disparity >= minDisparity) & (disparity <= std::numeric_limits<float>::max());
}

cv::Mat findTextured(const cv::Mat& image, int windowSize, int preFilterCap, int textureThreshold) {
    cv::Mat gradient;
    cv::Sobel(image, gradient, CV_16S, 1, 0);
    const cv::Mat bounded = cv::min(cv::abs(gradient), preFilterCap);
    cv::Mat texture;
    cv::boxFilter(bounded, texture, CV_32S, {windowSize, windowSize}, {-1, -1}, false);
    return texture >= textureThreshold;
}

cv::Mat findPoints(const cv::Mat& points) {
    cv::Mat found(points.size(), CV_8UC1);
    for (int y = 0; y < points.rows; ++y)
        std::transform(points.ptr<cv::Vec3f>(y), points.ptr<cv::Vec3f>(y) + points.cols,
                       found.ptr<uchar>(y), [](const cv::Vec3f& point) {
                           const bool isFinite = std::isfinite(point[0]) &&
                                                 std::isfinite(point[1]) && std::isfinite(point[2]);
                           return isFinite && point != cv::Vec3f() ? 255 : 0;
                       });
    return found;
}

Statistics summarise(const cv::Mat& values, const cv::Mat& measured) {
    std::vector<float> sorted = collect(values, measured);
    if (sorted.empty())
        return {};
    std::sort(sorted.begin(), sorted.end());
    const auto at = [&](int percent) { return percentile(sorted, percent); };
    return {sorted.size(), at(0), at(1), at(5), at(50), at(95), at(99), at(100)};
}

}  // namespace tiomipra
