// The library's calls for benchmarks/python_calls.py, which times them beside its own: by a plain C
// interface, as the bindings themselves are what is measured.
#include <chrono>
#include <opencv2/core.hpp>
#include <vision/stereo.hpp>

namespace {

using vision::Stereo;
using Clock = std::chrono::steady_clock;

enum Call : int { rectify, match, measure, frame };

struct Pair {
    cv::Mat left;
    cv::Mat right;
};

void run(const Stereo& stereo, int call, const Pair& images, const cv::Mat& disparity) {
    if (call == rectify)
        stereo.rectifyImages(images.left, images.right);
    else if (call == match)
        stereo.computeDisparity(images.left, images.right);
    else if (call == measure)
        stereo.computeDepth(disparity);
    else {
        const auto [left, right] = stereo.rectifyImages(images.left, images.right);
        stereo.computeDepth(stereo.computeDisparity(left, right));
    }
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) void* openStereo(const char* left, const char* right) {
    vision::Calibration leftCalibration;
    vision::Calibration rightCalibration;
    leftCalibration.load(left);
    rightCalibration.load(right);
    auto* const stereo = new Stereo;
    stereo->setCalibrations(leftCalibration, rightCalibration);
    return stereo;
}

// The seconds that `count` calls take with images of these pixels.
__attribute__((visibility("default"))) double timeCalls(void* stereo, int call, int count, int rows,
                                                        int columns, void* left, void* right,
                                                        void* disparity) {
    const Pair images{cv::Mat(rows, columns, CV_8UC1, left),
                      cv::Mat(rows, columns, CV_8UC1, right)};
    const cv::Mat disparities(rows, columns, CV_32FC1, disparity);
    const auto start = Clock::now();
    for (int i = 0; i < count; ++i)
        run(*static_cast<const Stereo*>(stereo), call, images, disparities);
    return std::chrono::duration<double>(Clock::now() - start).count();
}
}
