// From a pair of images to the disparities that were really measured.
#ifndef TIOMIPRA_MATCHING_PAIR_MATCHER_HPP
#define TIOMIPRA_MATCHING_PAIR_MATCHER_HPP

#include <cstdint>
#include <memory>
#include <opencv2/core/mat.hpp>
#include <optional>
#include <string>
#include <vision/stereo.hpp>

#include "base/notices.hpp"
#include "base/provenance.hpp"
#include "files/frame_source.hpp"
#include "matching/matcher_settings.hpp"
#include "matching/matching_steps.hpp"
#include "matching/memory_need.hpp"
#include "rigs/rig_files.hpp"

namespace tiomipra {

// What matching a pair gave. All images have the same size.
struct Match {
    cv::Mat left;        // the left image that was matched, `CV_8UC1` or `CV_8UC3`
    cv::Mat disparity;   // `CV_32FC1`, pixels of `left`
    cv::Mat measured;    // `CV_8UC1`, 255 where there is a disparity
    cv::Mat reasons;     // `CV_8UC1`, a `Reason` for each pixel
    cv::Mat confidence;  // `CV_8UC1`, 0 to 255, or empty
};

// Where the raw images show the rectified ones: `CV_8UC1`, 255 for all of a pixel; empty for all
// pixels.
struct SeenPixels {
    cv::Mat left;
    cv::Mat right;
};

// Matches a rectified pair at 1 / `scale` of its size; the last columns and rows that don't fill a
// reduced pixel are left out, as the object's calibrations must have it.
Match matchPair(const vision::Stereo& stereo, const StereoImages& rectified, const SeenPixels& seen,
                int scale, const MatchingSteps& steps = {});

// Reads, rectifies and matches frames, with a `vision::Stereo` fitted to their size. For one thread
// at a time.
class PairMatcher {
  public:
    // Without a rig, or with one of `RectifiedCameras`, the frames are rectified already. Notices
    // say what was fitted to the size of the images, which depths are searched, and what may be
    // wrong with the results. Throws `InputError` when the installation lacks what a step needs.
    PairMatcher(MatcherSettings settings, std::optional<Rig> rig, Notify notify);

    // Throws `InputError` that names the file when the pair does not fit, or takes more memory than
    // `takeMemory` says there is; as `makeStereo` and `requireMatchable` for settings that don't.
    Match match(
        const Frame& frame,
        const TakeMemory& takeMemory = [](std::uint64_t) { return MemoryLimit(); });

    // Bytes that matching images of `size` takes. Throws as `match`.
    std::uint64_t memoryFor(const cv::Size& size, const std::string& file) const;

    // As it was used for the latest pair.
    const vision::Stereo& stereo() const { return *_stereo; }

    // What the latest pair was matched with.
    Parameters parameters() const;

  private:
    bool isRectifying() const { return _rig && !_rig->cameras; }
    int scale() const { return _settings.scale.value_or(1); }
    std::optional<Rig> rigFor(const cv::Size& size) const;
    void requireUsableSize(const cv::Size& size, const std::string& file) const;
    void fitTo(const cv::Size& size, const std::string& file);
    void fitParameters(int matchedWidth);
    void prepareRectification();

    const MatcherSettings _settings;
    const MatchingSteps _steps;
    const std::optional<Rig> _rig;
    const Notify _notify;
    cv::Size _size;           // that all below is fitted to
    std::uint64_t _need = 0;  // of memory
    std::shared_ptr<vision::Stereo> _stereo;
    // For the whole images, once it is needed; the same object where all of them is matched.
    std::shared_ptr<vision::Stereo> _rectifier;
    SeenPixels _seen;
};

}  // namespace tiomipra

#endif
