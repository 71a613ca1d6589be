// Images of a few colours, each of which stands for something.
#ifndef TIOMIPRA_FILES_INDEXED_PNG_HPP
#define TIOMIPRA_FILES_INDEXED_PNG_HPP

#include <opencv2/core/mat.hpp>
#include <string>
#include <vector>

namespace tiomipra {

struct IndexedImage {
    cv::Mat indices;                 // `CV_8UC1`, of colours
    std::vector<cv::Vec3b> colours;  // at most 256: blue, green, red
};

// The bytes of a PNG with a palette, from which the indices can be read back.
std::string encodeIndexedPng(const IndexedImage& image);

}  // namespace tiomipra

#endif
