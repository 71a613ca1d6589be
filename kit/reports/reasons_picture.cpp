#include "reports/reasons_picture.hpp"

#include <algorithm>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "base/text.hpp"
#include "matching/unmeasured.hpp"

namespace tiomipra {
namespace {

// In the order of `allReasons`, then those of the legend: paper and ink.
const std::vector<cv::Vec3b> colours{{224, 224, 224}, {48, 48, 48},    {120, 120, 120},
                                     {230, 159, 86},  {0, 159, 230},   {115, 158, 0},
                                     {66, 228, 240},  {167, 121, 204}, {178, 114, 0},
                                     {255, 255, 255}, {0, 0, 0}};
constexpr int paper = static_cast<int>(allReasons.size());
constexpr int ink = paper + 1;

constexpr int font = cv::FONT_HERSHEY_SIMPLEX;
constexpr double fontScale = 0.45;
constexpr int lineHeight = 20;

std::string legendOf(Reason reason, std::size_t count, std::size_t all) {
    return fmt::format(
        "{} {:.1f} %", describe(reason),
        100 * static_cast<double>(count) / static_cast<double>(std::max<std::size_t>(1, all)));
}

void drawLine(cv::Mat& line, Reason reason, const std::string& text) {
    constexpr int margin = 4, side = lineHeight - 2 * margin;
    line(cv::Rect(margin, margin, side, side)).setTo(static_cast<int>(reason));
    cv::putText(line, text, {lineHeight + margin, lineHeight - margin - 1}, font, fontScale, ink, 1,
                cv::LINE_8);
}

}  // namespace

IndexedImage drawReasons(const cv::Mat& reasons) {
    constexpr int smallestWidth = 300;  // of the longest line
    const int width = std::max(reasons.cols, smallestWidth);
    const ReasonCounts counts = countReasons(reasons);
    cv::Mat picture;
    cv::copyMakeBorder(reasons, picture, 0, 0, 0, width - reasons.cols, cv::BORDER_CONSTANT, paper);
    for (const Reason reason : allReasons) {
        const std::size_t count = counts.at(static_cast<std::size_t>(reason));
        if (count == 0)
            continue;
        cv::Mat line(lineHeight, width, CV_8UC1, cv::Scalar(paper));
        drawLine(line, reason, legendOf(reason, count, reasons.total()));
        picture.push_back(line);
    }
    return {picture, colours};
}

}  // namespace tiomipra
