// Checks of matrices whose elements are read directly as 32-bit floats.
#ifndef VISION_MATRIX_CHECKS_HPP
#define VISION_MATRIX_CHECKS_HPP

#include <opencv2/core.hpp>
#include <string>

namespace vision {

// True when the first `rows` x `columns` elements of `matrix` can be read as floats.
inline bool holdsFloats(const cv::Mat& matrix, int rows, int columns) {
    return matrix.type() == CV_32FC1 && matrix.dims == 2 && matrix.rows >= rows &&
           matrix.cols >= columns;
}

// The complaint about a matrix that fails `holdsFloats`, as in
// "left projectionMatrix is 3x3 CV_64FC1, must be at least 2x4 CV_32FC1".
std::string complaint(const std::string& name, const cv::Mat& matrix, int rows, int columns);

}  // namespace vision

#endif
