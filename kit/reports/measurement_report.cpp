#include "reports/measurement_report.hpp"

#include <nlohmann/json.hpp>

#include "base/text.hpp"

namespace tiomipra {
namespace {

using Json = nlohmann::ordered_json;

std::string nameOf(Quantity quantity) {
    return quantity == Quantity::depth ? "depth" : "disparity";
}

// The values that a 16-bit PNG holds.
std::string pngRange(Quantity quantity) {
    return quantity == Quantity::depth ? "0.001 to 65.535" : "above 0, below 256";
}

std::size_t pixelsOf(const PairMeasurement& measurement) {
    return static_cast<std::size_t>(measurement.size.width) *
           static_cast<std::size_t>(measurement.size.height);
}

double measuredShare(const PairMeasurement& measurement) {
    return static_cast<double>(measurement.statistics.count) /
           static_cast<double>(pixelsOf(measurement));
}

Json toJson(const Statistics& statistics) {
    const auto valueOrNull = [&](double value) {
        return statistics.count > 0 ? Json(value) : nullptr;
    };
    return {{"smallest", valueOrNull(statistics.smallest)},
            {"percentile1", valueOrNull(statistics.percentile1)},
            {"percentile5", valueOrNull(statistics.percentile5)},
            {"median", valueOrNull(statistics.median)},
            {"percentile95", valueOrNull(statistics.percentile95)},
            {"percentile99", valueOrNull(statistics.percentile99)},
            {"largest", valueOrNull(statistics.largest)}};
}

}  // namespace

Json toJson(const PairMeasurement& measurement) {
    Json json{{"width", measurement.size.width},
              {"height", measurement.size.height},
              {"measuredPixels", measurement.statistics.count},
              {"measuredShare", measuredShare(measurement)},
              {nameOf(measurement.quantity), toJson(measurement.statistics)}};
    if (measurement.outOfRangeOfPng)
        json["outOfRangeOfPng"] = *measurement.outOfRangeOfPng;
    json["matcher"] = toJson(measurement.matcher);
    return json;
}

std::string summaryOf(const PairMeasurement& measurement) {
    const Statistics& statistics = measurement.statistics;
    std::string summary =
        fmt::format("{} of {} pixels measured ({} %)", statistics.count, pixelsOf(measurement),
                    fixed(100 * measuredShare(measurement), 1));
    if (statistics.count > 0)
        summary += fmt::format(", {} {} to {}, median {}", nameOf(measurement.quantity),
                               digits(statistics.smallest), digits(statistics.largest),
                               digits(statistics.median));
    if (measurement.outOfRangeOfPng.value_or(0) > 0)
        summary += fmt::format(", {} outside of what the 16-bit PNG holds ({})",
                               *measurement.outOfRangeOfPng, pngRange(measurement.quantity));
    return summary;
}

}  // namespace tiomipra
