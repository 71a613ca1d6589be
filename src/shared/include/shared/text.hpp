// Pieces of texts: their beginnings and ends, and sizes and matrices as messages name them.
#ifndef VISION_SHARED_TEXT_HPP
#define VISION_SHARED_TEXT_HPP

#include <opencv2/core.hpp>
#include <string>
#include <string_view>

namespace vision {

inline bool startsWith(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

inline bool endsWith(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

// "640x480".
inline std::string describe(const cv::Size& size) {
    return std::to_string(size.width) + "x" + std::to_string(size.height);
}

// Shape and type: "3x4 CV_64FC1", "0x0 CV_8UC1", "3-dimensional CV_8UC1".
inline std::string describeShape(const cv::Mat& matrix) {
    const std::string shape = matrix.dims <= 2
                                  ? std::to_string(matrix.rows) + "x" + std::to_string(matrix.cols)
                                  : std::to_string(matrix.dims) + "-dimensional";
    return shape + " " + cv::typeToString(matrix.type());
}

// Shape and type, or "empty" for one without elements.
inline std::string describe(const cv::Mat& matrix) {
    return matrix.empty() ? "empty" : describeShape(matrix);
}

}  // namespace vision

#endif
