// A disparity image against ground truth.
#ifndef TIOMIPRA_MATCHING_EVALUATION_HPP
#define TIOMIPRA_MATCHING_EVALUATION_HPP

#include <array>
#include <cstddef>
#include <opencv2/core/mat.hpp>
#include <optional>
#include <string>

#include "files/image_files.hpp"

namespace tiomipra {

// The errors in pixels beyond which a pixel is bad.
constexpr std::array<double, 4> badThresholds{0.5, 1, 2, 4};

// Shares of pixels, 0 to 1; NaN when there is no pixel at all.
struct BadShares {
    std::array<double, badThresholds.size()> above{};  // error greater than each threshold
    double d1 = 0;  // KITTI's outliers: error greater than 3 pixels and than 5 % of the truth
};

struct Evaluation {
    std::size_t known = 0;     // pixels whose true disparity is known
    std::size_t measured = 0;  // those of them that have a disparity
    double density = 0;        // measured / known

    BadShares amongMeasured;  // how far what was measured can be trusted
    BadShares amongKnown;     // the same where a known pixel without a disparity counts as bad

    // Over the measured pixels, in pixels.
    double averageError = 0;
    double rootMeanSquareError = 0;
};

// What counts as known, and as measured.
bool isDisparity(float value);

// Both images `CV_32FC1` of the same size. A true disparity is known, and a disparity measured, if
// it is finite and above 0. With a `mask` (`CV_8UC1`, same size) only pixels where it is not 0
// count.
Evaluation evaluate(const cv::Mat& disparity, const cv::Mat& truth, const cv::Mat& mask = {});

// Empty when at most `percent` of the measured pixels are off by more than 2 pixels; else why it is
// not good enough, as in "no pixel of the ground truth is known".
std::string whyNotGoodEnough(const Evaluation& evaluation, double percent);

struct EvaluatedFiles {
    std::string disparity;
    std::string truth;
    std::string mask;  // "" for none
};

struct FileEvaluation {
    EvaluatedFiles files;
    Evaluation all;
    std::optional<Evaluation> nonOccluded;  // with a mask
};

// As `evaluate` takes them.
struct EvaluatedImages {
    cv::Mat disparity;
    cv::Mat truth;
    cv::Mat mask;  // empty for none
};

// Reads the files, as `readDisparity` does: `truthScale` is for the ground truth. In the mask,
// which must be grey, what has its lightest shade is not occluded. Throws `InputError` that names
// the files when one can't be read or they don't fit each other.
EvaluatedImages readEvaluated(const EvaluatedFiles& files, std::optional<double> truthScale = {},
                              const ImageLimits& limits = {}, const Notify& notify = ignoreNotice);

FileEvaluation evaluateFiles(const EvaluatedFiles& files, const EvaluatedImages& images);

}  // namespace tiomipra

#endif
