#include "matching/automatic_range.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/errors.hpp"
#include "base/statistics.hpp"
#include "base/text.hpp"
#include "matching/image_reduction.hpp"
#include "matching/matcher_setup.hpp"
#include "rigs/disparity_model.hpp"
#include "rigs/feature_matches.hpp"
#include "rigs/row_differences.hpp"

namespace tiomipra {
namespace {

using Points = std::vector<cv::Point2d>;

void scale(std::vector<cv::Point2f>& points, double factor) {
    for (cv::Point2f& point : points)
        point *= factor;
}

// Points of images whose larger side is some 1000 pixels, which is enough for whole pixels.
Matches matchReduced(const StereoImages& images, int reduction) {
    Matches matches = matchFeatures(toGrey(reduce(images.left, reduction)),
                                    toGrey(reduce(images.right, reduction)));
    scale(matches.left, reduction);
    scale(matches.right, reduction);
    return matches;
}

// Wrong matches rarely share a row, and some of those lie behind the cameras.
std::vector<double> disparitiesOf(const Points& left, const Points& right, double tolerance,
                                  double atInfinity) {
    const std::vector<double> rows = rowDifferences(left, right);
    std::vector<double> disparities;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const double disparity = left[i].x - right[i].x;
        if (std::abs(rows[i]) <= tolerance && disparity >= atInfinity - tolerance)
            disparities.push_back(disparity);
    }
    return disparities;
}

// Of the rectified points, pixels of the calibrated size.
std::vector<double> ofRig(Matches matches, const Rig& rig, int imageWidth, double tolerance) {
    const double factor = static_cast<double>(rig.left.width) / imageWidth;
    scale(matches.left, factor);
    scale(matches.right, factor);
    return disparitiesOf(rectifyPoints(matches.left, rig.left),
                         rectifyPoints(matches.right, rig.right), tolerance * factor,
                         disparityModel(rig.left, rig.right).atInfinity);
}

std::vector<double> ofRectified(const Matches& matches, const std::optional<Rig>& rig,
                                double tolerance) {
    const double atInfinity = rig ? disparityModel(rig->left, rig->right).atInfinity
                                  : std::numeric_limits<double>::lowest();
    return disparitiesOf(Points(matches.left.begin(), matches.left.end()),
                         Points(matches.right.begin(), matches.right.end()), tolerance, atInfinity);
}

// Surfaces reach beyond the features on them, most of all those that are near and smooth.
DisparityRange withMargin(const DisparityRange& found, const DisparityRange& possible) {
    constexpr double least = 2;
    constexpr double shareFar = 0.1;
    constexpr double shareNear = 0.2;
    const double span = found.largest - found.smallest;
    return {std::max(found.smallest - std::max(least, shareFar * span),
                     std::min(found.smallest, possible.smallest)),
            std::min(found.largest + std::max(least, shareNear * span), possible.largest)};
}

// From infinity on; without a rig, images are taken to have it at 0. At the near end a hundredth of
// the width is kept for rounding.
DisparityRange possibleDisparities(const std::optional<Rig>& rig, int imageWidth) {
    const bool isRaw = rig && !rig->cameras;
    return {rig ? disparityModel(rig->left, rig->right).atInfinity : 0.,
            0.99 * (isRaw ? rig->left.width : imageWidth)};
}

// The range of all frames together.
DisparityRange findInAll(const std::vector<Frame>& frames, const std::optional<Rig>& rig) {
    DisparityRange all{std::numeric_limits<double>::max(), std::numeric_limits<double>::lowest()};
    int width = std::numeric_limits<int>::max();
    std::string failure = "no pair shows enough features in both images; give a range";
    for (const Frame& frame : frames) {
        try {
            const StereoImages images = frame.read();
            if (rig && !rig->cameras)
                requireSameAspectRatio(*rig, images.left.size(), frame.leftFile);
            width = std::min(width, images.left.cols);
            const auto found = findDisparities(images, rig);
            if (found)
                all = {std::min(all.smallest, found->smallest),
                       std::max(all.largest, found->largest)};
        } catch (const InputError& error) {
            failure = error.what();
        }
    }
    if (all.smallest > all.largest)
        throw InputError("the range can't be found: " + failure);
    return withMargin(all, possibleDisparities(rig, width));
}

double rounded(double depth) {
    return parsePositiveNumber(significant(depth, 3));
}

DepthRange depthsOf(const DisparityRange& disparities, const Rig& rig) {
    constexpr double leastFromInfinity = 0.5;
    const DisparityModel model = disparityModel(rig.left, rig.right);
    const bool isInfinite = disparities.smallest - model.atInfinity < leastFromInfinity;
    return {rounded(model.depthAt(disparities.largest)),
            isInfinite ? std::numeric_limits<double>::infinity()
                       : rounded(model.depthAt(disparities.smallest)),
            ""};
}

std::string describe(const DisparityRange& disparities) {
    return fmt::format("disparities from {:.0f} to {:.0f}", disparities.smallest,
                       disparities.largest);
}

}  // namespace

std::optional<DisparityRange> findDisparities(const StereoImages& images,
                                              const std::optional<Rig>& rig) {
    constexpr int longestSide = 1280;
    constexpr double tolerance = 1.5;  // pixels of what is matched
    constexpr double stray = 0.003;
    constexpr std::size_t fewest = 20;
    const int reduction = (std::max(images.left.cols, images.left.rows) - 1) / longestSide + 1;
    const Matches matches = matchReduced(images, reduction);
    const auto disparities = rig && !rig->cameras
                                 ? ofRig(matches, *rig, images.left.cols, tolerance * reduction)
                                 : ofRectified(matches, rig, tolerance * reduction);
    if (disparities.size() < fewest)
        return std::nullopt;
    return DisparityRange{quantile(disparities, stray), quantile(disparities, 1 - stray)};
}

MatcherSettings withRangeFound(const MatcherSettings& settings, const std::optional<Rig>& rig,
                               const std::vector<Frame>& frames, const Notify& notify) {
    if (!settings.range || !settings.range->isAutomatic)
        return settings;
    vision::Stereo trial;  // refuses before the search what would be refused after it
    applyParameters(trial, settings);
    if (rig)
        requireUsable(*rig);
    const DisparityRange disparities = findInAll(frames, rig);
    MatcherSettings found = settings;
    std::string depths;
    if (rig) {
        found.range = depthsOf(disparities, *rig);
        depths = fmt::format("depths {}..{}, ", digits(found.range->nearest),
                             digits(found.range->farthest));
    } else {
        setDisparities(found, disparities.smallest, disparities.largest);
    }
    notify(fmt::format("note: the range found is {}{}", depths, describe(disparities)));
    return found;
}

}  // namespace tiomipra
