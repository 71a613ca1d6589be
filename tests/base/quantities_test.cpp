// Quantities as people write them and read them.
#include "base/quantities.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

#include "base/text.hpp"

namespace tiomipra::test {
namespace {

TEST(Quantities, LengthsWithASuffixAreInMetres) {
    const struct {
        const char* text;
        double value;
        const char* unit;
    } cases[] = {{"25mm", 0.025, "m"}, {"3cm", 0.03, "m"}, {"1.5m", 1.5, "m"},
                 {"1in", 0.0254, "m"}, {"30", 30, ""},     {"1e3", 1000, ""},
                 {"25 mm", 0.025, "m"}};
    for (const auto& [text, value, unit] : cases) {
        const Length length = parseLength(text);
        EXPECT_DOUBLE_EQ(length.value, value) << text;
        EXPECT_EQ(length.unit, unit) << text;
    }
}

TEST(Quantities, RangesSizesAndNumbers) {
    const DepthRange bare = parseDepthRange("0.4..3");
    EXPECT_EQ(std::tuple(bare.nearest, bare.farthest, bare.unit), std::tuple(0.4, 3., ""));
    const DepthRange metric = parseDepthRange("40cm..3m");
    EXPECT_EQ(std::tuple(metric.nearest, metric.farthest, metric.unit), std::tuple(0.4, 3., "m"));
    const DepthRange open = parseDepthRange("40cm..inf");
    EXPECT_EQ(std::tuple(open.nearest, open.farthest, open.unit), std::tuple(0.4, INFINITY, "m"));
    EXPECT_TRUE(parseDepthRange("auto").isAutomatic);
    EXPECT_EQ(parseSize("9X6"), cv::Size(9, 6));
    EXPECT_EQ(parsePositiveNumber("0.25"), 0.25);
    const Interval interval = parseInterval("-1.5..64");
    EXPECT_EQ(std::pair(interval.low, interval.high), std::pair(-1.5, 64.));
}

TEST(Quantities, WhatMeansNothingIsRefused) {
    for (const char* text :
         {"", "mm", "-1m", "0", "nan", "inf", "1e999", " 3m", "3m ", "3ft", "3mm3"})
        EXPECT_THAT([&] { parseLength(text); },
                    testing::ThrowsMessage<std::invalid_argument>(
                        "'" + std::string(text) +
                        "' must be a positive number, alone or with mm, cm, m or in"));
    for (const char* text : {"3", "3..1", "1..1", "..2", "1..", "1m..2", "1..2..3", "inf..inf"})
        EXPECT_THROW(parseDepthRange(text), std::invalid_argument) << text;
    for (const char* text : {"3", "3..3", "3..1", "..2", "1..", "1..2m", "nan..1", "0..inf"})
        EXPECT_THROW(parseInterval(text), std::invalid_argument) << text;
    for (const char* text : {"9", "9x", "x6", "0x6", "9x-6", "9x6x3", "9.5x6", "99999999999x1"})
        EXPECT_THROW(parseSize(text), std::invalid_argument) << text;
    for (const char* text : {"", "0", "-1", "nan", "inf", "1m", "1 "})
        EXPECT_THROW(parsePositiveNumber(text), std::invalid_argument) << text;
}

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
                 {12345678, 3, "12300000"},
                 {12345678901., 3, "1.23e+10"},
                 {0, 3, "0"},
                 {std::numeric_limits<double>::infinity(), 3, "inf"}};
    for (const auto& [value, digits, text] : cases)
        EXPECT_EQ(significant(value, digits), text);
    EXPECT_EQ(fixed(1.5, 2), "1.50");
    EXPECT_EQ(fixed(-0.4, 0), "-0");
}

}  // namespace
}  // namespace tiomipra::test
