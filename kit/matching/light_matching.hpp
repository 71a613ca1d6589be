// One brightness for both images of a pair.
#ifndef TIOMIPRA_MATCHING_LIGHT_MATCHING_HPP
#define TIOMIPRA_MATCHING_LIGHT_MATCHING_HPP

#include <opencv2/core/mat.hpp>

#include "shared/adaptation.hpp"

namespace tiomipra {

// `right` as bright as `left` (`CV_8UC1`, same size) shows the same things. The ratio of both is a
// smooth function of the place, a quadratic one, as of other exposures, apertures and vignettes; it
// is fitted to what block matching finds at a quarter of the size, which does not mind brightness.
// Semi-global matching does: it compares grey values as well as gradients. With too few matches,
// and where the ratio is within 5 percent of one for nine tenths of the pixels, `right` stays as it
// is.
//
// @param adapted  the disparities to look for
cv::Mat matchLight(const cv::Mat& left, const cv::Mat& right,
                   const vision::AdaptedParameters& adapted);

}  // namespace tiomipra

#endif
