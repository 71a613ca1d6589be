// From the options of `tiomipra calibrate` to the board.
#include "options/calibrate_options.hpp"

#include <gmock/gmock.h>

#include "base/errors.hpp"

namespace tiomipra::test {
namespace {

TEST(CalibrateOptions, DescribeTheBoard) {
    CalibrateOptions options;
    options.pattern = "circles";
    options.corners = "8x6";
    options.square = "3";
    const Board circles = boardOf(options);
    EXPECT_EQ(circles.pattern, Pattern::circles);
    EXPECT_EQ(circles.corners, cv::Size(8, 6));
    EXPECT_EQ(circles.square, 3);
    EXPECT_EQ(circles.unit, "");
    options.pattern = "charuco";
    options.square = "30mm";
    options.marker = "2cm";
    options.dictionary = "4x4_50";
    const Board charuco = boardOf(options);
    EXPECT_EQ(charuco.pattern, Pattern::charuco);
    EXPECT_DOUBLE_EQ(charuco.square, 0.03);
    EXPECT_DOUBLE_EQ(charuco.marker, 0.02);
    EXPECT_EQ(charuco.dictionary, "4x4_50");
    EXPECT_EQ(charuco.unit, "m");
}

// A chessboard has none, whatever is said about them.
TEST(CalibrateOptions, MarkersMustFitTheSquares) {
    CalibrateOptions options;
    options.corners = "9x6";
    options.square = "30mm";
    options.marker = "foo";
    EXPECT_NO_THROW(boardOf(options));
    options.pattern = "charuco";
    for (const char* marker : {"", "foo", "2", "40mm"}) {
        options.marker = marker;
        EXPECT_THROW(boardOf(options), SettingError) << marker;
    }
}

}  // namespace
}  // namespace tiomipra::test
