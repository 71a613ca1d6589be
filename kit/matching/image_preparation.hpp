// What is done to the images of a pair before they are matched.
#ifndef TIOMIPRA_MATCHING_IMAGE_PREPARATION_HPP
#define TIOMIPRA_MATCHING_IMAGE_PREPARATION_HPP

#include <opencv2/core/mat.hpp>

#include "matching/matching_steps.hpp"
#include "shared/adaptation.hpp"

namespace tiomipra {

// `image` (`CV_8UC1`) with the contrast of each region stretched (contrast limited adaptive
// histogram equalisation, K. Zuiderveld, Graphics Gems IV, 1994): what is dark or flat, or darker
// on one side than on the other, can be told apart as well as the rest.
cv::Mat equalise(const cv::Mat& image);

// How many columns are added to both images of a pair.
struct Padding {
    int left = 0;
    int right = 0;
};

// So many that the matcher has all candidates for every column of the left image, if that is
// wanted; also where the right image is matched, which else has no matches for the columns that
// match the last ones of the left; and for the search over three directions in any case: OpenCV's
// reads beyond images with fewer columns to match than half a block.
Padding paddingFor(const vision::Stereo& stereo, const MatchingSteps& steps,
                   const vision::AdaptedParameters& adapted);

// `image` with its first and last columns repeated.
cv::Mat pad(const cv::Mat& image, const Padding& padding);

// Of a result for padded images, the part that shows the image itself; it shares its pixels.
cv::Mat withoutPadding(const cv::Mat& result, const Padding& padding);

}  // namespace tiomipra

#endif
