// Where cameras see points, and how that follows from their numbers.
#ifndef TIOMIPRA_RIGS_CAMERA_PROJECTION_HPP
#define TIOMIPRA_RIGS_CAMERA_PROJECTION_HPP

#include <opencv2/core.hpp>
#include <vector>

#include "rigs/rig_model.hpp"

namespace tiomipra {

// Takes a point p to R p + `shift`, with R the rotation of the vector `turn`.
struct Pose {
    cv::Vec3d turn;
    cv::Vec3d shift;
};
cv::Matx33d rotationOf(const Pose& pose);

// The pixels of points whose frame is placed before the camera by `pose`. Wide-angle lenses see
// beyond 90 degrees off their axis.
//
// @param derivatives  unless null: two rows a point, x and y; columns for the turn, the shift, both
//                     focal lengths, the principal point and the coefficients of the lens
std::vector<cv::Point2d> project(const CameraModel& camera, const Pose& pose,
                                 const std::vector<cv::Point3d>& points,
                                 cv::Mat* derivatives = nullptr);

}  // namespace tiomipra

#endif
