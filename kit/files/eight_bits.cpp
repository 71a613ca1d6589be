#include "files/eight_bits.hpp"

#include <algorithm>
#include <cmath>
#include <opencv2/core.hpp>
#include <vector>

#include "base/statistics.hpp"
#include "base/text.hpp"

namespace tiomipra {
namespace {

// Adds finite values of `image`, of a large one only some, evenly spread.
void sample(const cv::Mat& image, std::vector<double>& values) {
    constexpr std::size_t enough = 200000;
    const int step = std::max(1, cvFloor(std::sqrt(static_cast<double>(image.total()) / enough)));
    cv::Mat row;
    for (int y = 0; y < image.rows; y += step) {
        image.row(y).reshape(1).convertTo(row, CV_64F);
        for (int x = 0; x < image.cols; x += step) {
            for (int channel = 0; channel < image.channels(); ++channel) {
                const double value = row.at<double>(x * image.channels() + channel);
                if (std::isfinite(value))
                    values.push_back(value);
            }
        }
    }
}

struct Range {
    double lowest = 0;
    double highest = 0;
};

Range rangeOf(const std::vector<cv::Mat*>& images) {
    constexpr double stray = 0.001;
    std::vector<double> values;
    for (const cv::Mat* image : images)
        sample(*image, values);
    return {quantile(values, stray), quantile(values, 1 - stray)};
}

// 256 levels of the same width. NaN fails every comparison.
unsigned char levelOf(double share) {
    constexpr double levels = 256;
    return share > 0 ? static_cast<unsigned char>(std::min(share * levels, levels - 1)) : 0;
}

cv::Mat stretched(const cv::Mat& image, const Range& range) {
    const double width = std::max(range.highest - range.lowest, 1e-30);
    cv::Mat result(image.size(), CV_MAKETYPE(CV_8U, image.channels()));
    cv::Mat row;
    for (int y = 0; y < image.rows; ++y) {
        image.row(y).reshape(1).convertTo(row, CV_64F);
        std::transform(row.begin<double>(), row.end<double>(), result.ptr<unsigned char>(y),
                       [&](double value) { return levelOf((value - range.lowest) / width); });
    }
    return result;
}

// All that the bits in use can hold, if the values use at least half of it.
Range withUnusedLevels(const Range& used) {
    double all = 256;
    while (all <= used.highest)
        all *= 2;
    return used.lowest >= 0 && used.highest - used.lowest >= all / 2 ? Range{0, all} : used;
}

bool isOf16Bits(const cv::Mat* image) {
    return image->depth() == CV_16U;
}

}  // namespace

std::string stretchToEightBits(cv::Mat& left, cv::Mat& right) {
    constexpr double all = 65536;
    std::vector<cv::Mat*> deeper;
    for (cv::Mat* image : {&left, &right}) {
        if (image->depth() != CV_8U)
            deeper.push_back(image);
    }
    if (deeper.empty())
        return "";
    const Range used = rangeOf(deeper);
    const bool hasBits = std::all_of(deeper.begin(), deeper.end(), isOf16Bits);
    const Range range = hasBits ? withUnusedLevels(used) : used;
    for (cv::Mat* image : deeper)
        *image = stretched(*image, range);
    if (range.highest == all)
        return "";
    return fmt::format("values from {:g} to {:g} are stretched to 8 bits", range.lowest,
                       range.highest);
}

}  // namespace tiomipra
