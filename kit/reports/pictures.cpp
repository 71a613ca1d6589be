#include "reports/pictures.hpp"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "base/text.hpp"

namespace tiomipra {
namespace {

const cv::Scalar white(255, 255, 255);
const cv::Scalar black(0, 0, 0);
constexpr int font = cv::FONT_HERSHEY_SIMPLEX;

// Text is drawn this many times larger and then reduced: OpenCV's stroke fonts are uneven when
// they are drawn at the size of a label.
constexpr int oversampling = 4;

// Height in pixels of capital letters in a picture of this width.
int textHeightFor(int width) {
    return std::max(8, 5 + width / 110);
}

struct Text {
    std::string text;
    double fontScale;
    int thickness;
    cv::Size size;
};

Text layOut(const std::string& text, int height) {
    const int thickness = std::max(1, height / 6);
    const double fontScale = cv::getFontScaleFromHeight(font, height, thickness);
    int baseline = 0;
    const cv::Size size = cv::getTextSize(text, font, fontScale, thickness, &baseline);
    return {text, fontScale, thickness, size};
}

// As `layOut`, smaller if need be to stay within `width`.
Text layOutWithin(const std::string& text, int height, int width) {
    const Text full = layOut(text, height);
    return full.size.width <= width ? full : layOut(text, height * width / full.size.width);
}

void draw(cv::Mat& canvas, const Text& text, cv::Point bottomLeft, const cv::Scalar& colour) {
    cv::putText(canvas, text.text, bottomLeft, font, text.fontScale, colour, text.thickness,
                cv::LINE_AA);
}

bool hasBar(const ColourScale& scale) {
    return scale.low < scale.high;
}

// The colours of `values`, without regard to which of them are measured.
cv::Mat colourise(const cv::Mat& values, const ColourScale& scale) {
    const double slope = (scale.warmIsLow ? -255 : 255) / (scale.high - scale.low);
    const double origin = scale.warmIsLow ? scale.high : scale.low;
    cv::Mat indices;
    values.convertTo(indices, CV_8U, slope, -origin * slope);
    cv::Mat colours;
    cv::applyColorMap(indices, colours, cv::COLORMAP_TURBO);
    return colours;
}

cv::Mat drawGradient(cv::Size size, const ColourScale& scale) {
    cv::Mat values(1, size.width, CV_32FC1);
    for (int x = 0; x < size.width; ++x) {
        const double value = scale.low + (scale.high - scale.low) * (x + 0.5) / size.width;
        values.at<float>(x) = static_cast<float>(value);
    }
    return cv::repeat(colourise(values, scale), size.height, 1);
}

// Decimals that tell neighbouring ticks apart.
int decimalsFor(const std::vector<double>& ticks) {
    if (ticks.size() < 2)
        return 2;
    return std::max(0, static_cast<int>(std::ceil(-std::log10(ticks[1] - ticks[0]) - 1e-9)));
}

void drawTicks(cv::Mat& canvas, const cv::Rect& bar, const ColourScale& scale, int textHeight) {
    const int widestLabel = 6 * textHeight;
    const auto ticks =
        roundTicks(scale.low, scale.high, std::clamp(bar.width / widestLabel, 2, 10));
    for (const double tick : ticks) {
        const double fraction = (tick - scale.low) / (scale.high - scale.low);
        const int x = bar.x + static_cast<int>(std::lround(fraction * (bar.width - 1)));
        const int tickEnd = bar.br().y + textHeight / 2;
        cv::line(canvas, {x, bar.y}, {x, tickEnd}, black, std::max(1, textHeight / 8));
        const Text label = layOut(fixed(tick, decimalsFor(ticks)), textHeight);
        const int labelX = std::clamp(x - label.size.width / 2, 0, canvas.cols - label.size.width);
        draw(canvas, label, {labelX, tickEnd + textHeight * 3 / 2}, black);
    }
}

// The strip below a picture: title, bar, ticks.
cv::Mat drawColourBar(int width, const ColourScale& scale) {
    const int textHeight = oversampling * textHeightFor(width);
    cv::Mat strip(textHeight * 7, oversampling * width, CV_8UC3, white);
    const cv::Rect bar(textHeight, textHeight * 5 / 2, strip.cols - 2 * textHeight,
                       textHeight * 3 / 2);
    draw(strip, layOutWithin(scale.title, textHeight, bar.width), {bar.x, textHeight * 7 / 4},
         black);
    if (hasBar(scale)) {
        drawGradient(bar.size(), scale).copyTo(strip(bar));
        drawTicks(strip, bar, scale, textHeight);
    } else {
        draw(strip, layOut("no values", textHeight), {bar.x, bar.br().y}, black);
    }
    cv::Mat reduced;
    cv::resize(strip, reduced, {width, strip.rows / oversampling}, 0, 0, cv::INTER_AREA);
    return reduced;
}

// Pictures narrower than this get white margins so that the labels have room.
constexpr int smallestWidth = 240;

cv::Mat placeAboveColourBar(const cv::Mat& picture, const ColourScale& scale) {
    const int margin = std::max(0, smallestWidth - picture.cols);
    cv::Mat widened;
    cv::copyMakeBorder(picture, widened, 0, 0, margin / 2, margin - margin / 2, cv::BORDER_CONSTANT,
                       white);
    cv::Mat whole;
    cv::vconcat(widened, drawColourBar(widened.cols, scale), whole);
    return whole;
}

// The part of an image of `size` that the cell covers.
cv::Rect cellArea(cv::Size size, const cv::Mat& cells, int row, int column) {
    const cv::Point from(size.width * column / cells.cols, size.height * row / cells.rows);
    const cv::Point to(size.width * (column + 1) / cells.cols,
                       size.height * (row + 1) / cells.rows);
    return {from, to};
}

// Dark text with a light rim, readable on any colour.
void writeInMiddle(cv::Mat& cell, const std::string& text) {
    const int height = std::min(textHeightFor(4 * cell.cols), cell.rows / 2);
    Text label = layOutWithin(text, height, cell.cols * 4 / 5);
    const cv::Point origin((cell.cols - label.size.width) / 2, (cell.rows + label.size.height) / 2);
    const int thickness = label.thickness;
    label.thickness = thickness + 2;
    draw(cell, label, origin, white);
    label.thickness = thickness;
    draw(cell, label, origin, black);
}

// Fills the cell, or tints it when it `isTransparent`.
void colourCell(cv::Mat& cell, const cv::Vec3b& colour, bool isTransparent) {
    const double opacity = isTransparent ? 0.5 : 1;
    const cv::Mat uniform(cell.size(), CV_8UC3, colour);
    cv::addWeighted(cell, 1 - opacity, uniform, opacity, 0, cell);
}

}  // namespace

std::vector<double> roundTicks(double low, double high, int maxCount) {
    const double power = std::pow(10, std::floor(std::log10((high - low) / (maxCount + 1))));
    double step = 0;
    for (const double factor : {1, 2, 5, 10, 20, 50}) {
        step = factor * power;
        if (std::floor(high / step) - std::ceil(low / step) < maxCount)
            break;
    }
    std::vector<double> ticks;
    // Whole numbers of steps, as sums of steps would drift off the round values; plus 0, as there
    // would be a negative zero else.
    for (double count = std::ceil(low / step); count * step <= high; ++count)
        ticks.push_back(count * step + 0);
    return ticks;
}

cv::Mat toColour(const cv::Mat& image) {
    if (image.channels() == 3)
        return image;
    cv::Mat colour;
    cv::cvtColor(image, colour, cv::COLOR_GRAY2BGR);
    return colour;
}

std::string titleOf(const std::string& quantity, const std::string& name, const std::string& unit) {
    const bool isAscii =
        std::all_of(name.begin(), name.end(), [](unsigned char letter) { return letter < 128; });
    return fmt::format("{}{} ({})", quantity, isAscii ? " of " + name : "", unit);
}

ColourScale chooseScale(const std::string& title, const Statistics& statistics,
                        const std::optional<Interval>& wanted) {
    ColourScale scale;
    scale.title = title;
    if (wanted) {
        scale.low = wanted->low;
        scale.high = wanted->high;
        return scale;
    }
    scale.low = statistics.percentile1;
    scale.high = statistics.percentile99;
    if (statistics.count > 0 && scale.high <= scale.low) {
        scale.low -= 0.5;
        scale.high += 0.5;
    }
    return scale;
}

cv::Mat drawColourPicture(const cv::Mat& values, const cv::Mat& measured,
                          const ColourScale& scale) {
    cv::Mat picture(values.size(), CV_8UC3, darkGrey);
    if (hasBar(scale))
        colourise(values, scale).copyTo(picture, measured);
    return placeAboveColourBar(picture, scale);
}

cv::Mat drawGrid(const cv::Mat& cells, cv::Size size, const ColourScale& scale, int decimals,
                 const cv::Mat& background) {
    cv::Mat picture(size, CV_8UC3, darkGrey);
    if (!background.empty())
        cv::resize(toColour(background), picture, size, 0, 0, cv::INTER_AREA);
    const cv::Mat colours = colourise(cells, scale);
    for (int row = 0; row < cells.rows; ++row) {
        for (int column = 0; column < cells.cols; ++column) {
            const float value = cells.at<float>(row, column);
            if (std::isnan(value))
                continue;
            cv::Mat cell = picture(cellArea(size, cells, row, column));
            colourCell(cell, colours.at<cv::Vec3b>(row, column), !background.empty());
            writeInMiddle(cell, fixed(value, decimals));
        }
    }
    return placeAboveColourBar(picture, scale);
}

cv::Mat drawRowLines(const cv::Mat& left, const cv::Mat& right) {
    const std::vector<cv::Scalar> lineColours = {
        {60, 200, 60}, {60, 160, 255}, {255, 160, 60}, {200, 80, 220}};
    constexpr int lineCount = 24;
    cv::Mat picture;
    cv::hconcat(toColour(left), toColour(right), picture);
    for (int i = 0; i < lineCount; ++i) {
        const int y = picture.rows * (2 * i + 1) / (2 * lineCount);
        cv::line(picture, {0, y}, {picture.cols - 1, y}, lineColours[i % lineColours.size()],
                 std::max(1, picture.cols / 1600));
    }
    cv::line(picture, {left.cols, 0}, {left.cols, picture.rows - 1}, white,
             std::max(1, picture.cols / 800));
    return picture;
}

}  // namespace tiomipra
