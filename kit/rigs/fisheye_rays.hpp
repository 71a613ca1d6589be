// Wide-angle lenses with four coefficients (equidistant, Kannala and Brandt 2006, `cv::fisheye`): a
// ray at an angle t off the axis is imaged t (1 + k1 t^2 + k2 t^4 + k3 t^6 + k4 t^8) focal lengths
// off the centre.
#ifndef TIOMIPRA_RIGS_FISHEYE_RAYS_HPP
#define TIOMIPRA_RIGS_FISHEYE_RAYS_HPP

#include <opencv2/core.hpp>

#include "rigs/rig_geometry.hpp"
#include "rigs/rig_model.hpp"

namespace tiomipra {

// In focal lengths, and its derivative by the angle.
double radiusAt(const LensModel& lens, double angle);
double slopeAt(const LensModel& lens, double angle);

// The first angle with that radius; half a turn if there is none.
double angleAt(const LensModel& lens, double radius);

// Off the axis, from 0 to half a turn.
double angleOf(const cv::Vec3d& ray);

cv::Point2d pixelOf(const CameraModel& camera, const cv::Vec3d& ray);

// A ray of length 1.
cv::Vec3d rayOf(const CameraModel& camera, const cv::Point2d& pixel);

// Of a camera with such a lens.
FieldOfView fieldOfViewOf(const CameraModel& camera);

}  // namespace tiomipra

#endif
