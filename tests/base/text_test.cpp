// Values as a person reads them.
#include "base/text.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace tiomipra::test {
namespace {

TEST(Text, SignificantDigits) {
    const struct {
        double value;
        int digits;
        const char* text;
    } cases[] = {{1234.5, 3, "1230"},
                 {0.000123456, 3, "0.000123"},
                 {2, 4, "2"},
                 {2.5, 4, "2.5"},
                 {-0.08333333, 4, "-0.08333"},
                 {9.9996, 4, "10"},
                 {1e-9, 3, "1e-09"},
                 {123456789012., 3, "1.23e+11"},
                 {0, 3, "0"},
                 {std::numeric_limits<double>::infinity(), 3, "inf"}};
    for (const auto& [value, digits, text] : cases)
        EXPECT_EQ(significant(value, digits), text);
    EXPECT_EQ(fixed(1.5, 2), "1.50");
    EXPECT_EQ(fixed(-0.4, 0), "-0");
}

TEST(Text, NamesFilesWhoseSizesDiffer) {
    EXPECT_EQ(sizesDiffer("a", {6, 4}, "b", {3, 2}),
              "'a' is 6x4, 'b' is 3x2; their sizes must be the same");
}

}  // namespace
}  // namespace tiomipra::test
