#include "evaluation.hpp"

#include <cmath>

namespace tiomipra {
namespace {

bool isDisparity(float value) {
    return std::isfinite(value) && value > 0.F;
}

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

}  // namespace

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

}  // namespace tiomipra
