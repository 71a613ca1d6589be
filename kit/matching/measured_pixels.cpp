#include "matching/measured_pixels.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <opencv2/imgproc.hpp>
#include <vector>

namespace tiomipra {
namespace {

std::vector<float> collect(const cv::Mat& values, const cv::Mat& measured) {
    std::vector<float> collected;
    collected.reserve(static_cast<std::size_t>(cv::countNonZero(measured)));
    for (int y = 0; y < values.rows; ++y) {
        const auto* value = values.ptr<float>(y);
        const auto* isMeasured = measured.ptr<uchar>(y);
        for (int x = 0; x < values.cols; ++x) {
            if (isMeasured[x] != 0)
                collected.push_back(value[x]);
        }
    }
    return collected;
}

bool isPoint(const cv::Vec3f& point) {
    const bool isFinite =
        std::isfinite(point[0]) && std::isfinite(point[1]) && std::isfinite(point[2]);
    return isFinite && point != cv::Vec3f();
}

}  // namespace

cv::Mat findMatched(const cv::Mat& disparity, int minDisparity) {
    return (disparity >= minDisparity) & (disparity <= std::numeric_limits<float>::max());
}

cv::Mat findTextured(const cv::Mat& image, int windowSize, int preFilterCap, int textureThreshold) {
    cv::Mat gradient, bounded;
    cv::Sobel(image, gradient, CV_16S, 1, 0);
    cv::convertScaleAbs(gradient, bounded);  // up to 255, more than any cap
    cv::min(bounded, preFilterCap, bounded);
    cv::Mat texture;
    cv::boxFilter(bounded, texture, CV_32S, {windowSize, windowSize}, {-1, -1}, false);
    return texture >= textureThreshold;
}

cv::Mat findPoints(const cv::Mat& points) {
    cv::Mat found(points.size(), CV_8UC1);
    for (int y = 0; y < points.rows; ++y) {
        const auto* row = points.ptr<cv::Vec3f>(y);
        std::transform(row, row + points.cols, found.ptr<uchar>(y),
                       [](const cv::Vec3f& point) { return isPoint(point) ? 255 : 0; });
    }
    return found;
}

Statistics summarise(const cv::Mat& values, const cv::Mat& measured) {
    return summarise(collect(values, measured));
}

}  // namespace tiomipra
