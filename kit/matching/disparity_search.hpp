// The matcher and the steps around it, from a rectified pair of grey images to disparities.
#ifndef TIOMIPRA_MATCHING_DISPARITY_SEARCH_HPP
#define TIOMIPRA_MATCHING_DISPARITY_SEARCH_HPP

#include <opencv2/core/mat.hpp>
#include <vision/stereo.hpp>

#include "matching/matching_steps.hpp"

namespace tiomipra {

// All images of one size, that of the left one that is matched.
struct SearchImages {
    cv::Mat left;       // `CV_8UC1`
    cv::Mat right;      // the same
    cv::Mat seenLeft;   // `CV_8UC1`, 0 where the raw image does not show the pixel; empty: it does
    cv::Mat seenRight;  // the same
    cv::Mat guide;      // the left image in colour or grey, whose edges the filter follows
};

struct FoundDisparities {
    cv::Mat disparity;   // `CV_32FC1`
    cv::Mat reasons;     // `CV_8UC1`, a `Reason` for each pixel
    cv::Mat confidence;  // `CV_8UC1`, 0 to 255; empty unless a step needs it or it is wanted
};

// `stereo` holds the parameters of the matcher, for images at the calibrated size or narrower.
FoundDisparities findDisparities(const vision::Stereo& stereo, const MatchingSteps& steps,
                                 const SearchImages& images);

}  // namespace tiomipra

#endif
