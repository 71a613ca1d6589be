#include "matching/measurement_hints.hpp"

#include <algorithm>
#include <opencv2/core.hpp>

#include "base/text.hpp"
#include "matching/matcher_search.hpp"
#include "rigs/disparity_model.hpp"

namespace tiomipra {
namespace {

using vision::Stereo;

// The scenes of docs/command.md measure half of their pixels and more, exchanged or twice the same
// image less than a tenth, or nearly all of it at the far end.
constexpr double leastMeasured = 0.1;
constexpr double mostAtFarEnd = 0.5;
// Where the far end is infinity, a view into the distance may be there.
constexpr double mostAtInfinity = 0.9;

// Where a twentieth and more of these scenes is nearer than the range, 2 % to 8 % of what is
// measured stand in its last step; where nothing is, next to nothing.
double mostAtNearEnd(int disparityNumber) {
    return std::max(0.02, 1.25 / disparityNumber);
}

std::size_t countOf(const cv::Mat& mask) {
    return static_cast<std::size_t>(cv::countNonZero(mask));
}

double share(std::size_t part, std::size_t whole) {
    return whole == 0 ? 0 : static_cast<double>(part) / static_cast<double>(whole);
}

// Nothing is farther then.
bool reachesInfinity(const Stereo& stereo) {
    const auto [left, right] = stereo.getCalibrations();
    return stereo.getMinDisparity() <= disparityModel(left, right).atInfinity;
}

std::string percent(double share) {
    return significant(100 * share, 2) + " %";
}

std::string hintOfLittle(double measured) {
    const std::string what =
        measured == 0 ? "nothing" : fmt::format("only {} of the pixels", percent(measured));
    return fmt::format(
        "{} was measured; see whether left and right are exchanged, whether both are the same "
        "image, whether the depths or disparities searched hold the scene, and whether the "
        "rig is still calibrated",
        what);
}

std::string hintOfNearEnd(double atNearEnd, int last) {
    return fmt::format(
        "{} of what was measured is at the near end of the range, within 1 of the largest "
        "disparity, {}: what is nearer comes out wrong; start the range nearer, or find it "
        "automatically",
        percent(atNearEnd), last);
}

std::string hintOfFarEnd(double atFarEnd, int first) {
    return fmt::format(
        "{} of what was measured is at the far end of the range, within 1 of the smallest "
        "disparity, {}; see whether both images are the same, or let the range reach farther",
        percent(atFarEnd), first);
}

}  // namespace

std::vector<std::string> findHints(const PairMeasurement& measurement, const Match& match,
                                   const Stereo& stereo) {
    const vision::AdaptedParameters adapted = adaptToWidth(stereo, match.left.cols);
    const int first = adapted.minDisparity;
    const int last = first + adapted.disparityNumber - 1;
    const std::size_t matched = countOf(match.measured);
    const auto shareOf = [&](const cv::Mat& pixels) {
        return share(countOf(match.measured & pixels), matched);
    };
    const double measured = share(measurement.statistics.count, match.measured.total());
    const double atNearEnd = shareOf(match.disparity >= last - 1);
    const double atFarEnd = shareOf(match.disparity <= first + 1);
    std::vector<std::string> hints;
    if (measured < leastMeasured)
        hints.push_back(hintOfLittle(measured));
    if (atNearEnd > mostAtNearEnd(adapted.disparityNumber))
        hints.push_back(hintOfNearEnd(atNearEnd, last));
    if (atFarEnd > (reachesInfinity(stereo) ? mostAtInfinity : mostAtFarEnd))
        hints.push_back(hintOfFarEnd(atFarEnd, first));
    return hints;
}

}  // namespace tiomipra
