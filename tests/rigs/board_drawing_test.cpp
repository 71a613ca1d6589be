// Boards to be printed: what is on the page, and that it is the board that is looked for.
#include "rigs/board_drawing.hpp"

#include <gmock/gmock.h>

#include <opencv2/aruco/charuco.hpp>
#include <opencv2/imgproc.hpp>
#include <tuple>

#include "base/errors.hpp"
#include "rigs/board_detection.hpp"

namespace tiomipra::test {
namespace {

using testing::HasSubstr;

constexpr double pixelsPerMillimetre = 4;

// Pixel centres at (x + 0.5) / pixelsPerMillimetre; edges lie between pixels if they can.
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

const Board drawnBoards[] = {{Pattern::chessboard, {9, 6}, 0.025, 0, "", "m"},
                             {Pattern::circles, {8, 6}, 0.02, 0, "", "m"},
                             {Pattern::asymmetricCircles, {4, 11}, 0.015, 0, "", "m"},
                             {Pattern::charuco, {8, 5}, 0.03, 0.021, "5x5_250", "m"}};

// Each pattern as `calibrate` would find it, with its points where their distances on paper say.
TEST(DrawBoard, IsFoundTrueToSize) {
    for (const Board& board : drawnBoards) {
        const std::string name = nameOf(board.pattern);
        const Detection found = detectBoard(rasterise(drawBoard(board, "smallest")), board);
        const auto points = boardPoints(board);
        ASSERT_EQ(found.points.size(), points.size()) << name;
        const auto distance = [&](std::size_t i) {
            return cv::norm(found.points[i] - found.points[0]) / pixelsPerMillimetre / 1000;
        };
        for (const std::size_t i : {std::size_t{1}, points.size() - 1})
            EXPECT_NEAR(distance(i), cv::norm(points[i] - points[0]), 1e-4) << name;
    }
}

// OpenCV's own drawing of the board, at 4 pixels per millimetre: squares of 120, cells of 12.
TEST(DrawBoard, MarkersAreThoseOfOpenCv) {
    const Board& board = drawnBoards[3];
    const auto charuco = cv::aruco::CharucoBoard::create(
        9, 6, 0.03F, 0.021F,
        cv::aruco::getPredefinedDictionary(dictionaryNames().at(board.dictionary)));
    cv::Mat expected;
    charuco->draw({9 * 120, 6 * 120}, expected);
    const cv::Mat page = rasterise(drawBoard(board, "fit"));
    const cv::Rect place((page.cols - expected.cols) / 2, 32, expected.cols, expected.rows);
    cv::Mat differing = page(place) != expected;
    cv::erode(differing, differing, {});  // its edges are off by a pixel here and there
    EXPECT_EQ(cv::countNonZero(differing), 0);
}

TEST(DrawBoard, ChoosesAPage) {
    Board board = drawnBoards[0];  // 250 x 175 mm, 266 x 203 with margins and foot
    EXPECT_EQ(drawBoard(board, "A3").page, cv::Size2d(297, 420));
    EXPECT_EQ(drawBoard(board, "fit").page, cv::Size2d(266, 203));
    board.square = 0.03;
    EXPECT_EQ(drawBoard(board, "smallest").page, cv::Size2d(420, 297));
    for (const auto& [square, page, message] :
         {std::tuple(0.2, "smallest", "page must be fit"), {2., "fit", "must be up to 5000 mm"}}) {
        board.square = square;
        EXPECT_THAT(([&, name = page] { drawBoard(board, name); }),
                    testing::ThrowsMessage<SettingError>(HasSubstr(message)));
    }
}

// The ruler is the last of the rectangles: its line and the strokes.
TEST(DrawBoard, HasARulerAndSaysWhatItIs) {
    const Drawing drawing = drawBoard(drawnBoards[3], "smallest");
    const auto last = drawing.rectangles.end();
    EXPECT_EQ((last - 12)->width, 100);
    EXPECT_NEAR((last - 1)->br().x - (last - 11)->x, 100, 1e-9);
    EXPECT_EQ(drawing.labels.at(0).text,
              "charuco, 9x6 squares of 30 mm; markers 5x5_250 of 21 mm; 8x5 corners; 270 x 180 mm");
    EXPECT_THAT(drawing.labels.at(1).text, HasSubstr("must be 100 mm long"));
    EXPECT_EQ(describeBoard(drawnBoards[2]),
              "asymmetric-circles, 4x11, 15 mm apart; 115.6 x 160.6 mm");
}

}  // namespace
}  // namespace tiomipra::test
