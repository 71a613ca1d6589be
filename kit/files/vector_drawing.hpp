// Drawings for print, true to size.
#ifndef TIOMIPRA_FILES_VECTOR_DRAWING_HPP
#define TIOMIPRA_FILES_VECTOR_DRAWING_HPP

#include <opencv2/core/types.hpp>
#include <string>
#include <vector>

namespace tiomipra {

struct Disc {
    cv::Point2d centre;
    double radius = 0;
};

struct Label {
    cv::Point2d start;  // of its base line
    double height = 0;  // of its font
    std::string text;   // ASCII
};

// All in black on a white page; millimetres, from its top left corner, y down.
struct Drawing {
    cv::Size2d page;
    std::vector<cv::Rect2d> rectangles;
    std::vector<Disc> discs;
    std::vector<Label> labels;
};

// A PDF file with that page. Viewers that heed what it asks for print it without scaling.
std::string encodePdf(const Drawing& drawing);

// The same as SVG.
std::string encodeSvg(const Drawing& drawing);

}  // namespace tiomipra

#endif
