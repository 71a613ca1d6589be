#include "matching/left_right_check.hpp"

#include <cmath>
#include <opencv2/core.hpp>

namespace tiomipra {
namespace {

// For each pixel, whether `isGood(y, match, disparity)` of the column of its match, if that lies
// within the right image.
template <typename IsGood>
cv::Mat judgeMatches(const cv::Mat& disparity, const IsGood& isGood) {
    cv::Mat good(disparity.size(), CV_8UC1);
    for (int y = 0; y < disparity.rows; ++y) {
        const auto* const row = disparity.ptr<float>(y);
        auto* const judged = good.ptr<uchar>(y);
        for (int x = 0; x < disparity.cols; ++x) {
            const float match = static_cast<float>(x) - row[x] + 0.5F;  // cut off, it is rounded
            const bool isWithin = match >= 0 && match < static_cast<float>(disparity.cols);
            judged[x] = isWithin && isGood(y, static_cast<int>(match), row[x]) ? 255 : 0;
        }
    }
    return good;
}

}  // namespace

cv::Mat findWithinRight(const cv::Mat& disparity) {
    return judgeMatches(disparity, [](int, int, float) { return true; });
}

cv::Mat findWhereRight(const cv::Mat& disparity, const cv::Mat& right) {
    return judgeMatches(disparity,
                        [&](int y, int match, float) { return right.at<uchar>(y, match) != 0; });
}

cv::Mat findAgreeing(const cv::Mat& left, const cv::Mat& right, double smallest, double largest) {
    return judgeMatches(left, [&](int y, int match, float disparity) {
        const double back = right.at<float>(y, match);
        return disparity >= smallest && back >= smallest && std::abs(back - disparity) <= largest;
    });
}

}  // namespace tiomipra
