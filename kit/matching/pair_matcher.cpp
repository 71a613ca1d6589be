#include "matching/pair_matcher.hpp"

#include <algorithm>
#include <opencv2/core.hpp>
#include <utility>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "files/image_files.hpp"
#include "matching/image_reduction.hpp"
#include "matching/matcher_search.hpp"
#include "matching/matcher_setup.hpp"
#include "matching/measured_pixels.hpp"

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

}  // namespace

Match matchPair(const Stereo& stereo, const StereoImages& rectified, const cv::Mat& seen,
                int scale) {
    Match match;
    match.left = reduce(rectified.left, scale);
    const cv::Mat left = toGrey(match.left);
    const cv::Mat right = toGrey(reduce(rectified.right, scale));
    requireAllocatable(matcherMemory(stereo, left.size()));
    match.disparity = stereo.computeDisparity(left, right);
    const vision::AdaptedParameters adapted = adaptToWidth(stereo, left.cols);
    match.measured = findMatched(match.disparity, adapted.minDisparity) &
                     findTextured(left, adapted.windowSize, stereo.getPreFilterCap(),
                                  std::max(1, stereo.getTextureThreshold()));
    // Block matching leaves stray values of other rows beside the columns that it can match.
    const cv::Range columns = matchableColumns(adapted, left.cols);
    match.measured.colRange(0, columns.start).setTo(0);
    match.measured.colRange(columns.end, left.cols).setTo(0);
    if (!seen.empty())
        match.measured &= reduce(seen, scale) == 255;
    return match;
}

PairMatcher::PairMatcher(MatcherSettings settings, std::optional<Rig> rig, Notify notify)
    : _settings(std::move(settings)), _rig(std::move(rig)), _notify(std::move(notify)) {}

Match PairMatcher::match(const Frame& frame, const TakeMemory& takeMemory) {
    StereoImages images = frame.read();
    if (images.left.size() != _size)
        fitTo(images.left.size(), frame.leftFile);
    requireMemoryToMatch(frame.leftFile, _size, *_stereo, _need, takeMemory(_need));
    if (isRectifying() && _rectifier == nullptr)
        prepareRectification();
    if (isRectifying())
        images = {_rectifier->rectifyImageLeft(images.left),
                  _rectifier->rectifyImageRight(images.right)};
    return matchPair(*_stereo, images, _seen, scale());
}

Parameters PairMatcher::parameters() const {
    return describeParameters(*_stereo, _settings, _rig.has_value());
}

std::uint64_t PairMatcher::memoryFor(const cv::Size& size, const std::string& file) const {
    requireUsableSize(size, file);
    const cv::Size kept = divisibleSize(size, scale());
    const auto stereo = makeStereo(_settings, rigFor(size), kept);
    fitToWidth(*stereo, kept.width / scale());
    return pairMemory(*stereo, size, kept / scale(), _rig.has_value());
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
    _seen.release();
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
    _need = pairMemory(*_stereo, size, kept / scale(), _rig.has_value());
    _size = size;
}

void PairMatcher::fitParameters(int matchedWidth) {
    for (const std::string& change : fitToWidth(*_stereo, matchedWidth))
        _notify("note: " + change);
    requireMatchable(*_stereo, matchedWidth);
    for (const std::string& doubt : findDoubts(*_stereo, matchedWidth))
        _notify("warning: " + doubt);
}

void PairMatcher::prepareRectification() {
    const auto rectifier = divisibleSize(_size, scale()) == _size
                               ? _stereo
                               : makeStereo(_settings, fitRig(*_rig, _size, _size));
    _seen = rectifier->rectifyImageLeft(cv::Mat(_size, CV_8UC1, cv::Scalar(255)));
    _rectifier = rectifier;
}

}  // namespace tiomipra
