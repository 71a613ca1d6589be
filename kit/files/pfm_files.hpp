// Portable float maps. OpenCV reads and writes them by way of a file in the folder for temporary
// files that everybody may read.
#ifndef TIOMIPRA_FILES_PFM_FILES_HPP
#define TIOMIPRA_FILES_PFM_FILES_HPP

#include <opencv2/core/mat.hpp>
#include <string>
#include <string_view>

namespace tiomipra {

// Width and height as the header says; 0x0 where it is none.
cv::Size2l sizeOfPfm(std::string_view file);

// `CV_32FC1` ("Pf") or `CV_32FC3`, BGR ("PF"), the values as they are: of the scale only the sign
// counts, negative for little-endian. Empty when the header is none, or bytes are missing behind
// it.
cv::Mat decodePfm(std::string_view file);

// The file for `values` (`CV_32FC1`).
std::string encodePfm(const cv::Mat& values);

}  // namespace tiomipra

#endif
