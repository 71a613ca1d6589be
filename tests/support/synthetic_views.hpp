// A rig of numbers, and what it sees.
#ifndef TIOMIPRA_TESTS_SYNTHETIC_VIEWS_HPP
#define TIOMIPRA_TESTS_SYNTHETIC_VIEWS_HPP

#include <opencv2/core.hpp>
#include <random>
#include <vector>

#include "files/frame_source.hpp"
#include "files/vector_drawing.hpp"
#include "rigs/board_detection.hpp"
#include "rigs/feature_matches.hpp"
#include "rigs/rig_model.hpp"

namespace tiomipra::test {

// The rotation by a vector along its axis, whose length is the angle in radians.
cv::Matx33d turnBy(const cv::Vec3d& vector);

// Two different cameras with distortion, 640x480, about 0.06 m apart, not quite parallel.
RigModel makeModel();

// Two equal cameras without distortion, 0.06 m apart, not quite parallel.
RigModel makePinholeModel(const cv::Size& size, double focal);

// Points of the scene, in the left camera's frame.
using PointScene = std::vector<cv::Point3d>;

// Where the cameras see them, pixels, exactly.
Matches see(const RigModel& rig, const PointScene& scene);

// Noise of that deviation, in pixels, on each coordinate.
void addNoise(Matches& matches, double deviation, std::mt19937& random);

// Textured things all over the left image, at depths of 0.5 to 5.
PointScene makeScene(const RigModel& rig, int count);

struct BoardPlaces {
    double tilt = 0.45;   // radians, in different directions
    double reach = 0.28;  // of the centres off the left camera's axis, relative to their distances
    double distance = 2;  // of the nearest, relative to the board's width
    // radians by which boards are turned about the left camera's centre at most, which is what
    // takes them far off the axis of a wide-angle lens
    double swing = 0;
};

// The board at `count` places and tilts, with noise of that deviation.
std::vector<PairDetection> seeBoard(const RigModel& rig, const Board& board, int count,
                                    double noise = 0, const BoardPlaces& places = {});

constexpr double pixelsPerMillimetre = 4;

// Pixel centres at (x + 0.5) / pixelsPerMillimetre; edges lie between pixels if they can.
cv::Mat rasterise(const Drawing& drawing);

// Images of the printed board on a white wall, by cameras without distortion; CV_8UC1.
std::vector<StereoImages> renderBoard(const RigModel& rig, const Board& board, int count,
                                      const BoardPlaces& places);

}  // namespace tiomipra::test

#endif
