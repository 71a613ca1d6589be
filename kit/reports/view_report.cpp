#include "reports/view_report.hpp"

#include <cmath>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "base/text.hpp"

namespace tiomipra {
namespace {

using Json = nlohmann::ordered_json;

// To a thousandth of a pixel: what is found is not known better.
double rounded(double pixels) {
    constexpr double steps = 1000;
    return std::round(pixels * steps) / steps;
}

Json pixelsToJson(const std::vector<cv::Point2d>& points) {
    Json list = Json::array();
    for (const cv::Point2d& point : points)
        list.push_back({rounded(point.x), rounded(point.y)});
    return list;
}

// The number that a 32-bit float was meant to be.
double asMeant(float value) {
    return std::stod(fmt::to_string(value));
}

Json toJson(const ReprojectedPoints& points) {
    return {{"error", points.error},
            {"ids", points.ids},
            {"found", pixelsToJson(points.found)},
            {"reprojected", pixelsToJson(points.reprojected)}};
}

}  // namespace

Json matrixToJson(const cv::Matx33d& matrix) {
    Json rows = Json::array();
    for (int row = 0; row < matrix.rows; ++row)
        rows.push_back({matrix(row, 0), matrix(row, 1), matrix(row, 2)});
    return rows;
}

Json vectorToJson(const cv::Vec3d& vector) {
    return {vector[0], vector[1], vector[2]};
}

Json toJson(const Board& board) {
    Json points = Json::array();
    for (const cv::Point3f& point : boardPoints(board))
        points.push_back({asMeant(point.x), asMeant(point.y)});
    return {{"pattern", nameOf(board.pattern)},
            {"corners", {board.corners.width, board.corners.height}},
            {"square", board.square},
            {"points", points}};
}

Json toJson(const Pose& pose) {
    return {{"turn", vectorToJson(pose.turn)}, {"shift", vectorToJson(pose.shift)}};
}

Json toJson(const ReprojectedView& view) {
    return {{"leftPoints", toJson(view.left)}, {"rightPoints", toJson(view.right)}};
}

}  // namespace tiomipra
