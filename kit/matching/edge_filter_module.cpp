#include "matching/edge_filter_module.hpp"

#include <opencv2/ximgproc/disparity_filter.hpp>

#include "files/modules.hpp"

namespace tiomipra {
namespace {

// On scenes with ground truth, smoothness of 20 to 200 and edges of 0.7 to 1.5 did about as well.
constexpr double smoothness = 50;
constexpr double edgeSensitivity = 1;
constexpr int largestDifference = 24;  // between left and right, sixteenths of a pixel
constexpr int radiusOfJumps = 1;       // pixels

void filterAlongEdges(const cv::Mat& left, const cv::Mat& right, const cv::Mat& image,
                      cv::Mat& disparity, cv::Mat& confidence) {
    const auto filter = cv::ximgproc::createDisparityWLSFilterGeneric(true);
    filter->setLambda(smoothness);
    filter->setSigmaColor(edgeSensitivity);
    filter->setLRCthresh(largestDifference);
    filter->setDepthDiscontinuityRadius(radiusOfJumps);
    filter->filter(left, image, disparity, right, cv::Rect({}, left.size()));
    filter->getConfidenceMap().convertTo(confidence, CV_8U);
}

}  // namespace
}  // namespace tiomipra

TIOMIPRA_MODULE_EXPORT void tiomipraFilterAlongEdges(const cv::Mat& left, const cv::Mat& right,
                                                     const cv::Mat& image, cv::Mat& disparity,
                                                     cv::Mat& confidence) {
    tiomipra::filterAlongEdges(left, right, image, disparity, confidence);
}
