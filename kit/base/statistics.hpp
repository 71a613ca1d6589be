// What many numbers come to.
#ifndef TIOMIPRA_BASE_STATISTICS_HPP
#define TIOMIPRA_BASE_STATISTICS_HPP

#include <cstddef>
#include <vector>

namespace tiomipra {

// The element of the sorted values below which a share of `share` (0 to 1) of them lies: that at
// index floor(share * count), or the largest one. The median of 1, 2, 3, 4 is 3. 0 without values.
double quantile(std::vector<double> values, double share);

// Sizes of differences, signs ignored; all 0 without any.
struct Spread {
    double mean = 0;
    double median = 0;
    double p95 = 0;
    double maximum = 0;
};
Spread spreadOf(std::vector<double> differences);

// Quantiles of `count` values; all 0 without any.
struct Statistics {
    std::size_t count = 0;
    double smallest = 0, percentile1 = 0, percentile5 = 0, median = 0;
    double percentile95 = 0, percentile99 = 0, largest = 0;
};
Statistics summarise(std::vector<float> values);

}  // namespace tiomipra

#endif
