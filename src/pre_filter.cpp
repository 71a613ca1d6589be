#include "pre_filter.hpp"

#include <algorithm>
#include <cstdint>

namespace vision {

// In 16 bits, so that compilers make vectors of it.
void filterSlopes(const std::uint8_t* above, const std::uint8_t* row, const std::uint8_t* below,
                  int width, int cap, std::int8_t* __restrict filtered) {
    const auto largest = static_cast<std::int16_t>(2 * cap);
    for (int x = 1; x < width - 1; ++x) {
        const auto slope =
            static_cast<std::int16_t>(above[x + 1] - above[x - 1] + 2 * (row[x + 1] - row[x - 1]) +
                                      below[x + 1] - below[x - 1] + cap);
        const std::int16_t positive = slope < 0 ? std::int16_t{0} : slope;
        filtered[x] = static_cast<std::int8_t>(positive < largest ? positive : largest);
    }
    filtered[0] = filtered[width - 1] = static_cast<std::int8_t>(cap);
}

namespace {

void filterRows(const cv::Mat& image, int cap, const cv::Range& rows, cv::Mat& filtered) {
    const int filteredRows = image.rows - image.rows % 2;
    for (int y = rows.start; y < rows.end; ++y) {
        auto* result = filtered.ptr<std::int8_t>(y);
        // Beyond the image, the rows are reflected.
        const int above = y > 0 ? y - 1 : 1;
        const int below = y < image.rows - 1 ? y + 1 : y - 1;
        if (y < filteredRows)
            filterSlopes(image.ptr(above), image.ptr(y), image.ptr(below), image.cols, cap, result);
        else
            std::fill_n(result, image.cols, static_cast<std::int8_t>(cap));
        std::fill(result + image.cols, result + filtered.cols, result[image.cols - 1]);
    }
}

}  // namespace

cv::Mat filterSlopes(const cv::Mat& image, int cap, int padding) {
    cv::Mat filtered(image.rows, image.cols + padding, CV_8SC1);
    cv::parallel_for_(cv::Range(0, image.rows),
                      [&](const cv::Range& rows) { filterRows(image, cap, rows, filtered); });
    return filtered;
}

}  // namespace vision
