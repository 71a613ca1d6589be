#include "support/synthetic_views.hpp"

#include <cmath>
#include <numeric>
#include <opencv2/calib3d.hpp>
#include <opencv2/imgproc.hpp>

#include "rigs/board_drawing.hpp"
#include "rigs/bundle_adjustment.hpp"

namespace tiomipra::test {
namespace {

std::vector<cv::Point2f> project(const PointScene& scene, const CameraModel& camera,
                                 const cv::Matx33d& turn, const cv::Vec3d& shift) {
    cv::Vec3d turnVector;
    cv::Rodrigues(turn, turnVector);
    std::vector<cv::Point2d> seen;
    if (camera.lens.kind == LensKind::fisheye)
        cv::fisheye::projectPoints(scene, seen, turnVector, shift, camera.cameraMatrix,
                                   camera.lens.coefficients);
    else
        cv::projectPoints(scene, turnVector, shift, camera.cameraMatrix, camera.lens.coefficients,
                          seen);
    return {seen.begin(), seen.end()};
}

// Of a board of that width, from its middle into the frame of the left camera.
Pose poseOf(int number, double width, const BoardPlaces& places) {
    const double angle = 2.4 * number;
    const double distance = width * (places.distance + 0.05 * number);
    const double reach = places.reach * distance;
    const Pose ahead{
        {places.tilt * std::sin(angle), places.tilt * std::cos(angle), 0.1 * std::sin(number)},
        {reach * std::cos(1.7 * number) + 0.03, 0.75 * reach * std::sin(1.7 * number), distance}};
    if (places.swing == 0)
        return ahead;
    const double turn = places.swing * std::sqrt(std::fmod(0.618 * number, 1));
    const cv::Matx33d aside =
        turnBy({turn * std::sin(1.7 * number), turn * std::cos(1.7 * number), 0});
    Pose swung;
    cv::Rodrigues(aside * rotationOf(ahead), swung.turn);
    swung.shift = aside * ahead.shift;
    return swung;
}

PointScene place(const Board& board, const Pose& pose) {
    const cv::Vec3d centre =
        cv::Vec3d(board.corners.width, board.corners.height, 0) * (board.square / 2);
    PointScene scene;
    for (const cv::Point3f& point : boardPoints(board))
        scene.emplace_back(rotationOf(pose) * (cv::Vec3d(point.x, point.y, point.z) - centre) +
                           pose.shift);
    return scene;
}

// The picture whose corners are seen there; it is white around it.
cv::Mat renderPicture(const cv::Mat& picture, const std::vector<cv::Point2f>& corners,
                      const cv::Size& size) {
    constexpr int oversampling = 4;
    const auto right = static_cast<float>(picture.cols) - 0.5F;
    const auto bottom = static_cast<float>(picture.rows) - 0.5F;
    std::vector<cv::Point2f> seen;
    for (const cv::Point2f& corner : corners)
        seen.push_back((corner + cv::Point2f(0.5F, 0.5F)) * oversampling - cv::Point2f(0.5F, 0.5F));
    cv::Mat large, image;
    cv::warpPerspective(picture, large,
                        cv::getPerspectiveTransform(
                            std::vector<cv::Point2f>{
                                {-0.5F, -0.5F}, {right, -0.5F}, {right, bottom}, {-0.5F, bottom}},
                            seen),
                        size * oversampling, cv::INTER_LINEAR, cv::BORDER_CONSTANT,
                        cv::Scalar(255));
    cv::resize(large, image, size, 0, 0, cv::INTER_AREA);
    return image;
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

RigModel makePinholeModel(const cv::Size& size, double focal) {
    RigModel rig;
    for (CameraModel* camera : {&rig.left, &rig.right})
        *camera = {
            size, {focal, 0, (size.width - 1) / 2., 0, focal, (size.height - 1) / 2., 0, 0, 1}, {}};
    rig.rightFromLeftRotation = turnBy({0.004, -0.03, 0.01});
    rig.rightFromLeftTranslation = {-0.06, 0, 0};
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
        const double width = board.square * board.corners.width;
        Matches seen = see(rig, place(board, poseOf(i, width, places)));
        if (noise > 0)
            addNoise(seen, noise, random);
        std::vector<int> ids(seen.left.size());
        std::iota(ids.begin(), ids.end(), 0);
        views.push_back({{ids, seen.left}, {ids, seen.right}});
    }
    return views;
}

cv::Mat rasterise(const Drawing& drawing) {
    cv::Mat image(cv::Size(drawing.page * pixelsPerMillimetre), CV_8UC1, cv::Scalar(255));
    for (const cv::Rect2d& r : drawing.rectangles) {
        const cv::Point start(r.tl() * pixelsPerMillimetre);
        const cv::Point end(r.br() * pixelsPerMillimetre);
        image(cv::Rect(start, end)).setTo(0);
    }
    constexpr int shift = 6;
    for (const auto& [centre, radius] : drawing.discs)
        cv::circle(image,
                   cv::Point((centre * pixelsPerMillimetre - cv::Point2d(0.5, 0.5)) * (1 << shift)),
                   cvRound(radius * pixelsPerMillimetre * (1 << shift)), cv::Scalar(0), cv::FILLED,
                   cv::LINE_AA, shift);
    return image;
}

std::vector<StereoImages> renderBoard(const RigModel& rig, const Board& board, int count,
                                      const BoardPlaces& places) {
    const Drawing drawing = drawBoard(board, fittedPage);
    const cv::Mat picture = rasterise(drawing);
    const double x = drawing.page.width / 2000, y = drawing.page.height / 2000;
    std::vector<StereoImages> views;
    for (int i = 0; i < count; ++i) {
        const Pose pose = poseOf(i, 2 * std::max(x, y), places);
        PointScene corners;
        for (const cv::Vec3d& corner : {cv::Vec3d(-x, -y, 0), {x, -y, 0}, {x, y, 0}, {-x, y, 0}})
            corners.emplace_back(rotationOf(pose) * corner + pose.shift);
        const Matches seen = see(rig, corners);
        views.push_back({renderPicture(picture, seen.left, rig.left.imageSize),
                         renderPicture(picture, seen.right, rig.right.imageSize)});
    }
    return views;
}

}  // namespace tiomipra::test
