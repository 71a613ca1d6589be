// How boards are found in an image.
#ifndef TIOMIPRA_RIGS_BOARD_DETECTION_HPP
#define TIOMIPRA_RIGS_BOARD_DETECTION_HPP

#include <opencv2/core.hpp>
#include <vector>

#include "rigs/board.hpp"

namespace tiomipra {

// The points of a board that were found in one image; empty if there is no board.
struct Detection {
    std::vector<int> ids;             // indices into `boardPoints()`, ascending
    std::vector<cv::Point2f> points;  // where they are in the image, pixels

    bool empty() const { return ids.empty(); }
};

// The board as both cameras saw it at one moment.
struct PairDetection {
    Detection left;
    Detection right;
};

// Finds the board in an 8-bit grey image, to a fraction of a pixel.
//
// A chessboard or a grid of circles is found whole or not at all, and is looked for in a reduced
// copy first: where there is none, a search at full size can take minutes. A ChArUco board may be
// seen in part; its points are given if they fix the board's pose, see `determinePose`.
Detection detectBoard(const cv::Mat& image, const Board& board);

// Whether a chessboard that was found in `image` has more corners than `board` says: the finder is
// content with a part of a larger one, not the same part in each image. False for other boards.
bool isPartOfLargerBoard(const cv::Mat& image, const Detection& detection, const Board& board);

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
