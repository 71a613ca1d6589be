#include "matrix_checks.hpp"

#include "shared/text.hpp"

namespace vision {

std::string complaint(const std::string& name, const cv::Mat& matrix, int rows, int columns) {
    return name + " is " + describeShape(matrix) + ", must be at least " + std::to_string(rows) +
           "x" + std::to_string(columns) + " CV_32FC1";
}

}  // namespace vision
