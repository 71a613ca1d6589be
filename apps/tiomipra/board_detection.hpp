// Calibration boards and how they are found in an image.
#ifndef TIOMIPRA_BOARD_DETECTION_HPP
#define TIOMIPRA_BOARD_DETECTION_HPP

#include <map>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace tiomipra {

// What is printed on a board.
enum class Pattern { chessboard, circles, asymmetricCircles, charuco };

// The names of the patterns as a user writes them.
const std::map<std::string, Pattern>& patternNames();
std::string nameOf(Pattern pattern);

// The marker dictionaries of ChArUco boards by name, as in `6x6_250`.
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
};

// Throws `UsageError` naming the first value that no board can have.
void checkBoard(const Board& board);

// The board's points row by row in its own plane, Z = 0, in the unit of `board.square`.
std::vector<cv::Point3f> boardPoints(const Board& board);

// The points of a board that were found in one image; empty if there is no board.
struct Detection {
    std::vector<int> ids;             // indices into `boardPoints()`, ascending
    std::vector<cv::Point2f> points;  // where they are in the image, pixels

    bool empty() const { return ids.empty(); }
};

// Finds the board in an 8-bit grey image, to a fraction of a pixel.
//
// A chessboard or a grid of circles is found whole or not at all, and is looked for in a reduced
// copy first: where there is none, a search at full size can take minutes. A ChArUco board may be
// seen in part; its points are given if they fix the board's pose (at least 6, not on one line).
Detection detectBoard(const cv::Mat& image, const Board& board);

// Whether a chessboard that was found in `image` has more corners than `board` says: the finder is
// content with a part of a larger one, not the same part in each image. Other boards never do.
bool goesOn(const cv::Mat& image, const Detection& detection, const Board& board);

// Renumbers the points of `detection` so that they are numbered as in `reference`.
//
// A board that looks the same after half a turn (a chessboard with an even number of squares
// along both sides or an odd one along both, a symmetric grid of circles) does not say which of
// its corners is the first. Both images of a pair must agree on it: `detection` gets the
// numbering that makes the board look most alike in both. Other boards are left as they are.
void alignNumbering(Detection& detection, const Detection& reference, const Board& board);

// The points that two detections share, in the same order in both.
struct SharedPoints {
    std::vector<int> ids;
    std::vector<cv::Point2f> first;
    std::vector<cv::Point2f> second;
};
SharedPoints sharedPoints(const Detection& first, const Detection& second);

// Whether these points of the board determine its pose: at least 6, not all on one line.
bool determinePose(const std::vector<int>& ids, const Board& board);

}  // namespace tiomipra

#endif
