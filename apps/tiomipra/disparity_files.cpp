#include "disparity_files.hpp"

#include <cstdint>
#include <limits>

namespace tiomipra {

cv::Mat markUnmeasured(const cv::Mat& values, const cv::Mat& measured, float mark) {
    cv::Mat marked(values.size(), CV_32FC1, cv::Scalar(mark));
    values.copyTo(marked, measured);
    return marked;
}

FixedPointImage toFixedPoint(const cv::Mat& values, const cv::Mat& measured, double factor) {
    constexpr int largest = std::numeric_limits<std::uint16_t>::max();
    cv::Mat scaled;
    values.convertTo(scaled, CV_32S, factor);
    const cv::Mat fits = measured & (scaled >= 1) & (scaled <= largest);
    FixedPointImage image{cv::Mat::zeros(values.size(), CV_16UC1), 0};
    scaled.setTo(0, ~fits);
    scaled.convertTo(image.pixels, CV_16U);
    image.outOfRange = cv::countNonZero(measured) - cv::countNonZero(fits);
    return image;
}

}  // namespace tiomipra
