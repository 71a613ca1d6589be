#include "rigs/image_cells.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/statistics.hpp"

namespace tiomipra {
namespace {

int cellAlong(float position, int extent, int cells) {
    return std::clamp(cvFloor((position + 0.5) * cells / extent), 0, cells - 1);
}

}  // namespace

int ImageCells::indexOf(const cv::Point2f& point) const {
    const int column = cellAlong(point.x, imageSize.width, grid.width);
    const int row = cellAlong(point.y, imageSize.height, grid.height);
    return row * grid.width + column;
}

cv::Mat countPerCell(const std::vector<cv::Point2f>& points, const ImageCells& cells) {
    cv::Mat_<int> counts = cv::Mat_<int>::zeros(cells.grid);
    for (const cv::Point2f& point : points)
        ++counts.begin()[cells.indexOf(point)];
    return counts;
}

cv::Mat medianPerCell(const std::vector<cv::Point2f>& places, const std::vector<double>& values,
                      const ImageCells& cells, std::size_t fewest) {
    std::vector<std::vector<double>> valuesPerCell(cells.grid.area());
    for (std::size_t i = 0; i < places.size(); ++i)
        valuesPerCell[cells.indexOf(places[i])].push_back(values[i]);
    cv::Mat_<float> medians(cells.grid);
    std::transform(valuesPerCell.begin(), valuesPerCell.end(), medians.begin(),
                   [fewest](const std::vector<double>& inCell) {
                       return inCell.size() >= fewest ? static_cast<float>(quantile(inCell, 0.5))
                                                      : std::numeric_limits<float>::quiet_NaN();
                   });
    return medians;
}

double largestMagnitude(const cv::Mat& values) {
    float largest = 0;
    for (const float value : cv::Mat_<float>(values)) {
        if (!std::isnan(value))
            largest = std::max(largest, std::abs(value));
    }
    return largest;
}

}  // namespace tiomipra
