#include "rigs/board_detection.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>
#include <opencv2/aruco/charuco.hpp>
#include <opencv2/calib3d.hpp>
#include <opencv2/features2d.hpp>
#include <opencv2/imgproc.hpp>

namespace tiomipra {
namespace {

using Points = std::vector<cv::Point2f>;

// Longest side in pixels of the copy in which a board is looked for.
constexpr int searchSide = 1000;

// Half the side of the window around each corner in which it is refined, relative to the smallest
// distance between two corners, but at least some pixels where that distance allows it.
struct RefinementWindow {
    double reach;
    double fewestPixels;
};

// On photographs 0.25 to 0.35 gave about the same errors, 0.45 three times as much.
constexpr RefinementWindow chessboardWindow{0.3, 4};

double searchScale(const cv::Size& size) {
    return std::min(1., static_cast<double>(searchSide) / std::max(size.width, size.height));
}

cv::Mat reduced(const cv::Mat& image, double scale) {
    cv::Mat result;
    cv::resize(image, result, {}, scale, scale, cv::INTER_AREA);
    return result;
}

// From the pixels of a reduced copy to those of the image; pixel centres are whole numbers in both.
void enlarge(Points& points, double scale) {
    for (cv::Point2f& point : points) {
        point.x = static_cast<float>((point.x + 0.5) / scale - 0.5);
        point.y = static_cast<float>((point.y + 0.5) / scale - 0.5);
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

// A window that reaches into other edges is pulled towards them, one of few pixels is noisy.
// Rendered boards: beyond 0.8 of the distance to the next corner some of the corners fall together.
void refineCorners(const cv::Mat& image, Points& points, const RefinementWindow& window) {
    const double spacing = smallestSpacing(points);
    const double fewest = std::min(window.fewestPixels, std::floor(0.7 * spacing));
    const int half = std::max({2, cvRound(window.reach * spacing), static_cast<int>(fewest)});
    const cv::TermCriteria untilStill(cv::TermCriteria::COUNT + cv::TermCriteria::EPS, 100, 1e-4);
    cv::cornerSubPix(image, points, {half, half}, {-1, -1}, untilStill);
}

double brightnessAt(const cv::Mat& image, const cv::Point2f& point) {
    cv::Mat patch;
    cv::getRectSubPix(image, {3, 3}, point, patch);
    return cv::mean(patch)[0];
}

// Brightness of the square whose first corner is (x, y).
double squareBrightness(const cv::Mat& image, const Points& points, int width, int x, int y) {
    const std::size_t i = static_cast<std::size_t>(y) * width + x;
    return brightnessAt(
        image, 0.25F * (points[i] + points[i + 1] + points[i + width] + points[i + width + 1]));
}

// How much brighter the squares with the colour of the first one are than the others.
double colourDifference(const cv::Mat& image, const Points& points, const cv::Size& grid) {
    std::array<double, 2> sums{};
    std::array<int, 2> counts{};
    for (int y = 0; y + 1 < grid.height; ++y) {
        for (int x = 0; x + 1 < grid.width; ++x) {
            const auto colour = static_cast<std::size_t>((x + y) % 2);
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
        places.emplace_back(static_cast<float>(id % board.corners.width), static_cast<float>(row));
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
        sides[0].emplace_back(static_cast<float>(x) + 0.5F, -1 - near);
        sides[1].emplace_back(static_cast<float>(x) + 0.5F, static_cast<float>(grid.height) + near);
    }
    for (int y = -1; y < grid.height; ++y) {
        sides[2].emplace_back(-1 - near, static_cast<float>(y) + 0.5F);
        sides[3].emplace_back(static_cast<float>(grid.width) + near, static_cast<float>(y) + 0.5F);
    }
    return sides;
}

std::vector<double> brightnessInside(const cv::Mat& image, const Points& points) {
    const cv::Rect2f inside(cv::Point2f(), cv::Size2f(image.size()));
    std::vector<double> brightness;
    for (const cv::Point2f& point : points) {
        if (inside.contains(point))
            brightness.push_back(brightnessAt(image, point));
    }
    return brightness;
}

// Whether squares in a line are bright and dark in turn, by at least `contrast`. Only those inside
// of the image are looked at, of which there must be some.
bool alternate(const cv::Mat& image, const Points& squares, double contrast) {
    constexpr std::size_t fewest = 4;
    const std::vector<double> brightness = brightnessInside(image, squares);
    if (brightness.size() < fewest)
        return false;
    std::vector<double> steps;
    for (std::size_t i = 1; i < brightness.size(); ++i)
        steps.push_back((brightness[i] - brightness[i - 1]) * (i % 2 == 0 ? 1 : -1));
    const auto [smallest, largest] = std::minmax_element(steps.begin(), steps.end());
    return *smallest >= contrast || *largest <= -contrast;
}

// The exhaustive search copes with blur and uneven light, the other one with small squares.
Points findChessboard(const cv::Mat& image, const cv::Size& corners) {
    Points points;
    const int thresholding = cv::CALIB_CB_ADAPTIVE_THRESH | cv::CALIB_CB_NORMALIZE_IMAGE;
    const bool isFound =
        cv::findChessboardCorners(image, corners, points, thresholding) ||
        cv::findChessboardCornersSB(image, corners, points, cv::CALIB_CB_EXHAUSTIVE);
    return isFound ? points : Points();
}

Points detectChessboard(const cv::Mat& image, const Board& board) {
    const double scale = searchScale(image.size());
    Points points = findChessboard(reduced(image, scale), board.corners);
    if (points.empty())
        return {};
    enlarge(points, scale);
    refineCorners(image, points, chessboardWindow);
    if (!looksSameAfterHalfTurn(board) && startsAtBrightSquare(image, points, board.corners))
        std::reverse(points.begin(), points.end());
    return points;
}

// The default detector's limits are areas in pixels that fit small images only.
cv::Ptr<cv::FeatureDetector> circleDetector(const cv::Size& image, const cv::Size& grid) {
    cv::SimpleBlobDetector::Params parameters;
    parameters.minArea = 10;
    parameters.maxArea = static_cast<float>(image.area()) / static_cast<float>(grid.area());
    parameters.minDistBetweenBlobs = 4;
    return cv::SimpleBlobDetector::create(parameters);
}

Points findCircles(const cv::Mat& image, const Board& board) {
    Points points;
    const int grid = board.pattern == Pattern::circles ? cv::CALIB_CB_SYMMETRIC_GRID
                                                       : cv::CALIB_CB_ASYMMETRIC_GRID;
    const auto detector = circleDetector(image.size(), board.corners);
    const auto find = [&](int flags) {
        return cv::findCirclesGrid(image, board.corners, points, flags, detector);
    };
    return find(grid) || find(grid | cv::CALIB_CB_CLUSTERING) ? points : Points();
}

Points detectCircles(const cv::Mat& image, const Board& board) {
    const double scale = searchScale(image.size());
    Points points = findCircles(reduced(image, scale), board);
    if (points.empty() || scale == 1)
        return points;
    Points fullSize = findCircles(image, board);
    if (!fullSize.empty())
        return fullSize;
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

// Up to the markers' own corners, nearly.
RefinementWindow charucoWindow(const Board& board) {
    const double gap = (1 - board.marker / board.square) / 2;
    return {std::min(chessboardWindow.reach, 0.8 * gap), 2};
}

Detection detectCharuco(const cv::Mat& image, const Board& board) {
    const auto dictionary =
        cv::aruco::getPredefinedDictionary(dictionaryNames().at(board.dictionary));
    std::vector<Points> markers;
    std::vector<int> markerIds;
    cv::aruco::detectMarkers(image, dictionary, markers, markerIds);
    if (markers.empty())
        return {};
    const auto charuco = cv::aruco::CharucoBoard::create(
        board.corners.width + 1, board.corners.height + 1, static_cast<float>(board.square),
        static_cast<float>(board.marker), dictionary);
    Detection detection;
    cv::aruco::interpolateCornersCharuco(markers, markerIds, image, charuco, detection.points,
                                         detection.ids);
    if (!determinePose(detection.ids, board))
        return {};
    refineCorners(image, detection.points, charucoWindow(board));
    return detection;
}

}  // namespace

Detection detectBoard(const cv::Mat& image, const Board& board) {
    // OpenCV's finder draws from it, and must not depend on what this thread has looked at before.
    cv::theRNG() = cv::RNG();
    if (board.pattern == Pattern::charuco)
        return detectCharuco(image, board);
    return allPoints(board.pattern == Pattern::chessboard ? detectChessboard(image, board)
                                                          : detectCircles(image, board));
}

bool isPartOfLargerBoard(const cv::Mat& image, const Detection& detection, const Board& board) {
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
    constexpr std::size_t fewest = 6;
    if (ids.size() < fewest)
        return false;
    const cv::Size2f extent = cv::minAreaRect(placesOf(ids, board)).size;
    return std::min(extent.width, extent.height) > 0.5F;
}

}  // namespace tiomipra
