#include "matching/error_map.hpp"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

#include "matching/evaluation.hpp"

namespace tiomipra {
namespace {

ErrorPlace measurePlace(const cv::Mat_<float>& errors, const cv::Rect& area) {
    constexpr float most = 8;
    ErrorPlace place{area, 0, 0};
    double sum = 0;
    int count = 0;
    for (const float error : errors(area)) {
        if (std::isnan(error))
            continue;
        sum += std::min(error, most);
        ++count;
    }
    place.meanError = count > 0 ? sum / count : 0;
    place.measuredShare = static_cast<double>(count) / area.area();
    return place;
}

// Each overlaps its neighbours by half.
std::vector<ErrorPlace> measurePlaces(const cv::Mat& errors) {
    const int side = std::clamp(std::max(errors.cols, errors.rows) / 10, 2,
                                std::max(2, std::min(errors.cols, errors.rows)));
    std::vector<ErrorPlace> places;
    for (int y = 0; y + side <= errors.rows; y += side / 2) {
        for (int x = 0; x + side <= errors.cols; x += side / 2)
            places.push_back(measurePlace(errors, {x, y, side, side}));
    }
    return places;
}

}  // namespace

cv::Mat errorSizes(const cv::Mat& disparity, const cv::Mat& truth) {
    cv::Mat_<float> errors(truth.size(), std::numeric_limits<float>::quiet_NaN());
    for (int y = 0; y < truth.rows; ++y) {
        for (int x = 0; x < truth.cols; ++x) {
            const auto measured = disparity.at<float>(y, x);
            const auto known = truth.at<float>(y, x);
            if (isDisparity(measured) && isDisparity(known))
                errors(y, x) = std::abs(measured - known);
        }
    }
    return std::move(errors);
}

std::array<std::size_t, errorBinEnds.size() + 1> countErrors(const cv::Mat& errors) {
    std::array<std::size_t, errorBinEnds.size() + 1> counts{};
    for (const float error : cv::Mat_<float>(errors)) {
        if (std::isnan(error))
            continue;
        const auto* const end =
            std::lower_bound(errorBinEnds.begin(), errorBinEnds.end(), double{error});
        ++counts[static_cast<std::size_t>(end - errorBinEnds.begin())];
    }
    return counts;
}

std::vector<ErrorPlace> findWorstPlaces(const cv::Mat& errors, std::size_t most) {
    constexpr double fewestMeasured = 0.25;
    std::vector<ErrorPlace> places = measurePlaces(errors);
    std::stable_sort(places.begin(), places.end(), [](const ErrorPlace& a, const ErrorPlace& b) {
        return a.meanError > b.meanError;
    });
    std::vector<ErrorPlace> worst;
    for (const ErrorPlace& place : places) {
        const bool isApart = std::none_of(worst.begin(), worst.end(), [&](const ErrorPlace& other) {
            const cv::Size around = other.area.size() * 2;
            const cv::Rect near(other.area.tl() - cv::Point(around / 2),
                                other.area.size() + around);
            return (place.area & near).area() > 0;
        });
        if (worst.size() < most && isApart && place.meanError > 0 &&
            place.measuredShare >= fewestMeasured)
            worst.push_back(place);
    }
    return worst;
}

}  // namespace tiomipra
