#include "rigs/disparity_model.hpp"

#include <opencv2/core.hpp>

namespace tiomipra {

double DisparityModel::disparityAt(double depth) const {
    return atInfinity + timesDepth / depth;
}

double DisparityModel::depthAt(double disparity) const {
    return timesDepth / (disparity - atInfinity);
}

double DisparityModel::depthStepAt(double depth, double step) const {
    return depth - depthAt(disparityAt(depth) + step);
}

DisparityModel disparityModel(const vision::Calibration& left, const vision::Calibration& right) {
    const cv::Mat& ofLeft = left.projectionMatrix;
    const cv::Mat& ofRight = right.projectionMatrix;
    return {double{ofLeft.at<float>(0, 2)} - ofRight.at<float>(0, 2),
            double{ofLeft.at<float>(0, 3)} - ofRight.at<float>(0, 3)};
}

}  // namespace tiomipra
