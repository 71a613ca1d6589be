// Rendered stereo pairs of known disparity.
#ifndef TIOMIPRA_TESTS_SCENES_HPP
#define TIOMIPRA_TESTS_SCENES_HPP

#include <opencv2/core.hpp>
#include <vector>
#include <vision/calibration.hpp>

namespace tiomipra::test {

// A textured plane: in the left image's columns from `begin` to `end`, the disparity of pixel
// (x, y) is `disparity` + `slope` * x.
struct Plane {
    float disparity;
    float slope = 0.F;
    int begin = 0;
    int end = 1 << 20;
};

struct SceneOptions {
    cv::Size size{640, 480};
    std::vector<Plane> planes{{20.F}};  // together all columns of the left image, nearest first
    unsigned seed = 1;
};

// A rectified pair, CV_8UC1.
struct Scene {
    cv::Mat left;
    cv::Mat right;
};

Scene renderScene(const SceneOptions& options);

// What the raw camera sees of the rectified image `rectified`.
cv::Mat renderRawView(const cv::Mat& rectified, const vision::Calibration& camera);

}  // namespace tiomipra::test

#endif
