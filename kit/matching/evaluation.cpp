#include "matching/evaluation.hpp"

#include <cmath>
#include <opencv2/core.hpp>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "files/disparity_files.hpp"

namespace tiomipra {
namespace {

// What is counted pixel by pixel.
struct Sums {
    std::size_t known = 0;
    std::size_t measured = 0;
    std::array<std::size_t, badThresholds.size()> bad{};
    std::size_t outliers = 0;
    double error = 0;
    double squaredError = 0;

    void add(float disparity, float truth) {
        if (!isDisparity(truth))
            return;
        ++known;
        if (!isDisparity(disparity))
            return;
        ++measured;
        const double difference = std::abs(double{disparity} - double{truth});
        for (std::size_t i = 0; i < bad.size(); ++i)
            bad[i] += difference > badThresholds[i] ? 1 : 0;
        outliers += difference > 3 && difference > 0.05 * double{truth} ? 1 : 0;
        error += difference;
        squaredError += difference * difference;
    }
};

double ratio(double part, double whole) {
    return whole > 0 ? part / whole : std::nan("");
}

// `missing` pixels count as bad, of `count` in all.
BadShares toShares(const Sums& sums, std::size_t missing, std::size_t count) {
    const auto share = [&](std::size_t bad) {
        return ratio(static_cast<double>(bad + missing), static_cast<double>(count));
    };
    BadShares shares;
    for (std::size_t i = 0; i < sums.bad.size(); ++i)
        shares.above[i] = share(sums.bad[i]);
    shares.d1 = share(sums.outliers);
    return shares;
}

void requireSameSize(const cv::Mat& disparity, const std::string& disparityFile,
                     const cv::Mat& other, const std::string& otherFile) {
    if (disparity.size() != other.size())
        throw InputError(sizesDiffer(disparityFile, disparity.size(), otherFile, other.size()));
}

// White is not occluded; darker shades are occluded or unknown in the masks that are in use.
cv::Mat readMask(const std::string& path, const ImageLimits& limits, const Notify& notify) {
    const cv::Mat image = readImage(path, Pixels::asStored, limits, notify);
    if (image.channels() != 1)
        throw InputError(quote(path) + " holds colours, must be a grey mask");
    double largest = 0;
    cv::minMaxLoc(image, nullptr, &largest);
    return largest > 0 ? cv::Mat(image == largest) : cv::Mat::zeros(image.size(), CV_8UC1);
}

}  // namespace

bool isDisparity(float value) {
    return std::isfinite(value) && value > 0.F;
}

Evaluation evaluate(const cv::Mat& disparity, const cv::Mat& truth, const cv::Mat& mask) {
    Sums sums;
    for (int y = 0; y < truth.rows; ++y) {
        for (int x = 0; x < truth.cols; ++x) {
            if (mask.empty() || mask.at<unsigned char>(y, x) != 0)
                sums.add(disparity.at<float>(y, x), truth.at<float>(y, x));
        }
    }
    const auto measured = static_cast<double>(sums.measured);
    Evaluation evaluation;
    evaluation.known = sums.known;
    evaluation.measured = sums.measured;
    evaluation.density = ratio(measured, static_cast<double>(sums.known));
    evaluation.amongMeasured = toShares(sums, 0, sums.measured);
    evaluation.amongKnown = toShares(sums, sums.known - sums.measured, sums.known);
    evaluation.averageError = ratio(sums.error, measured);
    evaluation.rootMeanSquareError = std::sqrt(ratio(sums.squaredError, measured));
    return evaluation;
}

std::string whyNotGoodEnough(const Evaluation& evaluation, double percent) {
    if (evaluation.known == 0)
        return "no pixel of the ground truth is known";
    if (evaluation.measured == 0)
        return "none of the known pixels is measured";
    static_assert(badThresholds[2] == 2);
    if (evaluation.amongMeasured.above[2] * 100 <= percent)
        return "";
    return fmt::format("more than {:g} % of the measured pixels are off by more than 2 pixels",
                       percent);
}

EvaluatedImages readEvaluated(const EvaluatedFiles& files, std::optional<double> truthScale,
                              const ImageLimits& limits, const Notify& notify) {
    EvaluatedImages images{readDisparity(files.disparity, {}, limits, notify),
                           readDisparity(files.truth, truthScale, limits, notify),
                           {}};
    requireSameSize(images.disparity, files.disparity, images.truth, files.truth);
    if (!files.mask.empty()) {
        images.mask = readMask(files.mask, limits, notify);
        requireSameSize(images.disparity, files.disparity, images.mask, files.mask);
    }
    return images;
}

FileEvaluation evaluateFiles(const EvaluatedFiles& files, const EvaluatedImages& images) {
    const auto& [disparity, truth, mask] = images;
    FileEvaluation evaluation{files, evaluate(disparity, truth), {}};
    if (!mask.empty())
        evaluation.nonOccluded = evaluate(disparity, truth, mask);
    return evaluation;
}

}  // namespace tiomipra
