#include "matching/light_matching.hpp"

#include <algorithm>
#include <cmath>
#include <opencv2/calib3d.hpp>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <vector>

namespace tiomipra {
namespace {

using vision::AdaptedParameters;

constexpr int reduction = 4;
constexpr int window = 15;           // of block matching at the reduced size
constexpr int fixedPointSteps = 16;  // of a disparity in its results

// The terms of a quadratic function at (x, y): 1, x, y, x^2, xy, y^2.
constexpr int termNumber = 6;
using Terms = cv::Matx<double, termNumber, 1>;

Terms termsAt(double x, double y) {
    return {1, x, y, x * x, x * y, y * y};
}

// What both images show of the same thing, at a place of the right one.
struct Sample {
    Terms terms;
    double logRatio;  // of the left brightness to the right one
};

// From -1 to 1.
double relative(int position, int size) {
    return 2. * position / size - 1;
}

cv::Mat reduced(const cv::Mat& image) {
    cv::Mat result;
    cv::resize(image, result, image.size() / reduction, 0, 0, cv::INTER_AREA);
    return result;
}

cv::Mat smoothed(const cv::Mat& image) {
    cv::Mat result;
    cv::boxFilter(image, result, CV_32F, {5, 5});
    return result + 1;  // so that black has a logarithm
}

// In sixteenths; below `first` * 16 where there is none.
cv::Mat matchRoughly(const cv::Mat& left, const cv::Mat& right, int first, int number) {
    const auto matcher = cv::StereoBM::create(number, window);
    matcher->setMinDisparity(first);
    matcher->setUniquenessRatio(15);
    matcher->setTextureThreshold(10);
    cv::Mat disparity;
    matcher->compute(left, right, disparity);
    return disparity;
}

std::vector<Sample> compareBrightness(const cv::Mat& left, const cv::Mat& right,
                                      const cv::Mat& disparity, int first) {
    const cv::Mat leftLight = smoothed(left), rightLight = smoothed(right);
    std::vector<Sample> samples;
    for (int y = 0; y < left.rows; y += 2) {
        for (int x = 0; x < left.cols; x += 2) {
            const int fixed = disparity.at<short>(y, x);
            const int match = x - cvRound(static_cast<double>(fixed) / fixedPointSteps);
            if (fixed < first * fixedPointSteps || match < 0 || match >= right.cols)
                continue;
            samples.push_back(
                {termsAt(relative(match, right.cols), relative(y, right.rows)),
                 std::log(leftLight.at<float>(y, x) / rightLight.at<float>(y, match))});
        }
    }
    return samples;
}

// The coefficients that fit best, where samples count the less the farther away from `former` ones
// they are: wrong matches, and what shines.
Terms fitOnce(const std::vector<Sample>& samples, const Terms& former) {
    constexpr double usual = 0.1;  // of the logarithms
    cv::Matx<double, termNumber, termNumber> normal;
    Terms sums;
    for (const auto& [terms, logRatio] : samples) {
        const double distance = (logRatio - terms.dot(former)) / usual;
        const double weight = 1 / std::pow(1 + distance * distance, 2);
        normal += weight * terms * terms.t();
        sums += weight * logRatio * terms;
    }
    return normal.solve(sums, cv::DECOMP_SVD);
}

double medianOf(const std::vector<Sample>& samples) {
    std::vector<double> values;
    for (const Sample& sample : samples)
        values.push_back(sample.logRatio);
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

Terms fit(const std::vector<Sample>& samples) {
    constexpr int rounds = 5;
    Terms coefficients;
    coefficients(0) = medianOf(samples);
    for (int round = 0; round < rounds; ++round)
        coefficients = fitOnce(samples, coefficients);
    return coefficients;
}

cv::Mat ratioOf(const Terms& coefficients, const cv::Size& size) {
    constexpr double largestRatio = 4;  // beyond, there is hardly anything to see
    cv::Mat ratio(size, CV_32FC1);
    for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
            const Terms terms = termsAt(relative(x, size.width), relative(y, size.height));
            ratio.at<float>(y, x) = static_cast<float>(
                std::clamp(std::exp(terms.dot(coefficients)), 1 / largestRatio, largestRatio));
        }
    }
    return ratio;
}

// Whether matching does not mind: with `--preset balanced`, density falls from a difference of 6
// percent on. In the corners, which have few samples, the fit may be off by that.
bool isAboutOne(const cv::Mat& ratio) {
    constexpr double difference = 0.05, shareOfCorners = 0.1;
    return cv::countNonZero(cv::abs(ratio - 1) > difference) <=
           shareOfCorners * static_cast<double>(ratio.total());
}

}  // namespace

cv::Mat matchLight(const cv::Mat& left, const cv::Mat& right, const AdaptedParameters& adapted) {
    constexpr std::size_t fewestSamples = 100;
    if (std::min(left.cols, left.rows) < 2 * window * reduction)
        return right;
    const cv::Mat smallLeft = reduced(left), smallRight = reduced(right);
    const int first = adapted.minDisparity / reduction;
    const int number = static_cast<int>(
        cv::alignSize(static_cast<std::size_t>(adapted.disparityNumber / reduction), 16));
    const auto samples = compareBrightness(
        smallLeft, smallRight, matchRoughly(smallLeft, smallRight, first, number), first);
    if (samples.size() < fewestSamples)
        return right;
    const cv::Mat smallRatio = ratioOf(fit(samples), smallRight.size());
    if (isAboutOne(smallRatio))
        return right;
    cv::Mat ratio, matched;
    cv::resize(smallRatio, ratio, right.size());
    cv::multiply(right, ratio, matched, 1, CV_8U);
    return matched;
}

}  // namespace tiomipra
