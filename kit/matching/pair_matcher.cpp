#include "matching/pair_matcher.hpp"

#include <algorithm>
#include <opencv2/core.hpp>
#include <utility>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "files/image_files.hpp"
#include "matching/disparity_search.hpp"
#include "matching/edge_filter.hpp"
#include "matching/image_reduction.hpp"
#include "matching/matcher_search.hpp"
#include "matching/matcher_setup.hpp"

namespace tiomipra {
namespace {

using vision::Stereo;

// The rig for images of `size`.
Rig resizeRig(const Rig& rig, const cv::Size& size) {
    if (rig.cameras)
        return rectifiedRig(*rig.cameras, size);
    Rig resized = rig;
    for (vision::Calibration* camera : {&resized.left, &resized.right})
        *camera = camera->scaleTo(size.width, size.height);
    return resized;
}

// The rig for images of `size`, which must fit it, without their last columns and rows: `kept` is
// what is left.
Rig fitRig(const Rig& rig, const cv::Size& size, const cv::Size& kept) {
    Rig fitted = resizeRig(rig, size);
    for (vision::Calibration* camera : {&fitted.left, &fitted.right}) {
        camera->width = kept.width;
        camera->height = kept.height;
    }
    return fitted;
}

cv::Mat whollySeen(const cv::Mat& seen, int scale) {
    return seen.empty() ? cv::Mat() : cv::Mat(reduce(seen, scale) == 255);
}

}  // namespace

Match matchPair(const Stereo& stereo, const StereoImages& rectified, const SeenPixels& seen,
                int scale, const MatchingSteps& steps) {
    const cv::Mat left = reduce(rectified.left, scale);
    requireAllocatable(matcherMemory(stereo, steps, left.size()));
    FoundDisparities found =
        findDisparities(stereo, steps,
                        {toGrey(left), toGrey(reduce(rectified.right, scale)),
                         whollySeen(seen.left, scale), whollySeen(seen.right, scale), left});
    return {left, found.disparity, found.reasons == 0, found.reasons, found.confidence};
}

PairMatcher::PairMatcher(MatcherSettings settings, std::optional<Rig> rig, Notify notify)
    : _settings(std::move(settings)),
      _steps(stepsOf(_settings)),
      _rig(std::move(rig)),
      _notify(std::move(notify)) {
    if (filtersAlongEdges(_steps))
        loadEdgeFilter();
}

Match PairMatcher::match(const Frame& frame, const TakeMemory& takeMemory) {
    StereoImages images = frame.read();
    if (images.left.size() != _size)
        fitTo(images.left.size(), frame.leftFile);
    requireMemoryToMatch(frame.leftFile, _size, *_stereo, _steps, _need, takeMemory(_need));
    if (isRectifying() && _rectifier == nullptr)
        prepareRectification();
    if (isRectifying())
        images = {_rectifier->rectifyImageLeft(images.left),
                  _rectifier->rectifyImageRight(images.right)};
    return matchPair(*_stereo, images, _seen, scale(), _steps);
}

Parameters PairMatcher::parameters() const {
    return describeParameters(*_stereo, _settings, _rig.has_value());
}

std::uint64_t PairMatcher::memoryFor(const cv::Size& size, const std::string& file) const {
    requireUsableSize(size, file);
    const cv::Size kept = divisibleSize(size, scale());
    const auto stereo = makeStereo(_settings, rigFor(size), kept);
    fitToWidth(*stereo, _steps, kept.width / scale());
    return pairMemory(*stereo, _steps, size, kept / scale(), _rig.has_value());
}

std::optional<Rig> PairMatcher::rigFor(const cv::Size& size) const {
    return _rig ? std::optional(fitRig(*_rig, size, divisibleSize(size, scale()))) : std::nullopt;
}

void PairMatcher::requireUsableSize(const cv::Size& size, const std::string& file) const {
    if (isRectifying())
        requireSameAspectRatio(*_rig, size, file);
    if (size.width < scale() || size.height < scale())
        throw InputError(fmt::format("{} is {}, must be at least {} for scale {}", quote(file),
                                     describe(size), describe({scale(), scale()}), scale()));
}

void PairMatcher::fitTo(const cv::Size& size, const std::string& file) {
    _size = {};  // whatever fails below: nothing is fitted to the former size any more
    _stereo = _rectifier = nullptr;
    _seen = {};
    requireUsableSize(size, file);
    const cv::Size kept = divisibleSize(size, scale());
    if (kept != size)
        _notify(
            fmt::format("note: of {} pixels {} are matched, as the last columns or rows don't "
                        "fill a pixel at 1/{} of the size",
                        describe(size), describe(kept), scale()));
    const auto rig = rigFor(size);
    _stereo = makeStereo(_settings, rig, kept);
    fitParameters(kept.width / scale());
    if (rig)
        _notify(explainSearch(*_stereo, *rig, scale()));
    _need = pairMemory(*_stereo, _steps, size, kept / scale(), _rig.has_value());
    _size = size;
}

void PairMatcher::fitParameters(int matchedWidth) {
    for (const std::string& change : fitToWidth(*_stereo, _steps, matchedWidth))
        _notify("note: " + change);
    requireMatchable(*_stereo, matchedWidth);
    for (const std::string& doubt : findDoubts(*_stereo, _steps, matchedWidth))
        _notify("warning: " + doubt);
}

void PairMatcher::prepareRectification() {
    const auto rectifier = divisibleSize(_size, scale()) == _size
                               ? _stereo
                               : makeStereo(_settings, fitRig(*_rig, _size, _size));
    const cv::Mat all(_size, CV_8UC1, cv::Scalar(255));
    _seen = {rectifier->rectifyImageLeft(all), rectifier->rectifyImageRight(all)};
    _rectifier = rectifier;
}

}  // namespace tiomipra
