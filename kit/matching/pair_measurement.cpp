#include "matching/pair_measurement.hpp"

#include <algorithm>
#include <cmath>

#include "base/quantities.hpp"
#include "matching/measured_pixels.hpp"

namespace tiomipra {

std::string nameOf(Quantity quantity) {
    return quantity == Quantity::depth ? "depth" : "disparity";
}

double depthPngStep(const std::optional<std::string>& unit, double maxDepth) {
    constexpr double finest = -3, largest = 65535;  // a power of ten; what 16 bits hold
    const bool isFinest = unit == metres || !std::isfinite(maxDepth);
    const double exponent = isFinest ? finest : std::ceil(std::log10(maxDepth / largest));
    return std::pow(10, std::max(finest, exponent));
}

PairMeasurement measure(Quantity quantity, const cv::Mat& values, const cv::Mat& reasons) {
    PairMeasurement measurement;
    measurement.quantity = quantity;
    measurement.size = reasons.size();
    measurement.statistics = summarise(values, reasons == 0);
    measurement.reasons = countReasons(reasons);
    return measurement;
}

}  // namespace tiomipra
