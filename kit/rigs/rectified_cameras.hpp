// Cameras that deliver rectified images, by the few numbers that their maker gives for them.
#ifndef TIOMIPRA_RIGS_RECTIFIED_CAMERAS_HPP
#define TIOMIPRA_RIGS_RECTIFIED_CAMERAS_HPP

#include <opencv2/core/types.hpp>
#include <optional>

#include "base/quantities.hpp"

namespace tiomipra {

struct Rig;

// A point at depth Z has a disparity of `focal` times `baseline` / Z - `centreOffset`.
struct RectifiedCameras {
    double focal = 0;         // pixels of the images, whatever size they have
    Length baseline;          // its unit is that of all depths
    double centreOffset = 0;  // x of the right principal point minus x of the left, pixels
    std::optional<cv::Point2d> centre;  // left principal point; else the centre of the images
};

// The rig for images of `size`, which are not to be rectified. Throws `SettingError` for numbers
// that make no usable rig.
Rig rectifiedRig(const RectifiedCameras& cameras, const cv::Size& size);

}  // namespace tiomipra

#endif
