// Which of many views of a board to calibrate with.
#ifndef TIOMIPRA_RIGS_VIEW_SELECTION_HPP
#define TIOMIPRA_RIGS_VIEW_SELECTION_HPP

#include <cstddef>
#include <opencv2/core/types.hpp>
#include <vector>

#include "rigs/board_detection.hpp"

namespace tiomipra {

// At most `most` of the views, by their indices in ascending order: those that differ most in where
// the board is in both images, how large it is there, and how it is tilted. A view that is nearly
// the same as one that was chosen is left out in any case: it tells nothing new and would make the
// calibration look more certain than it is, as a video of a resting board does.
//
// The first view is always chosen, then again and again the one that differs most from those that
// were. A turn within the plane of the board is no difference: it does not help to tell the focal
// length from the distance.
//
// @param views  each with a board in both images whose points determine its pose
std::vector<std::size_t> chooseViews(const std::vector<PairDetection>& views, const Board& board,
                                     const cv::Size& imageSize, std::size_t most);

}  // namespace tiomipra

#endif
