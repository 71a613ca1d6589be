// Drawings as PDF and SVG.
#include "files/vector_drawing.hpp"

#include <gmock/gmock.h>

#include <regex>

namespace tiomipra::test {
namespace {

using testing::HasSubstr;

const Drawing drawing{{254, 127}, {{10, 20, 30, 40}}, {{{50, 60}, 7}}, {{{1, 2}, 3, "(a\\b) <&>"}}};

// A millimetre is 72/25.4 points; PDF counts upwards from the bottom, which the matrix undoes.
TEST(VectorDrawing, IsTrueToSizeAsPdf) {
    const std::string pdf = encodePdf(drawing);
    EXPECT_THAT(pdf, HasSubstr("/MediaBox [0 0 720.0000 360.0000]"));
    EXPECT_THAT(pdf, HasSubstr("2.834646 0 0 -2.834646 0 360.0000 cm"));
    EXPECT_THAT(pdf, HasSubstr("\n10.0000 20.0000 30.0000 40.0000 re\n57.0000 60.0000 m\n"));
    EXPECT_THAT(pdf, HasSubstr("50.0000 53.0000 c\n"));
    EXPECT_THAT(pdf, HasSubstr("1 0 0 -1 1.0000 2.0000 Tm (\\(a\\\\b\\) <&>) Tj"));
    EXPECT_THAT(pdf, HasSubstr("/PrintScaling /None"));
    // Readers find the objects by their places.
    const std::size_t table = std::stoul(pdf.substr(pdf.rfind("startxref") + 10));
    EXPECT_EQ(pdf.substr(table, 9), "xref\n0 6\n");
    for (std::size_t i = 1; i < 6; ++i) {
        const std::size_t place = std::stoul(pdf.substr(table + 9 + 20 * i, 10));
        EXPECT_EQ(pdf.substr(place, 8), std::to_string(i) + " 0 obj\n");
    }
    std::smatch length;
    ASSERT_TRUE(std::regex_search(pdf, length, std::regex("/Length (\\d+) >>\nstream\n")));
    const auto end = static_cast<std::size_t>(length.position() + length.length());
    EXPECT_EQ(pdf.substr(end + std::stoul(length[1])).substr(0, 9), "endstream");
}

TEST(VectorDrawing, IsTrueToSizeAsSvg) {
    const std::string svg = encodeSvg(drawing);
    EXPECT_THAT(svg, HasSubstr("width=\"254.0000mm\" height=\"127.0000mm\""));
    EXPECT_THAT(svg, HasSubstr("viewBox=\"0 0 254.0000 127.0000\""));
    EXPECT_THAT(svg, HasSubstr("M10.0000 20.0000h30.0000v40.0000h-30.0000z"));
    EXPECT_THAT(svg, HasSubstr("cx=\"50.0000\" cy=\"60.0000\" r=\"7.0000\""));
    EXPECT_THAT(svg, HasSubstr(">(a\\b) &lt;&amp;&gt;</text>"));
}

}  // namespace
}  // namespace tiomipra::test
