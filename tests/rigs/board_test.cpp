// Boards, how they are found, and which pairs of images can be used.
#include "rigs/board.hpp"

#include <gmock/gmock.h>

#include "base/errors.hpp"
#include "files/image_files.hpp"
#include "rigs/board_numbering.hpp"
#include "rigs/board_search.hpp"
#include "support/photographs.hpp"
#include "support/synthetic_views.hpp"

namespace tiomipra::test {
namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

const Board photographed{Pattern::chessboard, {9, 6}};

cv::Mat readGrey(const std::string& name) {
    return toGrey(readImage(photograph(name)));
}

TEST(Board, ThatCannotBeIsRefused) {
    const Pattern charuco = Pattern::charuco;
    const struct {
        Board board;
        std::string message;
    } cases[] = {{{Pattern::circles, {9, 101}}, "corners is 9x101, must be from 3x3 to 100x100"},
                 {{charuco, {9, 6}, 1, 1}, "must be above 0 and below the side of a square, 1"},
                 {{charuco, {9, 6}, 1, 0}, "must be above 0"},
                 {{charuco, {30, 20}, 1, 0.7}, "30x20 needs 325 markers"}};
    for (const auto& test : cases)
        EXPECT_THAT([&] { checkBoard(test.board); },
                    ThrowsMessage<SettingError>(HasSubstr(test.message)));
    EXPECT_NO_THROW(checkBoard({charuco, {24, 19}, 1, 0.7}));
    EXPECT_NO_THROW(checkBoard({Pattern::circles, {100, 3}}));
}

// Too few corners leave the finder a choice.
TEST(DetectBoard, DoesNotDependOnFormerImages) {
    const Board board{Pattern::chessboard, {3, 3}};
    for (const char* name : {"left02.jpg", "left05.jpg", "left06.jpg"}) {
        const cv::Mat image = readGrey(name);
        const Detection first = detectBoard(image, board);
        EXPECT_FALSE(first.empty());
        EXPECT_EQ(detectBoard(image, board).points, first.points) << name;
    }
}

TEST(DetectBoard, FindsNoneWhereThereIsNone) {
    for (const Pattern pattern :
         {Pattern::chessboard, Pattern::circles, Pattern::asymmetricCircles, Pattern::charuco})
        EXPECT_TRUE(detectBoard(readGrey("left.jpg"), {pattern, {9, 6}, 1, 0.7}).empty());
}

// All eight numberings of a square board become that of the reference, whose view is another one.
TEST(AlignNumbering, TakesThatOfTheReference) {
    const Board board{Pattern::chessboard, {5, 5}, 0.02};
    const PairDetection seen = seeBoard(makeModel(), board, 1).front();
    for (int way = 0; way < 8; ++way) {
        cv::Mat grid = cv::Mat(seen.right.points, true).reshape(2, 5);
        if ((way & 4) != 0)
            grid = grid.t();
        if ((way & 3) != 0)
            cv::flip(grid.clone(), grid, (way & 3) - 2);
        Detection turned = seen.right;
        turned.points.assign(grid.begin<cv::Point2f>(), grid.end<cv::Point2f>());
        alignNumbering(turned, seen.left, board);
        EXPECT_EQ(turned.points, seen.right.points) << way;
    }
}

TEST(DeterminePose, NeedsSixPointsNotOnOneLine) {
    const Board board{Pattern::charuco, {8, 6}};
    EXPECT_FALSE(determinePose({0, 1, 2, 8, 9}, board));
    EXPECT_FALSE(determinePose({0, 9, 18, 27, 36, 45}, board));  // a diagonal
    EXPECT_TRUE(determinePose({0, 1, 2, 8, 9, 10}, board));
}

Frame frame(const std::string& name) {
    return {name, name + "L", name + "R", {}, {}};
}

const FrameArguments photographs{{photograph("left02.jpg")}, {photograph("right02.jpg")}, {}, 0, 0};

TEST(BoardSearch, SaysWhyPairsAreLeftOut) {
    const cv::Size size(640, 480);
    const PairDetection seen = seeBoard(makeModel(), photographed, 1).front();
    Detection few = seen.left;
    few.ids.resize(5);
    few.points.resize(5);
    BoardSearch search(photographed);
    search.addFailure(frame("a"), "'aL' is not an image");
    search.add(frame("g"), {{320, 240}, seen, ""});
    search.add(frame("b"), {size, {}, ""});
    search.add(frame("c"), {size, {seen.left, {}}, ""});
    search.add(frame("d"), {size, seen, "dL"});
    search.add(frame("e"), {size, {few, seen.right}, ""});
    search.add(frame("f"), {size, seen, ""});
    search.sort();
    ASSERT_EQ(search.detections().size(), 1U);
    EXPECT_EQ(search.names().front().left, "fL");
    EXPECT_EQ(search.frameOf(0), 6U);
    EXPECT_EQ(search.imageSize(), size) << "which most have, though not the first";
    EXPECT_EQ(search.failures(), 2U);
    const auto frames = reopenFrames(photographs);
    EXPECT_THAT([&] { search.requireEnoughPairs(*frames); },
                ThrowsMessage<InputError>(testing::AllOf(
                    HasSubstr("only 1 of 7 pairs can be used, at least 3 are needed; does the"),
                    HasSubstr("\n  aL  aR: 'aL' is not"), HasSubstr("\n  bL  bR: no board in eith"),
                    HasSubstr("\n  cL  cR: no board in cR"), HasSubstr("\n  dL  dR: the board in"),
                    HasSubstr("\n  eL  eR: the images share only 5 corners"),
                    HasSubstr("\n  gL  gR: 'gL' is 320x240, the pairs used are 640x480"))));
}

TEST(BoardSearch, KnowsThatSquaresWereCounted) {
    BoardSearch search({Pattern::chessboard, {10, 7}});
    search.add(frame("a"), {{640, 480}, {}, ""});
    search.sort();
    const auto frames = reopenFrames(photographs);
    EXPECT_THAT([&] { search.requireEnoughPairs(*frames); },
                ThrowsMessage<InputError>(HasSubstr("10x7 squares, which are 9x6 corners")));
}

TEST(BoardSearch, CountsTheSameViewOnce) {
    BoardSearch search(photographed);
    const auto views = seeBoard(makeModel(), photographed, 4);
    for (const std::size_t i : {0U, 0U, 1U, 0U, 2U, 3U})
        search.add(frame(std::to_string(i)), {{640, 480}, views[i], ""});
    search.sort();
    search.keepDistinct(3);
    ASSERT_EQ(search.alike().size(), 3U);
    EXPECT_EQ(search.alike()[0].left, "0L");
    ASSERT_EQ(search.detections().size(), 3U);
    EXPECT_EQ(search.names()[1].left, std::to_string(search.frameOf(1) == 2 ? 1 : 2) + "L");
    EXPECT_THAT([&] { search.keepDistinct(2); },
                ThrowsMessage<InputError>(HasSubstr("only 2 differ, at least 3 are needed")));
}

// OpenCV finds 8x6 corners on this board of 9x6 as well.
TEST(SearchPair, KnowsAPartOfALargerBoard) {
    const Frame pair = *reopenFrames(photographs)->next();
    EXPECT_EQ(searchPair(pair, pair.read(), {Pattern::chessboard, {8, 6}}).largerBoard,
              pair.leftFile);
}

}  // namespace
}  // namespace tiomipra::test
