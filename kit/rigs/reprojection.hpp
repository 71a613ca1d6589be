// Where a calibrated rig has the points of its boards, beside where they were found.
#ifndef TIOMIPRA_RIGS_REPROJECTION_HPP
#define TIOMIPRA_RIGS_REPROJECTION_HPP

#include <opencv2/core/types.hpp>
#include <vector>

#include "rigs/board.hpp"
#include "rigs/board_detection.hpp"
#include "rigs/rig_calibration.hpp"

namespace tiomipra {

// The points of one image, pixels of the raw image.
struct ReprojectedPoints {
    std::vector<int> ids;  // indices into `boardPoints()`
    std::vector<cv::Point2d> found;
    std::vector<cv::Point2d> reprojected;
    double error = 0;  // root mean square distance between both
};

struct ReprojectedView {
    ReprojectedPoints left;
    ReprojectedPoints right;
};

// Those of the views that `solution` used, in its order, with one pose of the board for both
// cameras.
std::vector<ReprojectedView> reproject(const RigSolution& solution,
                                       const std::vector<PairDetection>& views, const Board& board);

}  // namespace tiomipra

#endif
