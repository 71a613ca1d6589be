// Boards to be printed: what is on the page.
#include "rigs/board_drawing.hpp"

#include <gmock/gmock.h>

#include <opencv2/aruco/charuco.hpp>
#include <opencv2/imgproc.hpp>
#include <tuple>

#include "base/errors.hpp"
#include "support/synthetic_views.hpp"

namespace tiomipra::test {
namespace {

using testing::HasSubstr;

const Board chessboard{Pattern::chessboard, {9, 6}, 0.025, 0, "", "m"};
const Board charucoBoard{Pattern::charuco, {8, 5}, 0.03, 0.021, "5x5_250", "m"};

// OpenCV's own drawing of the board, at 4 pixels per millimetre: squares of 120, cells of 12.
TEST(DrawBoard, MarkersAreThoseOfOpenCv) {
    const auto charuco = cv::aruco::CharucoBoard::create(
        9, 6, 0.03F, 0.021F,
        cv::aruco::getPredefinedDictionary(dictionaryNames().at(charucoBoard.dictionary)));
    cv::Mat expected;
    charuco->draw({9 * 120, 6 * 120}, expected);
    const cv::Mat page = rasterise(drawBoard(charucoBoard, "fit"));
    const cv::Rect place((page.cols - expected.cols) / 2, 32, expected.cols, expected.rows);
    cv::Mat differing = page(place) != expected;
    cv::erode(differing, differing, {});  // its edges are off by a pixel here and there
    EXPECT_EQ(cv::countNonZero(differing), 0);
}

TEST(DrawBoard, ChoosesAPage) {
    Board board = chessboard;  // 250 x 175 mm, 266 x 203 with margins and foot
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
    const Drawing drawing = drawBoard(charucoBoard, "smallest");
    const auto last = drawing.rectangles.end();
    EXPECT_EQ((last - 12)->width, 100);
    EXPECT_NEAR((last - 1)->br().x - (last - 11)->x, 100, 1e-9);
    EXPECT_EQ(drawing.labels.at(0).text,
              "charuco, 9x6 squares of 30 mm; markers 5x5_250 of 21 mm; 8x5 corners; 270 x 180 mm");
    EXPECT_THAT(drawing.labels.at(1).text, HasSubstr("must be 100 mm long"));
    EXPECT_EQ(describeBoard({Pattern::asymmetricCircles, {4, 11}, 0.015, 0, "", "m"}),
              "asymmetric-circles, 4x11, 15 mm apart; 115.6 x 160.6 mm");
}

}  // namespace
}  // namespace tiomipra::test
