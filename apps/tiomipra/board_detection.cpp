#include "board_detection.hpp"

#include <algorithm>
#include <array>
#include <limits>
#include <numeric>
#include <opencv2/aruco/charuco.hpp>
#include <opencv2/calib3d.hpp>
#include <opencv2/features2d.hpp>
#include <opencv2/imgproc.hpp>

#include "status.hpp"
#include "text.hpp"

namespace tiomipra {

namespace {

using Points = std::vector<cv::Point2f>;

// Longest side in pixels of the copy in which a board is looked for.
constexpr int searchSide = 1000;

constexpr std::size_t minimumPoints = 6;

// On photographs 0.25 to 0.35 gave about the same errors, 0.45 three times as much.
constexpr double chessboardReach = 0.3;

double searchScale(const cv::Size& size) {
    return std::min(1., double(searchSide) / std::max(size.width, size.height));
}

cv::Mat reduced(const cv::Mat& image, double scale) {
    cv::Mat result;
    cv::resize(image, result, {}, scale, scale, cv::INTER_AREA);
    return result;
}

// From the pixels of a reduced copy to those of the image; pixel centres are whole numbers in both.
void enlarge(Points& points, double scale) {
    for (cv::Point2f& point : points) {
        point.x = float((point.x + 0.5) / scale - 0.5);
        point.y = float((point.y + 0.5) / scale - 0.5);
    }
}

double smallestSpacing(const Points& points) {
    double smallest = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i < points.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j)
            smallest = std::min(smallest, cv::norm(points[i] - points[j]));
    }
    return smallest;
}

// `reach` is half the side of the window around each corner, relative to the smallest distance
// between two corners. A window that reaches into other edges is pulled towards them, a needlessly
// small one is noisy.
void refineCorners(const cv::Mat& image, Points& points, double reach) {
    const int window = std::max(2, cvRound(reach * smallestSpacing(points)));
    const cv::TermCriteria untilStill(cv::TermCriteria::COUNT + cv::TermCriteria::EPS, 100, 1e-4);
    cv::cornerSubPix(image, points, {window, window}, {-1, -1}, untilStill);
}

double brightnessAt(const cv::Mat& image, const cv::Point2f& point) {
    cv::Mat patch;
    cv::getRectSubPix(image, {3, 3}, point, patch);
    return cv::mean(patch)[0];
}

// Brightness of the square whose first corner is (x, y).
double squareBrightness(const cv::Mat& image, const Points& points, int width, int x, int y) {
    const std::size_t i = std::size_t(y) * width + x;
    return brightnessAt(
        image, 0.25f * (points[i] + points[i + 1] + points[i + width] + points[i + width + 1]));
}

// How much brighter the squares with the colour of the first one are than the others.
double colourDifference(const cv::Mat& image, const Points& points, const cv::Size& grid) {
    std::array<double, 2> sums{};
    std::array<int, 2> counts{};
    for (int y = 0; y + 1 < grid.height; ++y) {
        for (int x = 0; x + 1 < grid.width; ++x) {
            const std::size_t colour = std::size_t(x + y) % 2;
            sums[colour] += squareBrightness(image, points, grid.width, x, y);
            ++counts[colour];
        }
    }
    return sums[0] / counts[0] - sums[1] / counts[1];
}

// Half a turn exchanges the colours of the squares where one side has an odd number of corners and
// the other an even one: such a board has one numbering that starts at a dark square.
bool startsAtBrightSquare(const cv::Mat& image, const Points& points, const cv::Size& grid) {
    return colourDifference(image, points, grid) > 0;
}

// Where these points are on the board, in squares from the first one.
Points placesOf(const std::vector<int>& ids, const Board& board) {
    Points places;
    for (const int id : ids) {
        const int row = id / board.corners.width;
        places.emplace_back(float(id - row * board.corners.width), float(row));
    }
    return places;
}

// Points in the squares of the second row or column beyond the corners on each of the four sides,
// in squares from the first corner. The first one beyond is the board's outer row; the second one
// is its margin, unless the board is larger. As an outer row may be cut, the points are near its
// start.
std::array<Points, 4> squaresBeyond(const cv::Size& grid) {
    constexpr float near = 0.3F;
    std::array<Points, 4> sides;
    for (int x = -1; x < grid.width; ++x) {
        sides[0].emplace_back(float(x) + 0.5F, -1 - near);
        sides[1].emplace_back(float(x) + 0.5F, float(grid.height) + near);
    }
    for (int y = -1; y < grid.height; ++y) {
        sides[2].emplace_back(-1 - near, float(y) + 0.5F);
        sides[3].emplace_back(float(grid.width) + near, float(y) + 0.5F);
    }
    return sides;
}

// Whether squares in a line are bright and dark in turn, by at least `contrast`. Only those inside
// of the image are looked at, of which there must be some.
bool alternate(const cv::Mat& image, const Points& squares, double contrast) {
    constexpr std::size_t fewest = 4;
    const cv::Rect2f inside(0, 0, float(image.cols), float(image.rows));
    std::vector<double> brightness;
    for (const cv::Point2f& square : squares) {
        if (inside.contains(square))
            brightness.push_back(brightnessAt(image, square));
    }
    if (brightness.size() < fewest)
        return false;
    std::vector<double> steps;
    for (std::size_t i = 1; i < brightness.size(); ++i)
        steps.push_back((brightness[i] - brightness[i - 1]) * (i % 2 == 0 ? 1 : -1));
    const auto [smallest, largest] = std::minmax_element(steps.begin(), steps.end());
    return *smallest >= contrast || *largest <= -contrast;
}

bool halfTurnLooksTheSame(const Board& board) {
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

// The exhaustive search copes with blur and uneven light, the other one with small squares.
Points findChessboard(const cv::Mat& image, const cv::Size& corners) {
    Points points;
    const int thresholding = cv::CALIB_CB_ADAPTIVE_THRESH | cv::CALIB_CB_NORMALIZE_IMAGE;
    if (cv::findChessboardCorners(image, corners, points, thresholding) ||
        cv::findChessboardCornersSB(image, corners, points, cv::CALIB_CB_EXHAUSTIVE)) {
        return points;
    }
    return {};
}

Points detectChessboard(const cv::Mat& image, const Board& board) {
    const double scale = searchScale(image.size());
    Points points = findChessboard(reduced(image, scale), board.corners);
    if (points.empty()) {
        return {};
    }
    enlarge(points, scale);
    refineCorners(image, points, chessboardReach);
    if (!halfTurnLooksTheSame(board) && startsAtBrightSquare(image, points, board.corners)) {
        std::reverse(points.begin(), points.end());
    }
    return points;
}

// The default detector's limits are areas in pixels that fit small images only.
cv::Ptr<cv::FeatureDetector> circleDetector(const cv::Size& image, const cv::Size& grid) {
    cv::SimpleBlobDetector::Params parameters;
    parameters.minArea = 10;
    parameters.maxArea = float(image.area()) / float(grid.area());
    parameters.minDistBetweenBlobs = 4;
    return cv::SimpleBlobDetector::create(parameters);
}

Points findCircles(const cv::Mat& image, const Board& board) {
    Points points;
    const int grid = board.pattern == Pattern::circles ? cv::CALIB_CB_SYMMETRIC_GRID
                                                       : cv::CALIB_CB_ASYMMETRIC_GRID;
    const auto detector = circleDetector(image.size(), board.corners);
    if (cv::findCirclesGrid(image, board.corners, points, grid, detector) ||
        cv::findCirclesGrid(image, board.corners, points, grid | cv::CALIB_CB_CLUSTERING,
                            detector)) {
        return points;
    }
    return {};
}

Points detectCircles(const cv::Mat& image, const Board& board) {
    const double scale = searchScale(image.size());
    Points points = findCircles(reduced(image, scale), board);
    if (points.empty() || scale == 1) {
        return points;
    }
    Points fullSize = findCircles(image, board);
    if (!fullSize.empty()) {
        return fullSize;
    }
    enlarge(points, scale);
    return points;
}

Detection allPoints(Points points) {
    Detection detection;
    detection.ids.resize(points.size());
    std::iota(detection.ids.begin(), detection.ids.end(), 0);
    detection.points = std::move(points);
    return detection;
}

cv::Ptr<cv::aruco::Dictionary> findDictionary(const Board& board) {
    return cv::aruco::getPredefinedDictionary(dictionaryNames().at(board.dictionary));
}

// Up to the markers' own corners, nearly.
double charucoReach(const Board& board) {
    const double gap = (1 - board.marker / board.square) / 2;
    return std::min(chessboardReach, 0.8 * gap);
}

Detection detectCharuco(const cv::Mat& image, const Board& board) {
    const auto dictionary = findDictionary(board);
    std::vector<Points> markers;
    std::vector<int> markerIds;
    cv::aruco::detectMarkers(image, dictionary, markers, markerIds);
    if (markers.empty()) {
        return {};
    }
    const auto charuco =
        cv::aruco::CharucoBoard::create(board.corners.width + 1, board.corners.height + 1,
                                        float(board.square), float(board.marker), dictionary);
    Detection detection;
    cv::aruco::interpolateCornersCharuco(markers, markerIds, image, charuco, detection.points,
                                         detection.ids);
    if (!determinePose(detection.ids, board))
        return {};
    refineCorners(image, detection.points, charucoReach(board));
    return detection;
}

// The ways to number the same grid of points from another corner or in another direction: for each
// point the index that it has in the present numbering.
std::vector<std::vector<int>> numberings(const cv::Size& grid) {
    std::vector<std::vector<int>> result;
    const int ways = grid.width == grid.height ? 8 : 4;
    for (int way = 0; way < ways; ++way) {
        std::vector<int> numbering;
        for (int y = 0; y < grid.height; ++y) {
            for (int x = 0; x < grid.width; ++x) {
                const int u = way & 1 ? grid.width - 1 - x : x;
                const int v = way & 2 ? grid.height - 1 - y : y;
                numbering.push_back(way & 4 ? u * grid.width + v : v * grid.width + u);
            }
        }
        result.push_back(std::move(numbering));
    }
    return result;
}

Points renumbered(const Points& points, const std::vector<int>& numbering) {
    Points result;
    for (const int i : numbering) {
        result.push_back(points[i]);
    }
    return result;
}

// Sum of squared distances between two sets of points about their common centre.
double dissimilarity(const Points& first, const Points& second) {
    const cv::Scalar shift = cv::mean(first) - cv::mean(second);
    double sum = 0;
    for (std::size_t i = 0; i < first.size(); ++i) {
        const double dx = first[i].x - second[i].x - shift[0];
        const double dy = first[i].y - second[i].y - shift[1];
        sum += dx * dx + dy * dy;
    }
    return sum;
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
    constexpr int fewest = 3;
    constexpr int most = 100;
    if (std::min(board.corners.width, board.corners.height) < fewest ||
        std::max(board.corners.width, board.corners.height) > most)
        throw UsageError("--corners is " + sizeText(board.corners) +
                         ", must be from 3x3 to 100x100");
    if (board.pattern != Pattern::charuco) {
        return;
    }
    if (!(board.marker > 0 && board.marker < board.square)) {
        throw UsageError(
            "--marker, the side of a ChArUco board's markers, is " + std::to_string(board.marker) +
            ", must be above 0 and below the side of a square, " + std::to_string(board.square));
    }
    const int markers = (board.corners.width + 1) * (board.corners.height + 1) / 2;
    const int available = findDictionary(board)->bytesList.rows;
    if (markers > available) {
        throw UsageError("--corners " + sizeText(board.corners) + " needs " +
                         std::to_string(markers) + " markers, --dictionary " + board.dictionary +
                         " has only " + std::to_string(available));
    }
}

std::vector<cv::Point3f> boardPoints(const Board& board) {
    std::vector<cv::Point3f> points;
    for (int y = 0; y < board.corners.height; ++y) {
        for (int x = 0; x < board.corners.width; ++x) {
            const int column = board.pattern == Pattern::asymmetricCircles ? 2 * x + y % 2 : x;
            points.emplace_back(float(column * board.square), float(y * board.square), 0.f);
        }
    }
    return points;
}

Detection detectBoard(const cv::Mat& image, const Board& board) {
    // OpenCV's finder draws from it, and must not depend on what this thread has looked at before.
    cv::theRNG() = cv::RNG();
    if (board.pattern == Pattern::charuco)
        return detectCharuco(image, board);
    return allPoints(board.pattern == Pattern::chessboard ? detectChessboard(image, board)
                                                          : detectCircles(image, board));
}

bool goesOn(const cv::Mat& image, const Detection& detection, const Board& board) {
    if (board.pattern != Pattern::chessboard || detection.empty())
        return false;
    const cv::Mat imageFromBoard =
        cv::findHomography(placesOf(detection.ids, board), detection.points);
    const double contrast = std::abs(colourDifference(image, detection.points, board.corners)) / 2;
    const auto sides = squaresBeyond(board.corners);
    return std::any_of(sides.begin(), sides.end(), [&](const Points& side) {
        Points squares;
        cv::perspectiveTransform(side, squares, imageFromBoard);
        return alternate(image, squares, contrast);
    });
}

void alignNumbering(Detection& detection, const Detection& reference, const Board& board) {
    if (!halfTurnLooksTheSame(board) || detection.empty() || reference.empty()) {
        return;
    }
    Points best = detection.points;
    for (const std::vector<int>& numbering : numberings(board.corners)) {
        Points candidate = renumbered(detection.points, numbering);
        if (dissimilarity(candidate, reference.points) < dissimilarity(best, reference.points)) {
            best = std::move(candidate);
        }
    }
    detection.points = std::move(best);
}

SharedPoints sharedPoints(const Detection& first, const Detection& second) {
    SharedPoints shared;
    for (std::size_t i = 0, j = 0; i < first.ids.size() && j < second.ids.size();) {
        if (first.ids[i] < second.ids[j]) {
            ++i;
        } else if (second.ids[j] < first.ids[i]) {
            ++j;
        } else {
            shared.ids.push_back(first.ids[i]);
            shared.first.push_back(first.points[i++]);
            shared.second.push_back(second.points[j++]);
        }
    }
    return shared;
}

bool determinePose(const std::vector<int>& ids, const Board& board) {
    if (ids.size() < minimumPoints) {
        return false;
    }
    const cv::Size2f extent = cv::minAreaRect(placesOf(ids, board)).size;
    return std::min(extent.width, extent.height) > 0.5f;
}

}  // namespace tiomipra
