// What a pair of calibrations says about the rig, in numbers.
#ifndef TIOMIPRA_RIGS_RIG_GEOMETRY_HPP
#define TIOMIPRA_RIGS_RIG_GEOMETRY_HPP

#include <opencv2/core/types.hpp>
#include <optional>
#include <vector>
#include <vision/calibration.hpp>

#include "rigs/disparity_model.hpp"
#include "rigs/rig_model.hpp"

namespace tiomipra {

// Angles in degrees that an image shows; distortion is left aside, but for wide-angle lenses.
struct FieldOfView {
    double horizontal = 0;
    double vertical = 0;
    double diagonal = 0;
};

struct CameraGeometry {
    cv::Size size;
    cv::Point2d focal;            // pixels
    cv::Point2d principalOffset;  // principal point minus image centre, pixels
    FieldOfView fieldOfView;
};

// What a disparity means at one depth.
struct DepthStep {
    double depth = 0;       // unit of the calibrations
    double disparity = 0;   // pixels
    double resolution = 0;  // change of depth for 1/16 pixel, the matchers' step
};

struct RigGeometry {
    CameraGeometry left;
    CameraGeometry right;
    double baseline = 0;               // unit of the calibrations; positive in a usable rig
    double rectifiedFocal = 0;         // pixels
    FieldOfView rectifiedFieldOfView;  // of the left rectified image
    DisparityModel disparity;
    std::vector<DepthStep> depthSteps;  // at round depths, from near to far
};

double toDegrees(double radians);
double toRadians(double degrees);

// Of the images that the calibration is for.
cv::Size sizeOf(const vision::Calibration& calibration);

// Where the right camera is as the left one sees it, along x and y of the rectified frame, in the
// unit of the calibrations. Their projection matrices are 3x4 `CV_32FC1`.
cv::Point2d baselineOf(const vision::Calibration& left, const vision::Calibration& right);

// The numbers of a calibration whose camera matrix is 3x3 `CV_32FC1`.
CameraGeometry describeCamera(const vision::Calibration& calibration);
CameraGeometry describeCamera(const CameraModel& camera);

// The numbers of a usable pair. Wide-angle lenses are those of `measured`: the pinholes that stand
// for them do not show as much.
RigGeometry describeGeometry(const vision::Calibration& left, const vision::Calibration& right,
                             const std::optional<RigModel>& measured = std::nullopt);

}  // namespace tiomipra

#endif
