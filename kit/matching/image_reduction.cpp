#include "matching/image_reduction.hpp"

#include <cstdlib>
#include <opencv2/imgproc.hpp>

namespace tiomipra {
namespace {

// A triangle as wide as two reduced pixels, whose sum is 1.
cv::Mat triangle(int scale) {
    cv::Mat weights(1, 2 * scale - 1, CV_32FC1);
    for (int i = 0; i < weights.cols; ++i)
        weights.at<float>(i) =
            static_cast<float>(scale - std::abs(i - scale + 1)) / static_cast<float>(scale * scale);
    return weights;
}

}  // namespace

cv::Size divisibleSize(const cv::Size& size, int scale) {
    return size / scale * scale;
}

cv::Mat reduce(const cv::Mat& image, int scale) {
    if (scale == 1)
        return image;
    const cv::Mat weights = triangle(scale);
    const cv::Rect whole({}, divisibleSize(image.size(), scale));
    cv::Mat smooth;
    cv::sepFilter2D(image(whole), smooth, -1, weights, weights);
    cv::Mat reduced;
    cv::resize(smooth, reduced, whole.size() / scale, 0, 0, cv::INTER_NEAREST);
    return reduced;
}

}  // namespace tiomipra
