#include "reports/measurement_report.hpp"

#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>

#include "base/quantities.hpp"
#include "base/text.hpp"

namespace tiomipra {
namespace {

using Json = nlohmann::ordered_json;

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

Json toJson(const DepthCamera& camera) {
    const double f = camera.focalLength;
    return {{"matrix", {{f, 0, camera.centre.x}, {0, f, camera.centre.y}, {0, 0, 1}}},
            {"baseline", camera.baseline},
            {"disparityAtInfinity", camera.disparityAtInfinity}};
}

// What a reader of the PNG should know: steps that are no millimetres, and what is missing.
std::string describePng(const PairMeasurement& measurement) {
    constexpr int largest = std::numeric_limits<std::uint16_t>::max();
    const auto& [step, outOfRange] = *measurement.png;
    std::string text;
    if (measurement.quantity == Quantity::depth && measurement.unit != metres)
        text += fmt::format(", PNG in steps of {}", digits(step));
    if (outOfRange > 0)
        text += fmt::format(", {} outside of what the 16-bit PNG holds ({} to {})", outOfRange,
                            significant(step, 6), significant(largest * step, 6));
    return text;
}

}  // namespace

Json toJson(const PairMeasurement& measurement) {
    Json json{{"width", measurement.size.width},
              {"height", measurement.size.height},
              {"measuredPixels", measurement.statistics.count},
              {"measuredShare", measuredShare(measurement)},
              {nameOf(measurement.quantity), toJson(measurement.statistics)}};
    for (const Reason reason : allReasons) {
        if (reason != Reason::none)
            json["unmeasured"][nameOf(reason)] =
                measurement.reasons.at(static_cast<std::size_t>(reason));
    }
    if (measurement.png) {
        json["pngStep"] = measurement.png->step;
        json["outOfRangeOfPng"] = measurement.png->outOfRange;
    }
    if (measurement.camera) {
        json["camera"] = toJson(*measurement.camera);
        json["camera"]["unit"] = measurement.unit ? Json(*measurement.unit) : nullptr;
    }
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
    if (measurement.png)
        summary += describePng(measurement);
    return summary;
}

}  // namespace tiomipra
