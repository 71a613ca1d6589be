// What many numbers come to.
#include "base/statistics.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <numeric>
#include <random>

namespace tiomipra::test {
namespace {

using testing::ElementsAre;

// 0 to 999 in any order: the quantile of share s is 1000 s.
TEST(Statistics, EveryQuantileStandsInItsPlace) {
    std::vector<float> values(1000);
    std::iota(values.begin(), values.end(), 0.F);
    std::shuffle(values.begin(), values.end(), std::mt19937(1));
    const auto [count, smallest, percentile1, percentile5, median, percentile95, percentile99,
                largest] = summarise(values);
    EXPECT_EQ(count, values.size());
    EXPECT_THAT((std::array{smallest, percentile1, percentile5, median, percentile95, percentile99,
                            largest}),
                ElementsAre(0, 10, 50, 500, 950, 990, 999));
    EXPECT_EQ(summarise({}).count, 0U);
}

TEST(Statistics, SpreadsAreOfSizesWithoutSigns) {
    const auto [mean, median, p95, maximum] = spreadOf({-4, 1, -2, 3, 0});
    EXPECT_THAT((std::array{mean, median, p95, maximum}), ElementsAre(2, 2, 4, 4));
    EXPECT_EQ(quantile({4, 1, 3, 2}, 0.5), 3);
    EXPECT_EQ(spreadOf({}).maximum, 0);
}

}  // namespace
}  // namespace tiomipra::test
