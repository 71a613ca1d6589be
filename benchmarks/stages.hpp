// What is measured: the library's stages, and the same work done by calling OpenCV directly.
#ifndef TIOMIPRA_BENCHMARKS_STAGES_HPP
#define TIOMIPRA_BENCHMARKS_STAGES_HPP

#include <functional>
#include <opencv2/core.hpp>
#include <string>
#include <vector>
#include <vision/stereo.hpp>

// A rectified pair of photographs, CV_8UC1.
struct Photographs {
    cv::Mat left;
    cv::Mat right;
};

// The aloe pair among OpenCV's samples in `folder`. Throws std::runtime_error if it is not there.
Photographs readPhotographs(const std::string& folder);

using Images = std::vector<cv::Mat>;

struct Stage {
    std::string name;
    std::function<Images()> run;
    std::function<Images()> runReference;
    bool givesSameImages = true;  // both of them
};

struct StageOptions {
    cv::Size size;
    int disparityNumber = 80;
    int windowSize = 21;
};

// All stages on `photographs` as distorted cameras with images of `options.size` would see them.
std::vector<Stage> makeStages(const Photographs& photographs, const StageOptions& options);

#endif
