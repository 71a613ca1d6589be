#include "files/disparity_files.hpp"

#include <cstdint>
#include <limits>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "files/input_files.hpp"
#include "files/npy_files.hpp"
#include "files/pfm_files.hpp"

namespace tiomipra {
namespace {

cv::Mat fromFixedPoint(const cv::Mat& image, double scale) {
    cv::Mat disparity;
    image.convertTo(disparity, CV_32F, 1 / scale);
    disparity.setTo(std::numeric_limits<float>::quiet_NaN(), image == 0);
    return disparity;
}

}  // namespace

cv::Mat markUnmeasured(const cv::Mat& values, const cv::Mat& measured, float mark) {
    cv::Mat marked(values.size(), CV_32FC1, cv::Scalar(mark));
    values.copyTo(marked, measured);
    return marked;
}

std::string encodeFloats(const std::string& name, const cv::Mat& values, const cv::Mat& measured) {
    using Limits = std::numeric_limits<float>;
    const std::string extension = extensionOf(name);
    const cv::Mat marked = markUnmeasured(
        values, measured, extension == ".pfm" ? Limits::infinity() : Limits::quiet_NaN());
    if (extension == ".npy")
        return encodeNpy(marked);
    return extension == ".pfm" ? encodePfm(marked) : encodeImage(name, marked);
}

FixedPointImage toFixedPoint(const cv::Mat& values, const cv::Mat& measured, double step) {
    constexpr int largest = std::numeric_limits<std::uint16_t>::max();
    cv::Mat scaled;
    values.convertTo(scaled, CV_32S, 1 / step);
    const cv::Mat fits = measured & (scaled >= 1) & (scaled <= largest);
    FixedPointImage image{cv::Mat::zeros(values.size(), CV_16UC1), 0};
    scaled.setTo(0, ~fits);
    scaled.convertTo(image.pixels, CV_16U);
    image.outOfRange = cv::countNonZero(measured) - cv::countNonZero(fits);
    return image;
}

cv::Mat readDisparity(const std::string& path, std::optional<double> scale,
                      const ImageLimits& limits, const Notify& notify) {
    const cv::Mat image = readImage(path, Pixels::asStored, limits, notify);
    switch (image.type()) {
        case CV_32FC1:
            return image;
        case CV_16UC1:
            return fromFixedPoint(image, scale.value_or(256));
        case CV_8UC1:
            if (!scale)
                throw InputError(quote(path) +
                                 " holds 8-bit numbers, which don't say what one pixel of "
                                 "disparity is; ground truth may, where a scale is given for it");
            return fromFixedPoint(image, *scale);
        default:
            throw InputError(
                fmt::format("{} holds {}, must be a disparity image with one channel of 32-bit "
                            "floats or 16-bit or 8-bit whole numbers",
                            quote(path), cv::typeToString(image.type())));
    }
}

}  // namespace tiomipra
