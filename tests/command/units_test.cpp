#include "units.hpp"

#include <gtest/gtest.h>

#include "status.hpp"

namespace tiomipra {
namespace {

TEST(Units, LengthsWithASuffixAreInMetres) {
    EXPECT_DOUBLE_EQ(parseLength("25mm").value, 0.025);
    EXPECT_DOUBLE_EQ(parseLength("3cm").value, 0.03);
    EXPECT_DOUBLE_EQ(parseLength("1.5m").value, 1.5);
    EXPECT_DOUBLE_EQ(parseLength("1in").value, 0.0254);
    EXPECT_EQ(parseLength("1in").unit, "m");
    EXPECT_DOUBLE_EQ(parseLength("30").value, 30);
    EXPECT_EQ(parseLength("30").unit, "");
}

TEST(Units, RangesAndSizes) {
    EXPECT_DOUBLE_EQ(parseRange("0.4..3").nearest, 0.4);
    EXPECT_DOUBLE_EQ(parseRange("40cm..3m").farthest, 3);
    EXPECT_EQ(parseSize("9x6"), cv::Size(9, 6));
}

TEST(Units, WhatMeansNothingIsRefused) {
    for (const char* text : {"", "mm", "-1m", "0", "nan", "inf", "1e999", "3 m", "3ft", "3mm3"})
        EXPECT_THROW(parseLength(text), UsageError) << text;
    for (const char* text : {"3", "3..1", "1..1", "..2", "1..", "1m..2", "1..2..3"})
        EXPECT_THROW(parseRange(text), UsageError) << text;
    for (const char* text : {"9", "9x", "x6", "0x6", "9x-6", "9x6x3", "9.5x6", "99999999999x1"})
        EXPECT_THROW(parseSize(text), UsageError) << text;
}

}  // namespace
}  // namespace tiomipra
