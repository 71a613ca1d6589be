// From options to the board, and to its drawing.
#include "options/board_options.hpp"

#include <gmock/gmock.h>

#include "base/errors.hpp"
#include "support/run_program.hpp"

namespace tiomipra::test {
namespace {

// A chessboard has no markers, whatever is said about them.
TEST(BoardOptions, DescribeTheBoard) {
    BoardOptions options;
    options.corners = "8x6";
    options.square = "30mm";
    options.marker = "foo";
    EXPECT_NO_THROW(boardOf(options));
    options.pattern = "charuco";
    for (const char* marker : {"", "foo", "2", "40mm"}) {
        options.marker = marker;
        EXPECT_THROW(boardOf(options), SettingError) << marker;
    }
    options.marker = "2cm";
    options.dictionary = "4x4_50";
    const Board charuco = boardOf(options);
    EXPECT_EQ(charuco.pattern, Pattern::charuco);
    EXPECT_EQ(charuco.corners, cv::Size(8, 6));
    EXPECT_DOUBLE_EQ(charuco.square, 0.03);
    EXPECT_DOUBLE_EQ(charuco.marker, 0.02);
    EXPECT_EQ(charuco.dictionary, "4x4_50");
    EXPECT_EQ(charuco.unit, "m");
}

TEST(BoardCommand, DrawsForPrint) {
    const ScratchFolder folder;
    const auto draw = [&](const std::string& name, const std::string& square) {
        return Arguments{"board", "--corners", "9x6",        "--square",
                         square,  "--output",  folder / name};
    };
    EXPECT_THAT(runTiomipra(draw("a.pdf", "25mm")).out,
                testing::AllOf(testing::HasSubstr("on a page of 297 x 210 mm"),
                               testing::HasSubstr("calibrate --corners 9x6 --square 25mm ...")));
    EXPECT_EQ(readFile(folder / "a.pdf").substr(0, 5), "%PDF-");
    runTiomipra(joined(draw("a.svg", "25mm"), {"--page", "fit"}));
    EXPECT_EQ(readFile(folder / "a.svg").substr(0, 4), "<svg");
    expectRefusal(draw("a.pdf", "25"), 2, "--square has no unit");
    expectRefusal(draw("a.png", "25mm"), 2, "a.png' must end in .pdf or .svg");
    expectRefusal(joined(draw("a.pdf", "50mm"), {"--page", "a4"}), 2, "--page A4 is too small");
}

}  // namespace
}  // namespace tiomipra::test
