// What rectification shows of the image of a camera, and whether a lens can be the reason.
#ifndef TIOMIPRA_RIGS_SHOWN_IMAGE_HPP
#define TIOMIPRA_RIGS_SHOWN_IMAGE_HPP

#include <string>
#include <vision/calibration.hpp>

namespace tiomipra {

// Shares, 0 to 1, of what is shown soundly: neither folded nor mirrored, and by the lens stretched
// to at most four times the area that it would have without distortion.
struct ShownImage {
    double ofRaw = 0;             // the part of the raw image that the rectified one shows
    double ofRawUndistorted = 0;  // the same if the lens had no distortion
    double ofRectified = 0;       // the part of the rectified image that shows the raw one
};

// Looks at the maps of `cv::initUndistortRectifyMap` at 129 x 129 pixels, whatever the size.
// The matrices of `calibration` have their shapes and types, and are finite.
ShownImage measureShown(const vision::Calibration& calibration);

// The rule that no lens with any of its rectifications breaks, with the numbers that break it, as
// in "distortion leaves 4 % ..."; empty if none is broken.
//
// At least a thousandth of each image must show in the other, and at least a fifth of what would
// show without distortion. No rig that shows anything is near all of that: with lenses of 60 to 160
// degrees, models of 5 and 8 coefficients, and any alpha, cameras that are turned by up to 10
// degrees against each other show 38 % of the raw image, fill 3 % of the rectified one (alpha 1)
// and keep 57 % of what would show without distortion; beyond 20 degrees, where `cv::stereoRectify`
// begins to fail, 0.1, 0.2 and 34 %. Lens models that fold outside of the image, or in its corners,
// are among them.
std::string whyNoLens(const vision::Calibration& calibration);

}  // namespace tiomipra

#endif
