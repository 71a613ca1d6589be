#include "rigs/board.hpp"

#include <algorithm>
#include <opencv2/aruco/charuco.hpp>

#include "base/errors.hpp"
#include "base/text.hpp"

namespace tiomipra {
namespace {

void checkCorners(const Board& board) {
    constexpr int fewest = 3;
    constexpr int most = 100;
    const auto [smaller, larger] = std::minmax({board.corners.width, board.corners.height});
    if (smaller < fewest || larger > most)
        throw SettingError(
            "corners",
            fmt::format("is {}, must be from {} to {}", describe(board.corners),
                        describe(cv::Size(fewest, fewest)), describe(cv::Size(most, most))));
}

void checkMarker(const Board& board) {
    if (!(board.marker > 0 && board.marker < board.square))
        throw SettingError(
            "marker",
            fmt::format(
                "{:f}, the side of a ChArUco board's markers, must be above 0 and below the "
                "side of a square, {:f}",
                board.marker, board.square));
}

// Every second square has a marker of its own.
void checkDictionary(const Board& board) {
    const int needed = (board.corners.width + 1) * (board.corners.height + 1) / 2;
    const int available =
        cv::aruco::getPredefinedDictionary(dictionaryNames().at(board.dictionary))->bytesList.rows;
    if (needed > available)
        throw SettingError(
            "corners", fmt::format("{} needs {} markers, dictionary {} has only {}",
                                   describe(board.corners), needed, board.dictionary, available));
}

}  // namespace

const std::map<std::string, Pattern>& patternNames() {
    static const std::map<std::string, Pattern> names{
        {"chessboard", Pattern::chessboard},
        {"circles", Pattern::circles},
        {"asymmetric-circles", Pattern::asymmetricCircles},
        {"charuco", Pattern::charuco}};
    return names;
}

std::string nameOf(Pattern pattern) {
    const auto& names = patternNames();
    return std::find_if(names.begin(), names.end(),
                        [&](const auto& entry) { return entry.second == pattern; })
        ->first;
}

const std::map<std::string, int>& dictionaryNames() {
    static const std::map<std::string, int> names{
        {"4x4_50", cv::aruco::DICT_4X4_50},
        {"4x4_100", cv::aruco::DICT_4X4_100},
        {"4x4_250", cv::aruco::DICT_4X4_250},
        {"4x4_1000", cv::aruco::DICT_4X4_1000},
        {"5x5_50", cv::aruco::DICT_5X5_50},
        {"5x5_100", cv::aruco::DICT_5X5_100},
        {"5x5_250", cv::aruco::DICT_5X5_250},
        {"5x5_1000", cv::aruco::DICT_5X5_1000},
        {"6x6_50", cv::aruco::DICT_6X6_50},
        {"6x6_100", cv::aruco::DICT_6X6_100},
        {"6x6_250", cv::aruco::DICT_6X6_250},
        {"6x6_1000", cv::aruco::DICT_6X6_1000},
        {"7x7_50", cv::aruco::DICT_7X7_50},
        {"7x7_100", cv::aruco::DICT_7X7_100},
        {"7x7_250", cv::aruco::DICT_7X7_250},
        {"7x7_1000", cv::aruco::DICT_7X7_1000},
        {"original", cv::aruco::DICT_ARUCO_ORIGINAL},
        {"apriltag_16h5", cv::aruco::DICT_APRILTAG_16h5},
        {"apriltag_25h9", cv::aruco::DICT_APRILTAG_25h9},
        {"apriltag_36h10", cv::aruco::DICT_APRILTAG_36h10},
        {"apriltag_36h11", cv::aruco::DICT_APRILTAG_36h11}};
    return names;
}

void checkBoard(const Board& board) {
    checkCorners(board);
    if (board.pattern != Pattern::charuco)
        return;
    checkMarker(board);
    checkDictionary(board);
}

std::vector<cv::Point3f> boardPoints(const Board& board) {
    std::vector<cv::Point3f> points;
    for (int y = 0; y < board.corners.height; ++y) {
        for (int x = 0; x < board.corners.width; ++x) {
            const int column = board.pattern == Pattern::asymmetricCircles ? 2 * x + y % 2 : x;
            points.emplace_back(static_cast<float>(column * board.square),
                                static_cast<float>(y * board.square), 0.F);
        }
    }
    return points;
}

bool looksSameAfterHalfTurn(const Board& board) {
    switch (board.pattern) {
        case Pattern::chessboard:
            return (board.corners.width + board.corners.height) % 2 == 0;
        case Pattern::circles:
            return true;
        case Pattern::asymmetricCircles:
            return board.corners.height % 2 == 0;
        case Pattern::charuco:
            break;
    }
    return false;
}

}  // namespace tiomipra
