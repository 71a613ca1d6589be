#include "matching/edge_filter.hpp"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "files/modules.hpp"
#include "matching/edge_filter_module.hpp"
#include "matching/left_right_check.hpp"

namespace tiomipra {
namespace {

EdgeSmoother* edgeSmoother() {
    static const auto smoother =
        reinterpret_cast<EdgeSmoother*>(findInModule("filters", "tiomipraSmoothAlongEdges"));
    return smoother;
}

// How even `disparity` is around each pixel, from 1 down to 0 beside a jump of some pixels.
cv::Mat findEvenness(const cv::Mat& disparity) {
    constexpr double lossByVariance = 0.256;
    const cv::Size neighbours(3, 3);
    cv::Mat mean, meanSquare;
    cv::blur(disparity, mean, neighbours);
    cv::sqrBoxFilter(disparity, meanSquare, CV_32F, neighbours);
    return cv::max(1 - lossByVariance * (meanSquare - mean.mul(mean)), 0);
}

}  // namespace

void loadEdgeFilter() {
    edgeSmoother();
}

FilteredDisparity filterAlongEdges(const cv::Mat& left, const cv::Mat& right, double smallest,
                                   const cv::Mat& image) {
    constexpr double largestDifference = 1.5;
    constexpr double leastWeight = 1e-30;  // far above where floats lose digits
    cv::Mat confidence = findEvenness(left);
    confidence.setTo(0, ~findAgreeing(left, right, smallest, largestDifference));
    FilteredDisparity filtered;
    confidence.convertTo(filtered.confidence, CV_8U, 255);
    std::vector<cv::Mat> values{left.mul(confidence), confidence};
    edgeSmoother()(image, values);
    // In sixteenths of a pixel, as the matchers give them.
    constexpr double steps = 16;
    cv::Mat fixed;
    cv::Mat(values[0] / cv::max(values[1], leastWeight)).convertTo(fixed, CV_16S, steps);
    fixed.convertTo(filtered.disparity, CV_32F, 1 / steps);
    filtered.disparity.setTo(smallest - 1, values[1] < leastWeight);
    return filtered;
}

}  // namespace tiomipra
