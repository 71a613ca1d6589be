#include "matching/image_preparation.hpp"

#include <algorithm>
#include <opencv2/imgproc.hpp>

namespace tiomipra {

cv::Mat equalise(const cv::Mat& image) {
    // Gentle: beyond that, noise is stretched to texture that is not there.
    constexpr double mostContrast = 1;
    cv::Mat equalised;
    cv::createCLAHE(mostContrast, {8, 8})->apply(image, equalised);
    return equalised;
}

Padding paddingFor(const vision::Stereo& stereo, const MatchingSteps& steps,
                   const vision::AdaptedParameters& adapted) {
    if (steps.fullWidth == 0 && !isThreeWay(stereo, steps) && steps.leftRightCheck == 0 &&
        !filtersAlongEdges(steps))
        return {};
    const int last = adapted.minDisparity + adapted.disparityNumber - 1;
    // One more on the left, as semi-global matching does not give the first column it could match.
    return {std::max(0, last + 1), std::max(0, -adapted.minDisparity)};
}

cv::Mat pad(const cv::Mat& image, const Padding& padding) {
    cv::Mat padded;
    cv::copyMakeBorder(image, padded, 0, 0, padding.left, padding.right, cv::BORDER_REPLICATE);
    return padded;
}

cv::Mat withoutPadding(const cv::Mat& result, const Padding& padding) {
    return result.colRange(padding.left, result.cols - padding.right);
}

}  // namespace tiomipra
