// Pictures for people: colour maps with a labelled bar, grids, rectified pairs with row lines.
//
// All results are `CV_8UC3` in OpenCV's blue-green-red order and fit for writing as they are. What
// has no value is dark grey, a colour that no bar contains.
#ifndef TIOMIPRA_REPORTS_PICTURES_HPP
#define TIOMIPRA_REPORTS_PICTURES_HPP

#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

#include "base/quantities.hpp"
#include "base/statistics.hpp"

namespace tiomipra {

inline const cv::Scalar darkGrey(48, 48, 48);

// The image (`CV_8UC1` or `CV_8UC3`) as `CV_8UC3`.
cv::Mat toColour(const cv::Mat& image);

// What the colours of a picture stand for.
struct ColourScale {
    // Quantity and unit, as in "disparity (pixels)".
    std::string title;
    // The values at both ends of the bar, `low` < `high`; values beyond take the end's colour. Both
    // are the same when there are no values: then there is no bar.
    double low = 0;
    double high = 1;
    // Warm colours for small values (depth: what is near) instead of for large ones.
    bool warmIsLow = false;
};

// "depth of NAME (m)" of the quantity "depth" and the unit "m"; without names that the font of the
// pictures can't draw, which has ASCII alone.
std::string titleOf(const std::string& quantity, const std::string& name, const std::string& unit);

// The colours for measured values: those of `wanted`, or nearly all of them, as a few strays would
// else use up the bar. Without any value there is no bar.
ColourScale chooseScale(const std::string& title, const Statistics& statistics,
                        const std::optional<Interval>& wanted);

// Round values within [`low`, `high`], at most `maxCount` (at least 2): multiples of 1, 2 or 5
// times a power of ten.
std::vector<double> roundTicks(double low, double high, int maxCount);

// `values` (`CV_32FC1`) in colour where `measured` (`CV_8UC1`, same size) is not 0, above a
// colour bar with round tick values and the scale's title.
cv::Mat drawColourPicture(const cv::Mat& values, const cv::Mat& measured, const ColourScale& scale);

// The picture of a few values that each belong to a region of an image, as in corner counts or
// residuals: `cells` (`CV_32FC1`, one element per region, NaN where there is no value) stretched
// over `size`, each with its value written in, above the colour bar. With a `background` of any
// 8-bit type the regions let it show through.
cv::Mat drawGrid(const cv::Mat& cells, cv::Size size, const ColourScale& scale, int decimals,
                 const cv::Mat& background = cv::Mat());

// The rectified pair (8-bit, same size) side by side under coloured row lines: what a line crosses
// on the left it must cross on the right.
cv::Mat drawRowLines(const cv::Mat& left, const cv::Mat& right);

}  // namespace tiomipra

#endif
