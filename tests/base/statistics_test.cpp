// What many numbers come to.
#include "base/statistics.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>

namespace tiomipra::test {
namespace {

TEST(Quantile, IsTheValueBelowWhichTheShareLies) {
    EXPECT_EQ(quantile({4, 1, 3, 2}, 0.5), 3);
    EXPECT_EQ(quantile({5, 1, 3, 2, 4}, 0.5), 3);
    EXPECT_EQ(quantile({7}, 0.95), 7);
    EXPECT_EQ(quantile({2, 1}, 0), 1);
    EXPECT_EQ(quantile({2, 1}, 1), 2);
    EXPECT_EQ(quantile({}, 0.5), 0);
}

// 0 to 999 in any order: the quantile of share s is 1000 s.
TEST(Statistics, EveryQuantileStandsInItsPlace) {
    std::vector<float> values(1000);
    std::iota(values.begin(), values.end(), 0.F);
    std::shuffle(values.begin(), values.end(), std::mt19937(1));
    const Statistics statistics = summarise(values);
    EXPECT_EQ(statistics.count, 1000U);
    EXPECT_EQ(statistics.smallest, 0);
    EXPECT_EQ(statistics.percentile1, 10);
    EXPECT_EQ(statistics.percentile5, 50);
    EXPECT_EQ(statistics.median, 500);
    EXPECT_EQ(statistics.percentile95, 950);
    EXPECT_EQ(statistics.percentile99, 990);
    EXPECT_EQ(statistics.largest, 999);
    EXPECT_EQ(summarise({}).count, 0U);
}

TEST(Spread, LooksAtSizesWithoutSigns) {
    const Spread spread = spreadOf({-4, 1, -2, 3, 0});
    EXPECT_EQ(spread.mean, 2);
    EXPECT_EQ(spread.median, 2);
    EXPECT_EQ(spread.p95, 4);
    EXPECT_EQ(spread.maximum, 4);
    EXPECT_EQ(spreadOf({}).maximum, 0);
}

}  // namespace
}  // namespace tiomipra::test
