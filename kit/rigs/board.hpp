// Calibration boards.
#ifndef TIOMIPRA_RIGS_BOARD_HPP
#define TIOMIPRA_RIGS_BOARD_HPP

#include <map>
#include <opencv2/core/types.hpp>
#include <string>
#include <vector>

namespace tiomipra {

// What is printed on a board.
enum class Pattern { chessboard, circles, asymmetricCircles, charuco };

// The names of the patterns as a user writes them.
const std::map<std::string, Pattern>& patternNames();
std::string nameOf(Pattern pattern);

// The marker dictionaries of ChArUco boards by name, as in `6x6_250`, with OpenCV's number.
const std::map<std::string, int>& dictionaryNames();

// A flat board with a regular grid of points.
struct Board {
    Pattern pattern = Pattern::chessboard;
    // Points per row and rows: inner corners where four squares meet (a board of 10 x 7 squares
    // has 9 x 6), or circles.
    cv::Size corners;
    // Side of a square, or distance between neighbouring circles. On an asymmetric board, whose
    // odd rows are shifted: distance between two rows, which is also the shift, half of the
    // distance between two circles of a row.
    double square = 1;
    // Side of a marker of a ChArUco board, in the unit of `square`.
    double marker = 0;
    // Markers of a ChArUco board, a key of `dictionaryNames()`.
    std::string dictionary = "6x6_250";
    // Of `square` and `marker`, and so of all that is calibrated with the board: "m", or "" for the
    // user's own.
    std::string unit = {};
};

// Throws `SettingError` for the first of "corners" and "marker" that no board can have.
void checkBoard(const Board& board);

// The board's points row by row in its own plane, Z = 0, in the unit of `board.square`.
std::vector<cv::Point3f> boardPoints(const Board& board);

// Whether the board looks the same after half a turn, so that it does not say which of its points
// is the first: a chessboard with an even number of squares along both sides or an odd one along
// both, and a symmetric grid of circles.
bool looksSameAfterHalfTurn(const Board& board);

}  // namespace tiomipra

#endif
