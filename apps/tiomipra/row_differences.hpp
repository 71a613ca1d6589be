// How well a calibration puts matching points of a pair on the same row.
#ifndef TIOMIPRA_ROW_DIFFERENCES_HPP
#define TIOMIPRA_ROW_DIFFERENCES_HPP

#include <opencv2/core.hpp>
#include <vector>
#include <vision/calibration.hpp>

namespace tiomipra {

// The value that the share `share` (0 to 1) of `values` does not exceed; 0 without values.
double quantile(std::vector<double> values, double share);

// Sizes of differences, signs ignored.
struct Spread {
    double mean = 0;
    double median = 0;
    double p95 = 0;
    double maximum = 0;
};
Spread spreadOf(std::vector<double> differences);

// Where points of a raw image lie in the rectified one, pixels.
std::vector<cv::Point2d> rectifyPoints(const std::vector<cv::Point2f>& points,
                                       const vision::Calibration& calibration);

}  // namespace tiomipra

#endif
