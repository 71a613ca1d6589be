#include "matrix_checks.hpp"

namespace vision {
namespace {

// As in "3x4 CV_64FC1".
std::string describe(const cv::Mat& matrix) {
    std::string shape = matrix.dims <= 2
                            ? std::to_string(matrix.rows) + "x" + std::to_string(matrix.cols)
                            : std::to_string(matrix.dims) + "-dimensional";
    return shape + " " + cv::typeToString(matrix.type());
}

}  // namespace

std::string complaint(const std::string& name, const cv::Mat& matrix, int rows, int columns) {
    return name + " is " + describe(matrix) + ", must be at least " + std::to_string(rows) + "x" +
           std::to_string(columns) + " CV_32FC1";
}

}  // namespace vision
