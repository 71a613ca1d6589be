#include "row_differences.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <opencv2/calib3d.hpp>

namespace tiomipra {

double quantile(std::vector<double> values, double share) {
    if (values.empty()) {
        return 0;
    }
    const auto rank = std::min(values.size() - 1, std::size_t(share * double(values.size())));
    std::nth_element(values.begin(), values.begin() + std::ptrdiff_t(rank), values.end());
    return values[rank];
}

Spread spreadOf(std::vector<double> differences) {
    if (differences.empty()) {
        return {};
    }
    for (double& difference : differences) {
        difference = std::abs(difference);
    }
    Spread spread;
    spread.mean =
        std::accumulate(differences.begin(), differences.end(), 0.) / double(differences.size());
    spread.median = quantile(differences, 0.5);
    spread.p95 = quantile(differences, 0.95);
    spread.maximum = *std::max_element(differences.begin(), differences.end());
    return spread;
}

std::vector<cv::Point2d> rectifyPoints(const std::vector<cv::Point2f>& points,
                                       const vision::Calibration& calibration) {
    if (points.empty()) {
        return {};
    }
    const std::vector<cv::Point2d> precise(points.begin(), points.end());
    std::vector<cv::Point2d> rectified;
    cv::undistortPoints(precise, rectified, calibration.cameraMatrix, calibration.distortion,
                        calibration.rectificationMatrix, calibration.projectionMatrix);
    return rectified;
}

}  // namespace tiomipra
