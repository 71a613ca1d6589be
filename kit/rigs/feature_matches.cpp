#include "rigs/feature_matches.hpp"

#include <opencv2/features2d.hpp>
#include <utility>

#include "base/errors.hpp"
#include "base/statistics.hpp"
#include "base/text.hpp"

namespace tiomipra {
namespace {

struct Features {
    std::vector<cv::KeyPoint> points;
    cv::Mat descriptors;
};

Features findFeatures(const cv::Mat& image) {
    constexpr int most = 4000;
    Features features;
    cv::SIFT::create(most)->detectAndCompute(image, cv::noArray(), features.points,
                                             features.descriptors);
    return features;
}

// For each feature of `from` its best match in `to`; -1 without a clear one.
std::vector<int> bestMatches(const Features& from, const Features& to) {
    constexpr float ratio = 0.75F;
    std::vector<std::vector<cv::DMatch>> candidates;
    cv::BFMatcher().knnMatch(from.descriptors, to.descriptors, candidates, 2);
    std::vector<int> best;
    for (const auto& candidate : candidates) {
        const bool isClear =
            candidate.size() == 2 && candidate[0].distance <= ratio * candidate[1].distance;
        best.push_back(isClear ? candidate[0].trainIdx : -1);
    }
    return best;
}

void append(std::vector<cv::Point2f>& points, const std::vector<cv::Point2f>& more) {
    points.insert(points.end(), more.begin(), more.end());
}

}  // namespace

Matches matchFeatures(const cv::Mat& left, const cv::Mat& right) {
    const Features inLeft = findFeatures(left);
    const Features inRight = findFeatures(right);
    Matches matches;
    if (inLeft.points.size() < 2 || inRight.points.size() < 2)
        return matches;
    const std::vector<int> toRight = bestMatches(inLeft, inRight);
    const std::vector<int> toLeft = bestMatches(inRight, inLeft);
    for (std::size_t i = 0; i < toRight.size(); ++i) {
        if (toRight[i] < 0)
            continue;
        const auto partner = static_cast<std::size_t>(toRight[i]);
        if (toLeft[partner] != static_cast<int>(i))
            continue;
        matches.left.push_back(inLeft.points[i].pt);
        matches.right.push_back(inRight.points[partner].pt);
    }
    return matches;
}

void requireTwoViews(const Matches& matches, const Frame& frame) {
    // Pixels. Two cameras never see so nearly the same, however far away it is: their noise
    // differs.
    constexpr double nothing = 0.1;
    std::vector<double> distances;
    for (std::size_t i = 0; i < matches.left.size(); ++i)
        distances.push_back(cv::norm(matches.left[i] - matches.right[i]));
    if (!distances.empty() && quantile(std::move(distances), 0.5) < nothing)
        throw InputError(
            fmt::format("{} and {} show the same image, with no disparity between "
                        "them; give the images of both cameras",
                        quote(frame.leftFile), quote(frame.rightFile)));
}

MatchedPair matchPair(const Frame& frame, const Rig& rig) {
    const StereoImages images = frame.read();
    requireSameAspectRatio(rig, images.left.size(), frame.leftFile);
    MatchedPair pair{matchFeatures(toGrey(images.left), toGrey(images.right)), images.left};
    requireTwoViews(pair.matches, frame);
    return pair;
}

void MatchCollection::add(const Frame& frame, const MatchedPair& pair) {
    if (_pairs.empty())
        _firstImage = pair.left;
    if (pair.left.size() != _firstImage.size()) {
        addFailure(
            sizesDiffer(frame.leftFile, pair.left.size(), _pairs.front().left, _firstImage.size()));
        return;
    }
    append(_matches.left, pair.matches.left);
    append(_matches.right, pair.matches.right);
    _matches.pairs.resize(_matches.left.size(), _pairs.size());
    _pairs.push_back({frame.leftFile, frame.rightFile});
}

void MatchCollection::requirePairs() const {
    if (_pairs.empty())
        throw InputError(_failures.empty() ? "there is no pair to check" : describeFailures());
}

std::string MatchCollection::describeFailures() const {
    const std::size_t count = _pairs.size() + _failures.size();
    if (count == 1)
        return _failures.front();
    return fmt::format("{} of {} pairs can't be used:\n  {}", _failures.size(), count,
                       joined(_failures, "\n  "));
}

}  // namespace tiomipra
