// Points of an image by the cells of a grid over it.
#ifndef TIOMIPRA_RIGS_IMAGE_CELLS_HPP
#define TIOMIPRA_RIGS_IMAGE_CELLS_HPP

#include <cstddef>
#include <opencv2/core.hpp>
#include <vector>

namespace tiomipra {

// The cells are equally large and numbered row by row.
struct ImageCells {
    cv::Size imageSize;  // pixels
    cv::Size grid;       // columns and rows

    // The cell that holds `point`; of one beyond the image, the nearest. Pixel (0, 0) is the centre
    // of the top left pixel, so that the image starts at -0.5.
    int indexOf(const cv::Point2f& point) const;
};

// CV_32SC1 of the grid's size: points per cell.
cv::Mat countPerCell(const std::vector<cv::Point2f>& points, const ImageCells& cells);

// CV_32FC1 of the grid's size: the median of the `values` whose `places` are in the cell, NaN where
// there are fewer than `fewest`.
cv::Mat medianPerCell(const std::vector<cv::Point2f>& places, const std::vector<double>& values,
                      const ImageCells& cells, std::size_t fewest);

// Of the `values` (CV_32FC1) that are numbers; 0 without any.
double largestMagnitude(const cv::Mat& values);

}  // namespace tiomipra

#endif
