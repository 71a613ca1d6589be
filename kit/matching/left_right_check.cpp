#include "matching/left_right_check.hpp"

#include <cmath>
#include <opencv2/core.hpp>

namespace tiomipra {
namespace {

// The column of the match in the right image; cut off, it is rounded.
float columnOfMatch(int x, float disparity) {
    return static_cast<float>(x) - disparity + 0.5F;
}

// For each pixel, whether `isGood(y, match, disparity)` of the column of its match, if that lies
// within the right image.
template <typename IsGood>
cv::Mat judgeMatches(const cv::Mat& disparity, const IsGood& isGood) {
    cv::Mat good(disparity.size(), CV_8UC1);
    for (int y = 0; y < disparity.rows; ++y) {
        const auto* const row = disparity.ptr<float>(y);
        auto* const judged = good.ptr<uchar>(y);
        for (int x = 0; x < disparity.cols; ++x) {
            const float match = columnOfMatch(x, row[x]);
            const bool isWithin = match >= 0 && match < static_cast<float>(disparity.cols);
            judged[x] = isWithin && isGood(y, static_cast<int>(match), row[x]) ? 255 : 0;
        }
    }
    return good;
}

}  // namespace

cv::Mat findWithinRight(const cv::Mat& disparity) {
    const int columns = disparity.cols;
    const auto end = static_cast<float>(columns);
    cv::Mat within(disparity.size(), CV_8UC1);
    for (int y = 0; y < disparity.rows; ++y) {
        const auto* const row = disparity.ptr<float>(y);
        auto* const judged = within.ptr<uchar>(y);
        // Without a branch, compilers take several pixels at once.
        for (int x = 0; x < columns; ++x) {
            const float match = columnOfMatch(x, row[x]);
            judged[x] = ((match >= 0) & (match < end)) != 0 ? 255 : 0;
        }
    }
    return within;
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
