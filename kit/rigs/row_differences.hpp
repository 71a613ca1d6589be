// How well a calibration puts matching points of a pair on the same row.
#ifndef TIOMIPRA_RIGS_ROW_DIFFERENCES_HPP
#define TIOMIPRA_RIGS_ROW_DIFFERENCES_HPP

#include <opencv2/core/types.hpp>
#include <vector>
#include <vision/calibration.hpp>

namespace tiomipra {

// Where points of a raw image lie in the rectified one, pixels. In double precision also for a
// calibration in 32-bit floats.
std::vector<cv::Point2d> rectifyPoints(const std::vector<cv::Point2f>& points,
                                       const vision::Calibration& calibration);

// Of matching points of a rectified pair: row on the left minus row on the right, pixels.
std::vector<double> rowDifferences(const std::vector<cv::Point2d>& left,
                                   const std::vector<cv::Point2d>& right);

}  // namespace tiomipra

#endif
