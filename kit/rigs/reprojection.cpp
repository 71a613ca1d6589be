#include "rigs/reprojection.hpp"

#include <cmath>
#include <opencv2/calib3d.hpp>

#include "rigs/camera_projection.hpp"

namespace tiomipra {
namespace {

double rootMeanSquareDistance(const ReprojectedPoints& points) {
    const std::size_t count = points.found.size();
    return cv::norm(points.found, points.reprojected) / std::sqrt(static_cast<double>(count));
}

ReprojectedPoints reproject(const CameraModel& camera, const Pose& pose, const Detection& detection,
                            const std::vector<cv::Point3f>& boardPoints) {
    std::vector<cv::Point3d> seen;
    for (const int id : detection.ids)
        seen.emplace_back(boardPoints[static_cast<std::size_t>(id)]);
    ReprojectedPoints points{detection.ids, {}, project(camera, pose, seen), 0};
    points.found.assign(detection.points.begin(), detection.points.end());
    points.error = rootMeanSquareDistance(points);
    return points;
}

Pose poseInRight(const Pose& boardInLeft, const RigModel& rig) {
    cv::Vec3d rightFromLeftTurn;
    cv::Rodrigues(rig.rightFromLeftRotation, rightFromLeftTurn);
    Pose pose;
    cv::composeRT(boardInLeft.turn, boardInLeft.shift, rightFromLeftTurn,
                  rig.rightFromLeftTranslation, pose.turn, pose.shift);
    return pose;
}

}  // namespace

std::vector<ReprojectedView> reproject(const RigSolution& solution,
                                       const std::vector<PairDetection>& views,
                                       const Board& board) {
    const auto points = boardPoints(board);
    const RigModel& rig = solution.model;
    std::vector<ReprojectedView> reprojected;
    for (std::size_t i = 0; i < solution.used.size(); ++i) {
        const PairDetection& view = views[solution.used[i]];
        const Pose& pose = solution.boards[i];
        reprojected.push_back({reproject(rig.left, pose, view.left, points),
                               reproject(rig.right, poseInRight(pose, rig), view.right, points)});
    }
    return reprojected;
}

}  // namespace tiomipra
