#include "support/rendered_boards.hpp"

#include <cmath>
#include <opencv2/aruco/charuco.hpp>
#include <opencv2/calib3d.hpp>
#include <opencv2/imgproc.hpp>

namespace tiomipra::test {
namespace {

constexpr int pixelsPerSquare = 80;

void drawChessboard(const Board& board, cv::Mat& picture) {
    const cv::Size square(pixelsPerSquare, pixelsPerSquare);
    for (int row = 0; row <= board.corners.height; ++row) {
        for (int column = row % 2; column <= board.corners.width; column += 2)
            picture(cv::Rect(cv::Point(column, row) * pixelsPerSquare, square)).setTo(0);
    }
}

void drawCharuco(const Board& board, cv::Mat& picture) {
    const auto charuco = cv::aruco::CharucoBoard::create(
        board.corners.width + 1, board.corners.height + 1, static_cast<float>(board.square),
        static_cast<float>(board.marker),
        cv::aruco::getPredefinedDictionary(dictionaryNames().at(board.dictionary)));
    charuco->draw(picture.size(), picture);
}

void drawCircles(const Board& board, cv::Mat& picture) {
    for (const cv::Point3f& point : boardPoints(board)) {
        // An even diameter around the corner of four pixels, which is where the point lies.
        const cv::Point2d centre =
            (cv::Point2d(point.x, point.y) / board.square + cv::Point2d(1, 1)) * pixelsPerSquare -
            cv::Point2d(0.5, 0.5);
        constexpr int shift = 4;
        const int radius = pixelsPerSquare / (board.pattern == Pattern::circles ? 4 : 2);
        cv::circle(picture, cv::Point(centre * (1 << shift)), radius << shift, cv::Scalar(0),
                   cv::FILLED, cv::LINE_AA, shift);
    }
}

// With a white square around it.
cv::Mat drawBoard(const Board& board) {
    const int steps = board.pattern == Pattern::asymmetricCircles ? 2 : 1;
    const cv::Size squares(board.corners.width * steps + 1, board.corners.height + 1);
    cv::Mat picture(squares * pixelsPerSquare, CV_8UC1, cv::Scalar(255));
    const auto draw = board.pattern == Pattern::chessboard ? drawChessboard
                      : board.pattern == Pattern::charuco  ? drawCharuco
                                                           : drawCircles;
    draw(board, picture);
    cv::copyMakeBorder(picture, picture, pixelsPerSquare, pixelsPerSquare, pixelsPerSquare,
                       pixelsPerSquare, cv::BORDER_CONSTANT, cv::Scalar(255));
    return picture;
}

cv::Matx33d rotation(const cv::Vec3d& vector) {
    cv::Matx33d matrix;
    cv::Rodrigues(vector, matrix);
    return matrix;
}

cv::Matx33d scaling(double factor) {
    // Pixel centres are whole numbers before and after.
    const double shift = (factor - 1) / 2;
    return {factor, 0, shift, 0, factor, shift, 0, 0, 1};
}

// The picture of a plane: `pose` takes (x, y, 1) on the plane into the camera's frame.
cv::Mat renderPlane(const cv::Mat& picture, const cv::Matx33d& pose, const RenderedRig& rig) {
    const cv::Matx33d camera(rig.focalLength, 0, (rig.imageSize.width - 1) / 2., 0, rig.focalLength,
                             (rig.imageSize.height - 1) / 2., 0, 0, 1);
    constexpr int oversampling = 4;
    cv::Mat large;
    cv::warpPerspective(picture, large, scaling(oversampling) * camera * pose,
                        rig.imageSize * oversampling, cv::INTER_LINEAR, cv::BORDER_CONSTANT,
                        cv::Scalar(128));
    cv::Mat image;
    cv::resize(large, image, rig.imageSize, 0, 0, cv::INTER_AREA);
    return image;
}

}  // namespace

std::vector<RenderedPair> renderViews(const Board& board, const RenderedRig& rig, int count,
                                      double overhang) {
    const cv::Mat picture = drawBoard(board);
    const double unit = board.square / pixelsPerSquare;
    const cv::Matx33d centred(unit, 0, -unit * (picture.cols - 1) / 2., 0, unit,
                              -unit * (picture.rows - 1) / 2., 0, 0, 1);
    const cv::Matx33d turn = rotation(rig.turn);
    std::vector<RenderedPair> views;
    for (int i = 0; i < count; ++i) {
        const double angle = 2.4 * i;
        const double distance =
            rig.focalLength * unit * picture.cols / (0.4 * rig.imageSize.width) * (1 + 0.03 * i);
        const double reach = (0.2 + overhang) * rig.imageSize.width / rig.focalLength * distance;
        const cv::Vec3d place(reach * std::cos(1.7 * i) + rig.baseline / 2,
                              0.7 * reach * std::sin(1.7 * i), distance);
        const cv::Matx33d tilt =
            rotation({0.45 * std::sin(angle), 0.45 * std::cos(angle), 0.1 * std::sin(i)});
        // Takes (x, y, 1) on the board to R (x, y, 0) + t.
        const auto pose = [&](const cv::Matx33d& camera, const cv::Vec3d& offset) {
            const cv::Matx31d shift = camera * (place - offset);
            return (camera * tilt * cv::Matx33d::diag({1, 1, 0}) + shift * cv::Matx13d(0, 0, 1)) *
                   centred;
        };
        views.push_back({renderPlane(picture, pose(cv::Matx33d::eye(), {}), rig),
                         renderPlane(picture, pose(turn, {rig.baseline, 0, 0}), rig)});
    }
    return views;
}

}  // namespace tiomipra::test
