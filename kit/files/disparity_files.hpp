// Disparity and depth images as files, with what was not measured marked in the way of each format.
#ifndef TIOMIPRA_FILES_DISPARITY_FILES_HPP
#define TIOMIPRA_FILES_DISPARITY_FILES_HPP

#include <opencv2/core.hpp>
#include <optional>
#include <string>

#include "files/image_files.hpp"

namespace tiomipra {

// `values` (`CV_32FC1`) with `mark` (NaN or infinity, say) where `measured` is 0.
cv::Mat markUnmeasured(const cv::Mat& values, const cv::Mat& measured, float mark);

// The bytes of a file with `values` (`CV_32FC1`) as 32-bit floats; the extension of its `name`
// chooses the format and with it what stands where `measured` is 0: NaN in ".tiff" and ".npy",
// infinity in ".pfm".
std::string encodeFloats(const std::string& name, const cv::Mat& values, const cv::Mat& measured);

// A 16-bit image and the measured values that it can't hold.
struct FixedPointImage {
    cv::Mat pixels;      // `CV_16UC1`: value by step, rounded; 0 where there is none
    int outOfRange = 0;  // measured, but not within 1..65535 after rounding, so 0 in `pixels`
};

// `values` (`CV_32FC1`) in multiples of `step` where `measured` is not 0.
FixedPointImage toFixedPoint(const cv::Mat& values, const cv::Mat& measured, double step);

// Reads a disparity image, in pixels, as `CV_32FC1`: floating-point TIFF and PFM as they are, whole
// numbers divided by `scale`, with NaN for 0, which stands for unknown. Without a `scale` that is
// 256 for 16 bits; for 8 bits there is no convention, so that it must be given. Throws `InputError`
// that names the file when it is not, or when that is no such image; all else as `readImage`.
cv::Mat readDisparity(const std::string& path, std::optional<double> scale = {},
                      const ImageLimits& limits = {}, const Notify& notify = ignoreNotice);

}  // namespace tiomipra

#endif
