// Calibrated stereo pairs made of numbers.
#ifndef TIOMIPRA_TESTS_RIGS_HPP
#define TIOMIPRA_TESTS_RIGS_HPP

#include <opencv2/core.hpp>
#include <vision/calibration.hpp>
#include <vision/stereo.hpp>

namespace tiomipra::test {

struct RigOptions {
    cv::Size size{640, 480};
    float focalLength = 500.F;  // of the rectified cameras, pixels
    cv::Point2f leftCentre{320.25F, 236.5F};
    float rightCentreX = 320.25F;  // of the rectified right camera
    float baseline = 0.125F;
    bool isDistorted = true;  // raw cameras with lens distortion, not quite parallel
};

struct CalibrationPair {
    vision::Calibration left;
    vision::Calibration right;
};

CalibrationPair makeRig(const RigOptions& options = {});

// A stereo object whose protected members can be tested.
class OpenStereo : public vision::Stereo {
  public:
    OpenStereo() = default;
    explicit OpenStereo(const CalibrationPair& rig) { setCalibrations(rig.left, rig.right); }

    using Stereo::_findOrComputeTransform;
    using Stereo::_rectifyImage;
    using Stereo::_transforms;
};

}  // namespace tiomipra::test

#endif
