// Arrays in NumPy's format.
#ifndef TIOMIPRA_FILES_NPY_FILES_HPP
#define TIOMIPRA_FILES_NPY_FILES_HPP

#include <opencv2/core/mat.hpp>
#include <string>

namespace tiomipra {

// The bytes of a ".npy" file, version 1.0: little-endian floats, row by row, with the shape
// (rows, columns) of `values` (`CV_32FC1`).
std::string encodeNpy(const cv::Mat& values);

}  // namespace tiomipra

#endif
