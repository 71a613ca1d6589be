#include "matching/pair_measurement.hpp"

#include "matching/measured_pixels.hpp"

namespace tiomipra {

double pngFactor(Quantity quantity) {
    return quantity == Quantity::depth ? 1000 : 256;
}

PairMeasurement measure(Quantity quantity, const cv::Mat& values, const cv::Mat& measured) {
    PairMeasurement measurement;
    measurement.quantity = quantity;
    measurement.size = measured.size();
    measurement.statistics = summarise(values, measured);
    return measurement;
}

}  // namespace tiomipra
