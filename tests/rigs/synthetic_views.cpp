#include "synthetic_views.hpp"

#include <cmath>
#include <numeric>
#include <opencv2/calib3d.hpp>

namespace tiomipra::test {
namespace {

std::vector<cv::Point2f> project(const PointScene& scene, const CameraModel& camera,
                                 const cv::Matx33d& turn, const cv::Vec3d& shift) {
    cv::Vec3d turnVector;
    cv::Rodrigues(turn, turnVector);
    std::vector<cv::Point2d> seen;
    cv::projectPoints(scene, turnVector, shift, camera.cameraMatrix, camera.lens.coefficients,
                      seen);
    return {seen.begin(), seen.end()};
}

// The board in the frame of the left camera.
PointScene place(const Board& board, int number, const BoardPlaces& places) {
    const double angle = 2.4 * number;
    const cv::Matx33d tilt = turnBy(
        {places.tilt * std::sin(angle), places.tilt * std::cos(angle), 0.1 * std::sin(number)});
    const double width = board.square * board.corners.width;
    const double distance = width * (2 + 0.05 * number);
    const cv::Vec3d centre(width / 2, board.square * board.corners.height / 2, 0);
    const double reach = places.reach * distance;
    const cv::Vec3d shift(reach * std::cos(1.7 * number) + 0.03,
                          0.75 * reach * std::sin(1.7 * number), distance);
    PointScene scene;
    for (const cv::Point3f& point : boardPoints(board))
        scene.emplace_back(tilt * (cv::Vec3d(point.x, point.y, point.z) - centre) + shift);
    return scene;
}

}  // namespace

cv::Matx33d turnBy(const cv::Vec3d& vector) {
    cv::Matx33d matrix;
    cv::Rodrigues(vector, matrix);
    return matrix;
}

RigModel makeModel() {
    RigModel rig;
    rig.left.imageSize = rig.right.imageSize = {640, 480};
    rig.left.cameraMatrix = {600, 0, 310.5, 0, 590, 250.25, 0, 0, 1};
    rig.right.cameraMatrix = {608, 0, 325.75, 0, 603, 231.5, 0, 0, 1};
    rig.left.lens.coefficients = {-0.21, 0.06, 0.001, -0.002, 0.01};
    rig.right.lens.coefficients = {-0.18, 0.04, -0.0015, 0.001, 0.02};
    rig.rightFromLeftRotation = turnBy({0.011, -0.03, 0.013});
    rig.rightFromLeftTranslation = {-0.06, 0.001, 0.002};
    rig.unit = "m";
    return rig;
}

Matches see(const RigModel& rig, const PointScene& scene) {
    return {project(scene, rig.left, cv::Matx33d::eye(), {}),
            project(scene, rig.right, rig.rightFromLeftRotation, rig.rightFromLeftTranslation)};
}

void addNoise(Matches& matches, double deviation, std::mt19937& random) {
    std::normal_distribution<float> error(0, static_cast<float>(deviation));
    for (auto* const side : {&matches.left, &matches.right}) {
        for (cv::Point2f& point : *side)
            point += cv::Point2f(error(random), error(random));
    }
}

PointScene makeScene(const RigModel& rig, int count) {
    const cv::Matx33d& camera = rig.left.cameraMatrix;
    std::mt19937 random(1);
    std::uniform_real_distribution<> across(30, rig.left.imageSize.width - 30);
    std::uniform_real_distribution<> down(30, rig.left.imageSize.height - 30);
    std::uniform_real_distribution<> nearness(1 / 5., 1 / 0.5);
    PointScene scene;
    for (int i = 0; i < count; ++i) {
        const double depth = 1 / nearness(random);
        scene.emplace_back((across(random) - camera(0, 2)) / camera(0, 0) * depth,
                           (down(random) - camera(1, 2)) / camera(1, 1) * depth, depth);
    }
    return scene;
}

std::vector<PairDetection> seeBoard(const RigModel& rig, const Board& board, int count,
                                    double noise, const BoardPlaces& places) {
    std::mt19937 random(1);
    std::vector<PairDetection> views;
    for (int i = 0; i < count; ++i) {
        Matches seen = see(rig, place(board, i, places));
        if (noise > 0)
            addNoise(seen, noise, random);
        std::vector<int> ids(seen.left.size());
        std::iota(ids.begin(), ids.end(), 0);
        views.push_back({{ids, seen.left}, {ids, seen.right}});
    }
    return views;
}

}  // namespace tiomipra::test
