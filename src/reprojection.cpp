#include "reprojection.hpp"

#include <opencv2/calib3d.hpp>

namespace vision {

cv::Mat reproject(const cv::Mat& disparity, const cv::Mat& reprojectionMatrix, float maxDepth,
                  float minDisparity) {
    cv::Mat points(disparity.rows, disparity.cols, CV_32FC3);
    cv::reprojectImageTo3D(disparity, points, reprojectionMatrix, false, CV_32F);
    for (auto& point : cv::Mat_<cv::Vec3f>(points)) {
        if (point[2] > maxDepth || point[2] < 0)
            point = cv::Vec3f(0, 0, 0);
    }
    points.setTo(cv::Scalar::all(0), disparity < static_cast<double>(minDisparity));
    return points;
}

}  // namespace vision
