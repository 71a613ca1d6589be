// Matrices in assertions: what differs is said by shape, type and place.
#ifndef TIOMIPRA_TESTS_MATRICES_HPP
#define TIOMIPRA_TESTS_MATRICES_HPP

#include <gmock/gmock.h>

#include <limits>
#include <opencv2/core.hpp>
#include <ostream>
#include <string>

namespace cv {
// Found by GoogleTest: shape and type instead of all elements.
void PrintTo(const Mat& matrix, std::ostream* out);
}  // namespace cv

namespace tiomipra::test {

constexpr float infinity = std::numeric_limits<float>::infinity();

// How or where `actual` differs from `expected`, bit for bit; empty when it does not.
std::string firstDifference(const cv::Mat& actual, const cv::Mat& expected);

// The matrix has the shape, the type and the bits of `expected`; a NaN equals itself.
MATCHER_P(IsSameMatrix, expected,
          std::string(negation ? "differs from " : "equals ") + testing::PrintToString(expected)) {
    const std::string difference = firstDifference(arg, expected);
    *result_listener << difference;
    return difference.empty();
}

// Random elements of any type, the same for the same seed; floats include NaN, infinities and
// zeros.
cv::Mat makeNoise(const cv::Size& size, int type, unsigned seed);

// The same matrix with unused elements between its rows.
cv::Mat withRowStep(const cv::Mat& matrix);

// The points that OpenCV gives for `disparity`, (0, 0, 0) for those beyond the limits.
cv::Mat reprojectByOpenCv(const cv::Mat& disparity, const cv::Mat& reprojectionMatrix,
                          float maxDepth, float minDisparity);

}  // namespace tiomipra::test

#endif
