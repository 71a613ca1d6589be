#include "base/statistics.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace tiomipra {
namespace {

// Of the quantile among `count` sorted values, at least one.
std::size_t indexOf(double share, std::size_t count) {
    return std::min(count - 1, static_cast<std::size_t>(share * static_cast<double>(count)));
}

}  // namespace

double quantile(std::vector<double> values, double share) {
    if (values.empty())
        return 0;
    const auto place = values.begin() + static_cast<std::ptrdiff_t>(indexOf(share, values.size()));
    std::nth_element(values.begin(), place, values.end());
    return *place;
}

Spread spreadOf(std::vector<double> differences) {
    if (differences.empty())
        return {};
    for (double& difference : differences)
        difference = std::abs(difference);
    Spread spread;
    spread.mean = std::accumulate(differences.begin(), differences.end(), 0.) /
                  static_cast<double>(differences.size());
    spread.median = quantile(differences, 0.5);
    spread.p95 = quantile(differences, 0.95);
    spread.maximum = *std::max_element(differences.begin(), differences.end());
    return spread;
}

Statistics summarise(std::vector<float> values) {
    if (values.empty())
        return {};
    // Shares rise, so that each place parts only what the one before has left.
    auto rest = values.begin();
    const auto next = [&](double share) -> double {
        const auto index = static_cast<std::ptrdiff_t>(indexOf(share, values.size()));
        std::nth_element(rest, values.begin() + index, values.end());
        rest = values.begin() + index;
        return *rest;
    };
    return {values.size(), next(0),    next(0.01), next(0.05),
            next(0.5),     next(0.95), next(0.99), next(1)};
}

}  // namespace tiomipra
