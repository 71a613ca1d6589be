// Points that look alike in both images of a pair, of ordinary scenes.
#ifndef TIOMIPRA_RIGS_FEATURE_MATCHES_HPP
#define TIOMIPRA_RIGS_FEATURE_MATCHES_HPP

#include <cstddef>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "files/frame_source.hpp"
#include "rigs/rig_files.hpp"

namespace tiomipra {

// Points of raw images, pixels: `left[i]` and `right[i]` look alike.
struct Matches {
    std::vector<cv::Point2f> left;
    std::vector<cv::Point2f> right;
    std::vector<std::size_t> pairs = {};  // which of a collection they are of; empty: of one
};

// Features (SIFT) of two 8-bit grey images that are each other's best match and clearly better than
// the second best. Some are wrong all the same.
Matches matchFeatures(const cv::Mat& left, const cv::Mat& right);

// Throws `InputError` that names the files when the matches are those of an image with itself.
void requireTwoViews(const Matches& matches, const Frame& frame);

struct MatchedPair {
    Matches matches;
    cv::Mat left;  // the image
};

// Reads and matches the pair. Throws `InputError` that names the file when one can't be read, has
// another aspect ratio than the rig, or both show the same image. From any thread.
MatchedPair matchPair(const Frame& frame, const Rig& rig);

// The matches of many pairs, in the order in which they are added.
class MatchCollection {
  public:
    // The size of the first one is the size that all must have; another one is a failure.
    void add(const Frame& frame, const MatchedPair& pair);

    // A pair that can't be used.
    void addFailure(const std::string& why) { _failures.push_back(why); }

    // Throws `InputError` that says why unless there is a pair that can be used.
    void requirePairs() const;

    const Matches& matches() const { return _matches; }
    const cv::Mat& firstImage() const { return _firstImage; }  // the left one of the first pair

    // The pairs that can be used, and why the others can't.
    const std::vector<PairNames>& pairs() const { return _pairs; }
    const std::vector<std::string>& failures() const { return _failures; }

    // All failures, of which there must be some, as one text.
    std::string describeFailures() const;

  private:
    Matches _matches;
    std::vector<PairNames> _pairs;
    cv::Mat _firstImage;
    std::vector<std::string> _failures;
};

}  // namespace tiomipra

#endif
