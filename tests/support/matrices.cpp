#include "support/matrices.hpp"

#include <cstring>
#include <limits>
#include <opencv2/calib3d.hpp>

void cv::PrintTo(const Mat& matrix, std::ostream* out) {
    *out << matrix.rows << "x" << matrix.cols << " " << typeToString(matrix.type());
}

namespace tiomipra::test {

std::string firstDifference(const cv::Mat& actual, const cv::Mat& expected) {
    if (actual.size() != expected.size() || actual.type() != expected.type())
        return "shape or type differ";
    for (int row = 0; row < actual.rows; ++row) {
        for (int column = 0; column < actual.cols; ++column) {
            if (std::memcmp(actual.ptr(row, column), expected.ptr(row, column),
                            actual.elemSize()) != 0)
                return "at row " + std::to_string(row) + ", column " + std::to_string(column);
        }
    }
    return "";
}

cv::Mat makeNoise(const cv::Size& size, int type, unsigned seed) {
    cv::Mat noise(size, type);
    cv::RNG generator(seed);
    generator.fill(noise, cv::RNG::UNIFORM, cv::Scalar::all(-20), cv::Scalar::all(300), true);
    if (noise.depth() != CV_32F)
        return noise;
    for (const float special :
         {std::numeric_limits<float>::quiet_NaN(), infinity, -infinity, 0.F}) {
        noise.at<float>(generator.uniform(0, size.height), generator.uniform(0, size.width)) =
            special;
    }
    return noise;
}

cv::Mat withRowStep(const cv::Mat& matrix) {
    cv::Mat wider;
    cv::copyMakeBorder(matrix, wider, 1, 1, 3, 2, cv::BORDER_CONSTANT, cv::Scalar::all(77));
    return wider(cv::Rect(3, 1, matrix.cols, matrix.rows));
}

cv::Mat reprojectByOpenCv(const cv::Mat& disparity, const cv::Mat& reprojectionMatrix,
                          float maxDepth, float minDisparity) {
    cv::Mat points;
    cv::reprojectImageTo3D(disparity, points, reprojectionMatrix, false, CV_32F);
    for (auto& point : cv::Mat_<cv::Vec3f>(points)) {
        if (point[2] > maxDepth || point[2] < 0)
            point = {0, 0, 0};
    }
    points.setTo(cv::Scalar::all(0), disparity < static_cast<double>(minDisparity));
    return points;
}

}  // namespace tiomipra::test
