#include "rigs/camera_calibration.hpp"

#include <algorithm>
#include <limits>
#include <opencv2/calib3d.hpp>

#include "rigs/fisheye_rays.hpp"

namespace tiomipra {
namespace {

Pose betterOf(const CameraModel& camera, const Sighting& sighting, const std::vector<Pose>& poses) {
    Pose best;
    double smallest = std::numeric_limits<double>::infinity();
    for (const Pose& pose : poses) {
        const double error = evaluate({{camera}, {}, {pose}}, {{sighting}}).error;
        if (error < smallest) {
            smallest = error;
            best = pose;
        }
    }
    return best;
}

// From afar a board looks much the same tilted the other way, so there are two.
std::vector<Pose> posesOf(const std::vector<cv::Point3d>& board,
                          const std::vector<cv::Point2d>& image, const cv::Mat& matrix,
                          const cv::Mat& distortion) {
    std::vector<cv::Vec3d> turns;
    std::vector<cv::Vec3d> shifts;
    cv::solvePnPGeneric(board, image, matrix, distortion, turns, shifts, false, cv::SOLVEPNP_IPPE);
    std::vector<Pose> poses;
    for (std::size_t i = 0; i < turns.size(); ++i) {
        cv::solvePnPRefineLM(board, image, matrix, distortion, turns[i], shifts[i]);
        poses.push_back({turns[i], shifts[i]});
    }
    return poses;
}

Pose locateByPinhole(const CameraModel& camera, const Sighting& sighting) {
    return betterOf(
        camera, sighting,
        posesOf(sighting.board, sighting.image, cameraMatrixOf(camera), distortionOf(camera)));
}

// Takes the mean of `rays` to the axis.
cv::Matx33d turnToAxis(const std::vector<cv::Vec3d>& rays) {
    cv::Vec3d sum;
    for (const cv::Vec3d& ray : rays)
        sum += ray;
    const cv::Vec3d mean = cv::normalize(sum);
    const cv::Vec3d across = mean.cross({0, 0, 1});
    const double sine = cv::norm(across);
    cv::Matx33d turn = cv::Matx33d::eye();
    if (sine > 0)
        cv::Rodrigues(across * (angleOf(mean) / sine), turn);
    return turn;
}

// As a pinhole sees the board that looks straight at it, whose image is wherever in the camera's.
std::vector<cv::Point2d> lookAt(const std::vector<cv::Vec3d>& rays, const cv::Matx33d& turn) {
    constexpr double nearest = 0.05;  // rays that are wrong may be at more than 90 degrees
    std::vector<cv::Point2d> image;
    for (const cv::Vec3d& ray : rays) {
        const cv::Vec3d turned = turn * ray;
        const double depth = std::max(turned[2], nearest);
        image.emplace_back(turned[0] / depth, turned[1] / depth);
    }
    return image;
}

Pose locateByRays(const CameraModel& camera, const Sighting& sighting) {
    std::vector<cv::Vec3d> rays;
    for (const cv::Point2d& pixel : sighting.image)
        rays.push_back(rayOf(camera, pixel));
    const cv::Matx33d turn = turnToAxis(rays);
    auto poses = posesOf(sighting.board, lookAt(rays, turn), cv::Mat::eye(3, 3, CV_64F), cv::Mat());
    for (Pose& pose : poses) {
        cv::Rodrigues(turn.t() * rotationOf(pose), pose.turn);
        pose.shift = turn.t() * pose.shift;
    }
    return betterOf(camera, sighting, poses);
}

std::vector<Pose> locateBoards(const CameraModel& camera, const PerView& sightings) {
    const auto locate = camera.lens.kind == LensKind::fisheye ? locateByRays : locateByPinhole;
    std::vector<Pose> poses;
    for (const Sighting& sighting : sightings)
        poses.push_back(locate(camera, sighting));
    return poses;
}

// From the vanishing points of the boards, as if the lens did not distort.
CameraModel guessPinhole(const PerView& sightings, const cv::Size& imageSize,
                         std::size_t coefficients) {
    std::vector<std::vector<cv::Point3f>> boards;
    std::vector<std::vector<cv::Point2f>> images;
    for (const Sighting& sighting : sightings) {
        boards.emplace_back(sighting.board.begin(), sighting.board.end());
        images.emplace_back(sighting.image.begin(), sighting.image.end());
    }
    CameraModel camera;
    camera.imageSize = imageSize;
    camera.cameraMatrix = cv::Mat_<double>(cv::initCameraMatrix2D(boards, images, imageSize, 0));
    camera.lens.coefficients.assign(coefficients, 0);
    return camera;
}

Bundle locatedBundle(const CameraModel& camera, const PerView& sightings) {
    return {{camera}, {}, locateBoards(camera, sightings)};
}

Bundle startPinhole(const PerView& sightings, const cv::Size& imageSize, std::size_t coefficients) {
    return locatedBundle(guessPinhole(sightings, imageSize, coefficients), sightings);
}

CameraModel equidistantCamera(const cv::Size& imageSize, double fieldOfView) {
    const double focal = imageSize.width / toRadians(fieldOfView);
    CameraModel camera;
    camera.imageSize = imageSize;
    camera.cameraMatrix = {
        focal, 0, (imageSize.width - 1) / 2., 0, focal, (imageSize.height - 1) / 2., 0, 0, 1};
    camera.lens = {LensKind::fisheye, std::vector<double>(4, 0)};
    return camera;
}

// With the one of a few fields of view that fits the boards best.
Bundle startFisheye(const PerView& sightings, const cv::Size& imageSize) {
    Bundle best;
    double smallest = std::numeric_limits<double>::infinity();
    for (const double fieldOfView : {60., 85., 110., 135., 160., 185., 210.}) {
        const Bundle bundle = locatedBundle(equidistantCamera(imageSize, fieldOfView), sightings);
        const double error = evaluate(bundle, {sightings}).error;
        if (error < smallest) {
            smallest = error;
            best = bundle;
        }
    }
    return best;
}

Bundle start(const PerView& sightings, const cv::Size& imageSize, Lens lens) {
    switch (lens) {
        case Lens::pinhole:
            return startPinhole(sightings, imageSize, 5);
        case Lens::rational:
            return startPinhole(sightings, imageSize, 8);
        case Lens::fisheye:
            break;
    }
    return startFisheye(sightings, imageSize);
}

CameraSolution solutionOf(const Bundle& bundle, const BundleFit& fit) {
    const auto& uncertainties = fit.focalUncertainties;
    return {bundle.cameras.front(),
            bundle.boards,
            {fit.error, fit.viewErrors, uncertainties.empty() ? 0 : uncertainties.front()}};
}

}  // namespace

std::string nameOf(Lens lens) {
    switch (lens) {
        case Lens::pinhole:
            return "pinhole";
        case Lens::rational:
            return "rational";
        case Lens::fisheye:
            break;
    }
    return "fisheye";
}

Lens lensOf(const CameraModel& camera) {
    if (camera.lens.kind == LensKind::fisheye)
        return Lens::fisheye;
    return camera.lens.coefficients.size() < 8 ? Lens::pinhole : Lens::rational;
}

// With wide lenses the first guess is so far off that boards end up tilted the wrong way; once the
// camera is known better, they are looked for anew.
CameraSolution calibrateCamera(const PerView& sightings, const cv::Size& imageSize, Lens lens,
                               const OnAdjustmentStep& onStep) {
    constexpr double better = 0.99;
    Bundle bundle = start(sightings, imageSize, lens);
    for (;;) {
        const BundleFit fit = adjust(bundle, {sightings}, Adjusted::camerasAndPoses, onStep);
        Bundle anew = locatedBundle(bundle.cameras.front(), sightings);
        if (!(evaluate(anew, {sightings}).error < better * fit.error))
            return solutionOf(bundle, fit);
        bundle = std::move(anew);
    }
}

CameraSolution evaluateCamera(const PerView& sightings, const CameraModel& camera) {
    const Bundle bundle = locatedBundle(camera, sightings);
    return solutionOf(bundle, evaluate(bundle, {sightings}));
}

}  // namespace tiomipra
