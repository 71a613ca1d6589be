#include "matching/edge_filter.hpp"

#include <opencv2/core.hpp>

#include "files/modules.hpp"
#include "matching/edge_filter_module.hpp"

namespace tiomipra {
namespace {

// 16-bit fixed point as OpenCV's matchers give it; `none` where there is no disparity.
cv::Mat toFixedPoint(const cv::Mat& disparity, double factor, double smallest, int none) {
    cv::Mat fixed;
    disparity.convertTo(fixed, CV_16S, factor);
    fixed.setTo(none, disparity < smallest);
    return fixed;
}

EdgeFilter* edgeFilter() {
    static const auto filter =
        reinterpret_cast<EdgeFilter*>(findInModule("filters", "tiomipraFilterAlongEdges"));
    return filter;
}

}  // namespace

void loadEdgeFilter() {
    edgeFilter();
}

FilteredDisparity filterAlongEdges(const cv::Mat& left, const cv::Mat& right, double smallest,
                                   const cv::Mat& image) {
    // Of two pixels without disparities, one must not take the other for its match, nor one that
    // has the smallest disparity.
    constexpr int steps = 16, farOff = 32000;
    const int none = static_cast<int>((smallest - 3) * steps);
    FilteredDisparity filtered;
    cv::Mat disparity;
    edgeFilter()(toFixedPoint(left, steps, smallest, none),
                 toFixedPoint(right, -steps, smallest, farOff), image, disparity,
                 filtered.confidence);
    disparity.convertTo(filtered.disparity, CV_32F, 1. / steps);
    return filtered;
}

}  // namespace tiomipra
