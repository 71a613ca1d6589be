#include "rigs/board_drawing.hpp"

#include <algorithm>
#include <cmath>
#include <opencv2/aruco/charuco.hpp>
#include <optional>

#include "base/errors.hpp"
#include "base/quantities.hpp"
#include "base/text.hpp"

namespace tiomipra {
namespace {

// Millimetres. Printers leave the outermost ones of a page white.
constexpr double margin = 8;
constexpr double footHeight = 12;     // of what stands below the board
constexpr double narrowest = 80;      // page that has room for that
constexpr double largestPage = 5000;  // that a PDF file can have

bool hasSquares(const Board& board) {
    return board.pattern == Pattern::chessboard || board.pattern == Pattern::charuco;
}

double inMillimetres(double length) {
    return 1000 * length;
}

cv::Size squaresOf(const Board& board) {
    return board.corners + cv::Size(1, 1);
}

// Half of the gap between two neighbours, whose distance on an asymmetric board is a diagonal.
double discRadius(const Board& board) {
    const double distance = board.pattern == Pattern::circles ? 1 : M_SQRT2;
    return 0.25 * distance * inMillimetres(board.square);
}

// Of all that is printed of the pattern.
cv::Size2d extentOf(const Board& board) {
    const double square = inMillimetres(board.square);
    if (hasSquares(board))
        return cv::Size2d(squaresOf(board)) * square;
    const cv::Point3f last = boardPoints(board).back();
    const bool isShifted = board.pattern == Pattern::asymmetricCircles;
    const double width = isShifted ? (2 * board.corners.width - 1) * board.square : last.x;
    const double diameter = 2 * discRadius(board);
    return {inMillimetres(width) + diameter, inMillimetres(last.y) + diameter};
}

void addSquares(const Board& board, const cv::Point2d& start, Drawing& drawing) {
    const double square = inMillimetres(board.square);
    const cv::Size squares = squaresOf(board);
    for (int y = 0; y < squares.height; ++y) {
        for (int x = y % 2; x < squares.width; x += 2)
            drawing.rectangles.emplace_back(start + cv::Point2d(x, y) * square,
                                            cv::Size2d(square, square));
    }
}

// A marker whose cells are the pixels of `cells`; neighbours in a row as one rectangle.
void addMarker(const cv::Mat& cells, const cv::Point2d& start, double cell, Drawing& drawing) {
    for (int y = 0; y < cells.rows; ++y) {
        for (int x = 0; x < cells.cols;) {
            int end = x;
            while (end < cells.cols && cells.at<unsigned char>(y, end) == 0)
                ++end;
            if (end > x)
                drawing.rectangles.emplace_back(start + cv::Point2d(x, y) * cell,
                                                cv::Size2d((end - x) * cell, cell));
            x = end + 1;
        }
    }
}

// One in each white square, numbered row by row.
void addMarkers(const Board& board, const cv::Point2d& start, Drawing& drawing) {
    const auto dictionary =
        cv::aruco::getPredefinedDictionary(dictionaryNames().at(board.dictionary));
    const int cellsAcross = dictionary->markerSize + 2;
    const double square = inMillimetres(board.square);
    const double side = inMillimetres(board.marker);
    const cv::Point2d inset(0.5 * (square - side), 0.5 * (square - side));
    int id = 0;
    for (int y = 0; y < squaresOf(board).height; ++y) {
        for (int x = 1 - y % 2; x < squaresOf(board).width; x += 2) {
            cv::Mat cells;
            dictionary->drawMarker(id++, cellsAcross, cells, 1);
            addMarker(cells, start + cv::Point2d(x, y) * square + inset, side / cellsAcross,
                      drawing);
        }
    }
}

void addDiscs(const Board& board, const cv::Point2d& start, Drawing& drawing) {
    const double radius = discRadius(board);
    for (const cv::Point3f& point : boardPoints(board))
        drawing.discs.push_back(
            {start + cv::Point2d(inMillimetres(point.x) + radius, inMillimetres(point.y) + radius),
             radius});
}

void addPattern(const Board& board, const cv::Point2d& start, Drawing& drawing) {
    if (!hasSquares(board)) {
        addDiscs(board, start, drawing);
        return;
    }
    addSquares(board, start, drawing);
    if (board.pattern == Pattern::charuco)
        addMarkers(board, start, drawing);
}

// A line with a stroke at every centimetre.
void addRuler(const cv::Point2d& start, int centimetres, Drawing& drawing) {
    constexpr double line = 0.2;
    constexpr double stroke = 3;
    drawing.rectangles.emplace_back(start.x, start.y, 10 * centimetres, line);
    for (int i = 0; i <= centimetres; ++i) {
        const double length = i == 0 || i == centimetres ? 2 * stroke : stroke;
        // The outer edges of the first and the last one are what is measured.
        const double x = start.x + 10 * i - (i == 0 ? 0 : i == centimetres ? line : line / 2);
        drawing.rectangles.emplace_back(x, start.y, line, length);
    }
}

// The ruler, and beside it what the board is.
void addFoot(const Board& board, Drawing& drawing) {
    const double width = drawing.page.width - 2 * margin;
    const int centimetres = std::clamp(static_cast<int>(0.052 * width), 1, 10);
    const double top = drawing.page.height - margin - 6;
    addRuler({margin, top}, centimetres, drawing);
    const std::string lines[] = {
        describeBoard(board),
        fmt::format("Print at 100 %, not fitted to the page: the ruler must be {} mm long",
                    10 * centimetres)};
    const double start = margin + 10 * centimetres + 4;
    const double longest = static_cast<double>(std::max(lines[0].size(), lines[1].size()));
    // A letter of the font is half as wide as the font is high, at most.
    const double height = std::min(3., (drawing.page.width - margin - start) / (0.52 * longest));
    drawing.labels.push_back({{start, top + height * 0.8}, height, lines[0]});
    drawing.labels.push_back({{start, top + 6}, height, lines[1]});
}

std::string describePage(const cv::Size2d& size) {
    return fmt::format("{}x{} mm", digits(size.width), digits(size.height));
}

// `page` upright or across, such that it holds `needed`; the smaller side of both first.
std::optional<cv::Size2d> turnToHold(const cv::Size2d& page, const cv::Size2d& needed) {
    for (const cv::Size2d& size : {page, cv::Size2d(page.height, page.width)}) {
        if (needed.width <= size.width && needed.height <= size.height)
            return size;
    }
    return std::nullopt;
}

cv::Size2d fitPage(const cv::Size2d& needed) {
    if (std::max(needed.width, needed.height) > largestPage)
        throw SettingError("page", fmt::format("would be {}, must be up to {} mm",
                                               describePage(needed), largestPage));
    return needed;
}

cv::Size2d choosePage(const std::string& page, const cv::Size2d& needed) {
    if (page == fittedPage)
        return fitPage(needed);
    if (page != smallestPage) {
        if (const auto size = turnToHold(pageSizes().at(page), needed))
            return *size;
        throw SettingError("page", fmt::format("{} is too small: the board with its margins is {}",
                                               page, describePage(needed)));
    }
    for (const char* name : {"A4", "A3", "A2", "A1", "A0"}) {
        if (const auto size = turnToHold(pageSizes().at(name), needed))
            return *size;
    }
    throw SettingError("page",
                       fmt::format("must be {}: the board with its margins is {}, too large for A0",
                                   fittedPage, describePage(needed)));
}

}  // namespace

const std::map<std::string, cv::Size2d>& pageSizes() {
    static const std::map<std::string, cv::Size2d> sizes{
        {"A0", {841, 1189}},        {"A1", {594, 841}}, {"A2", {420, 594}},
        {"A3", {297, 420}},         {"A4", {210, 297}}, {"letter", {215.9, 279.4}},
        {"tabloid", {279.4, 431.8}}};
    return sizes;
}

Drawing drawBoard(const Board& board, const std::string& page) {
    if (board.unit != metres)
        throw SettingError("square", "has no unit; to be printed it needs one, as in 25mm");
    const cv::Size2d extent = extentOf(board);
    const cv::Size2d needed(std::max(narrowest, extent.width + 2 * margin),
                            extent.height + 2 * margin + footHeight);
    Drawing drawing;
    drawing.page = choosePage(page, needed);
    const cv::Size2d room = drawing.page - cv::Size2d(0, footHeight);
    addPattern(board, cv::Point2d(room - extent) * 0.5, drawing);
    addFoot(board, drawing);
    return drawing;
}

std::string describeBoard(const Board& board) {
    const auto length = [](double metresLong) { return digits(inMillimetres(metresLong)); };
    const cv::Size2d extent = extentOf(board);
    const std::string size = fmt::format("{} x {} mm", digits(extent.width), digits(extent.height));
    if (!hasSquares(board))
        return fmt::format("{}, {}, {} mm apart; {}", nameOf(board.pattern),
                           describe(board.corners), length(board.square), size);
    const std::string markers =
        board.pattern == Pattern::charuco
            ? fmt::format("markers {} of {} mm; ", board.dictionary, length(board.marker))
            : "";
    return fmt::format("{}, {} squares of {} mm; {}{} corners; {}", nameOf(board.pattern),
                       describe(squaresOf(board)), length(board.square), markers,
                       describe(board.corners), size);
}

}  // namespace tiomipra
