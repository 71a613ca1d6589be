#include "rigs/row_differences.hpp"

#include <opencv2/calib3d.hpp>

namespace tiomipra {

std::vector<cv::Point2d> rectifyPoints(const std::vector<cv::Point2f>& points,
                                       const vision::Calibration& calibration) {
    if (points.empty())
        return {};
    const std::vector<cv::Point2d> precise(points.begin(), points.end());
    std::vector<cv::Point2d> rectified;
    // The default of 5 rounds leaves half a pixel at the edges of a wide lens.
    const cv::TermCriteria untilStill(cv::TermCriteria::COUNT + cv::TermCriteria::EPS, 100, 1e-6);
    cv::undistortPoints(precise, rectified, calibration.cameraMatrix, calibration.distortion,
                        calibration.rectificationMatrix, calibration.projectionMatrix, untilStill);
    return rectified;
}

std::vector<double> rowDifferences(const std::vector<cv::Point2d>& left,
                                   const std::vector<cv::Point2d>& right) {
    std::vector<double> differences;
    for (std::size_t i = 0; i < left.size(); ++i)
        differences.push_back(left[i].y - right[i].y);
    return differences;
}

}  // namespace tiomipra
