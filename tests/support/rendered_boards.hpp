// Calibration boards as a known pair of cameras without lens distortion sees them.
#ifndef TIOMIPRA_TESTS_RENDERED_BOARDS_HPP
#define TIOMIPRA_TESTS_RENDERED_BOARDS_HPP

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "rigs/board.hpp"

namespace tiomipra::test {

struct RenderedRig {
    cv::Size imageSize{640, 480};
    double focalLength = 600;            // pixels
    double baseline = 0.06;              // the right camera's place along x
    cv::Vec3d turn{0.004, -0.03, 0.01};  // rotation vector from the left camera to the right one
};

struct RenderedPair {
    cv::Mat left;
    cv::Mat right;
};

// `count` views of the board at different places and tilts. With `overhang`, in units of the
// image's width, it is moved that far towards and beyond the images' edges.
std::vector<RenderedPair> renderViews(const Board& board, const RenderedRig& rig, int count,
                                      double overhang = 0);

}  // namespace tiomipra::test

#endif
