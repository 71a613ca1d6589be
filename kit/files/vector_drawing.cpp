#include "files/vector_drawing.hpp"

#include <fmt/format.h>

#include <map>

namespace tiomipra {
namespace {

constexpr double pointsPerMillimetre = 72 / 25.4;

// With the characters that a syntax reserves written as it wants them.
std::string escaped(const std::string& text, const std::map<char, std::string>& escapes) {
    std::string result;
    for (const char letter : text) {
        const auto escape = escapes.find(letter);
        result += escape == escapes.end() ? std::string(1, letter) : escape->second;
    }
    return result;
}

// Four Bezier curves, which depart from the circle by less than 0.03 % of the radius.
std::string pdfPath(const Disc& disc) {
    const auto& [centre, r] = disc;
    const double k = 0.5523 * r;
    const double x = centre.x;
    const double y = centre.y;
    const auto curve = [](double x1, double y1, double x2, double y2, double x3, double y3) {
        return fmt::format("{:.4f} {:.4f} {:.4f} {:.4f} {:.4f} {:.4f} c\n", x1, y1, x2, y2, x3, y3);
    };
    return fmt::format("{:.4f} {:.4f} m\n", x + r, y) +
           curve(x + r, y + k, x + k, y + r, x, y + r) +
           curve(x - k, y + r, x - r, y + k, x - r, y) +
           curve(x - r, y - k, x - k, y - r, x, y - r) +
           curve(x + k, y - r, x + r, y - k, x + r, y);
}

// One path for all that is black: pieces of their own would show hair lines where they touch.
std::string pdfContent(const Drawing& drawing) {
    const double k = pointsPerMillimetre;
    std::string content =
        fmt::format("{:.6f} 0 0 {:.6f} 0 {:.4f} cm\n", k, -k, k * drawing.page.height);
    for (const cv::Rect2d& r : drawing.rectangles)
        content += fmt::format("{:.4f} {:.4f} {:.4f} {:.4f} re\n", r.x, r.y, r.width, r.height);
    for (const Disc& disc : drawing.discs)
        content += pdfPath(disc);
    content += "f\n";
    for (const auto& [start, height, text] : drawing.labels)
        content +=
            fmt::format("BT /F1 {:.4f} Tf 1 0 0 -1 {:.4f} {:.4f} Tm ({}) Tj ET\n", height, start.x,
                        start.y, escaped(text, {{'(', "\\("}, {')', "\\)"}, {'\\', "\\\\"}}));
    return content;
}

}  // namespace

std::string encodePdf(const Drawing& drawing) {
    const std::string content = pdfContent(drawing);
    const std::string objects[] = {
        "<< /Type /Catalog /Pages 2 0 R /ViewerPreferences << /PrintScaling /None >> >>",
        "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        fmt::format("<< /Type /Page /Parent 2 0 R /MediaBox [0 0 {:.4f} {:.4f}] /Contents 5 0 R "
                    "/Resources << /Font << /F1 4 0 R >> >> >>",
                    pointsPerMillimetre * drawing.page.width,
                    pointsPerMillimetre * drawing.page.height),
        "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>",
        fmt::format("<< /Length {} >>\nstream\n{}endstream", content.size(), content)};
    std::string file = "%PDF-1.6\n";
    std::string places = "0000000000 65535 f \n";
    int number = 0;
    for (const std::string& object : objects) {
        places += fmt::format("{:010} 00000 n \n", file.size());
        file += fmt::format("{} 0 obj\n{}\nendobj\n", ++number, object);
    }
    return fmt::format(
        "{}xref\n0 {}\n{}trailer\n<< /Size {} /Root 1 0 R >>\nstartxref\n{}\n%%EOF\n", file,
        number + 1, places, number + 1, file.size());
}

std::string encodeSvg(const Drawing& drawing) {
    const auto& [width, height] = drawing.page;
    std::string file = fmt::format(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0:.4f}mm\" height=\"{1:.4f}mm\" "
        "viewBox=\"0 0 {0:.4f} {1:.4f}\">\n"
        "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n<path d=\"",
        width, height);
    for (const cv::Rect2d& r : drawing.rectangles)
        file += fmt::format("M{:.4f} {:.4f}h{:.4f}v{:.4f}h{:.4f}z\n", r.x, r.y, r.width, r.height,
                            -r.width);
    file += "\"/>\n";
    for (const Disc& disc : drawing.discs)
        file += fmt::format("<circle cx=\"{:.4f}\" cy=\"{:.4f}\" r=\"{:.4f}\"/>\n", disc.centre.x,
                            disc.centre.y, disc.radius);
    for (const auto& [start, size, text] : drawing.labels)
        file += fmt::format(
            "<text x=\"{:.4f}\" y=\"{:.4f}\" font-family=\"Helvetica, Arial, sans-serif\" "
            "font-size=\"{:.4f}\">{}</text>\n",
            start.x, start.y, size, escaped(text, {{'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}}));
    return file + "</svg>\n";
}

}  // namespace tiomipra
