#include "rigs/rectified_cameras.hpp"

#include <opencv2/core.hpp>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "rigs/calibration_faults.hpp"
#include "rigs/rig_files.hpp"

namespace tiomipra {
namespace {

// `offset`: focal length times the camera's place on the baseline, negative to the right.
vision::Calibration pinhole(const cv::Size& size, double focal, const cv::Point2d& centre,
                            double offset) {
    vision::Calibration camera;
    camera.width = size.width;
    camera.height = size.height;
    const cv::Matx34d projection(focal, 0, centre.x, offset, 0, focal, centre.y, 0, 0, 0, 1, 0);
    cv::Mat(projection).convertTo(camera.projectionMatrix, CV_32F);
    camera.cameraMatrix = camera.projectionMatrix.colRange(0, 3).clone();
    camera.rectificationMatrix = cv::Mat::eye(3, 3, CV_32FC1);
    return camera;
}

}  // namespace

Rig rectifiedRig(const RectifiedCameras& cameras, const cv::Size& size) {
    const auto& [focal, baseline, centreOffset, givenCentre] = cameras;
    const cv::Point2d middle((size.width - 1) / 2., (size.height - 1) / 2.);
    const cv::Point2d left = givenCentre.value_or(middle);
    const cv::Point2d right(left.x + centreOffset, left.y);
    Rig rig;
    rig.left = pinhole(size, focal, left, 0);
    rig.right = pinhole(size, focal, right, -focal * baseline.value);
    rig.unit = baseline.unit;
    rig.cameras = cameras;
    const std::vector<Fault> faults = findFaultsOfRectified(rig.left, rig.right);
    if (!faults.empty())
        throw SettingError(fmt::format("a focal length of {} pixels and a baseline of {}: {}",
                                       digits(focal), digits(baseline.value),
                                       faults.front().problem));
    return rig;
}

}  // namespace tiomipra
