#include "matching/disparity_search.hpp"

#include <algorithm>
#include <memory>
#include <opencv2/calib3d.hpp>
#include <opencv2/core.hpp>

#include "matching/edge_filter.hpp"
#include "matching/gap_filling.hpp"
#include "matching/image_preparation.hpp"
#include "matching/left_right_check.hpp"
#include "matching/light_matching.hpp"
#include "matching/matcher_parameters.hpp"
#include "matching/matcher_search.hpp"
#include "matching/measured_pixels.hpp"
#include "matching/subpixel_refit.hpp"
#include "matching/unmeasured.hpp"
#include "shared/speckle_filter.hpp"

namespace tiomipra {
namespace {

using vision::AdaptedParameters;
using vision::Stereo;

// The matchers' fixed point.
constexpr int fixedPointSteps = 16;

// The same matcher for images that are wider by so many columns, without the speckle filter.
std::unique_ptr<Stereo> widened(const Stereo& stereo, int width, int columns) {
    vision::Calibration calibration;
    calibration.width =
        stereo.getCalibrations().first.width + columns * reductionFactor(stereo, width);
    calibration.height = stereo.getCalibrations().first.height;
    calibration.projectionMatrix = cv::Mat::eye(3, 4, CV_32FC1);
    auto wider = std::make_unique<Stereo>();
    wider->setCalibrations(calibration, calibration);
    for (const MatcherParameter& parameter : matcherParameters())
        parameter.set(*wider, parameter.get(stereo));
    wider->setSpeckleWindowSize(0);
    return wider;
}

// Semi-global matching over three directions (`cv::StereoSGBM::MODE_SGBM_3WAY`).
cv::Mat computeThreeWay(const Stereo& stereo, const AdaptedParameters& adapted, int block,
                        const cv::Mat& left, const cv::Mat& right) {
    const auto matcher =
        cv::StereoSGBM::create(adapted.minDisparity, adapted.disparityNumber, block, adapted.P1,
                               adapted.P2, stereo.getDisp12MaxDiff(), stereo.getPreFilterCap(),
                               stereo.getUniquenessRatio(), 0, 0, cv::StereoSGBM::MODE_SGBM_3WAY);
    cv::Mat fixed, disparity;
    matcher->compute(left, right, fixed);
    fixed.convertTo(disparity, CV_32F, 1. / fixedPointSteps);
    return disparity;
}

cv::Mat mirrored(const cv::Mat& image) {
    cv::Mat result;
    cv::flip(image, result, 1);
    return result;
}

// What the matcher gives for a pair and, mirrored, for its right image; one less than the smallest
// disparity where it finds none.
class BareSearch {
  public:
    BareSearch(const Stereo& stereo, const MatchingSteps& steps, int width)
        : _stereo(stereo),
          _steps(steps),
          _adapted(adaptToWidth(stereo, width)),
          _padding(paddingFor(stereo, steps, _adapted)),
          _wider(widened(stereo, width, _padding.left + _padding.right)) {
        if (isThreeWay(stereo, steps))
            _wider->setFullDP(false);
    }

    cv::Mat fromLeft(const cv::Mat& left, const cv::Mat& right) const {
        return compute(left, right, isThreeWay(_stereo, _steps));
    }

    cv::Mat fromRight(const cv::Mat& left, const cv::Mat& right) const {
        const bool inThreeWays = isThreeWay(_stereo, _steps) && _steps.quickRight == 0;
        return mirrored(compute(mirrored(right), mirrored(left), inThreeWays));
    }

  private:
    cv::Mat compute(const cv::Mat& left, const cv::Mat& right, bool inThreeWays) const {
        const cv::Mat wideLeft = pad(left, _padding), wideRight = pad(right, _padding);
        const cv::Mat disparity =
            inThreeWays ? computeThreeWay(_stereo, _adapted, _steps.threeWay, wideLeft, wideRight)
                        : _wider->computeDisparity(wideLeft, wideRight);
        return withoutPadding(disparity, _padding);
    }

    const Stereo& _stereo;
    const MatchingSteps& _steps;
    const AdaptedParameters _adapted;
    const Padding _padding;
    const std::unique_ptr<Stereo> _wider;
};

// One pair on its way through the steps.
class Search {
  public:
    Search(const Stereo& stereo, const MatchingSteps& steps, const SearchImages& images)
        : _stereo(stereo),
          _steps(steps),
          _images(images),
          _adapted(adaptToWidth(stereo, images.left.cols)),
          _matcher(stereo, steps, images.left.cols),
          _left(prepare(images.left)),
          _right(prepare(steps.matchLight != 0 ? matchLight(images.left, images.right, _adapted)
                                               : images.right)) {}

    FoundDisparities run() {
        _found.disparity = _matcher.fromLeft(_left, _right);
        const bool isFiltering = filtersAlongEdges(_steps);
        if (matchesRight(_steps))
            _ofRight = _matcher.fromRight(_left, _right);
        rejectMatches();
        if (_steps.refit != 0)
            refit();
        if (isFiltering)
            filter();
        refine();
        return _found;
    }

  private:
    cv::Mat prepare(const cv::Mat& image) const {
        return _steps.equalise != 0 ? equalise(image) : image;
    }

    // Block matching leaves stray values of other rows beside the columns that it can match.
    cv::Mat findMatchable() const {
        const cv::Range columns = _steps.fullWidth != 0 ? cv::Range(0, _left.cols)
                                                        : matchableColumns(_adapted, _left.cols);
        cv::Mat matchable(_left.size(), CV_8UC1, cv::Scalar(0));
        matchable.colRange(columns).setTo(255);
        return matchable;
    }

    cv::Mat findTexturedPixels() const {
        return findTextured(_left, _adapted.windowSize, _stereo.getPreFilterCap(),
                            std::max(1, _stereo.getTextureThreshold()));
    }

    // Where no region of few pixels is, as the matchers' own filter has it, which removes them from
    // all matches that are there, whatever else is against these.
    cv::Mat findLarge(const cv::Mat& matched) const {
        if (_adapted.speckleWindowSize == 0)
            return matched;
        const auto none = static_cast<std::int16_t>((_adapted.minDisparity - 1) * fixedPointSteps);
        const bool isSemiGlobal = _stereo.getStereoAlgorithm() == Stereo::SGBM;
        cv::Mat fixed;
        _found.disparity.convertTo(fixed, CV_16S, fixedPointSteps);
        fixed.setTo(none, matched == 0);
        vision::filterSpeckles(fixed, none, _adapted.speckleWindowSize,
                               _adapted.speckleRange * (isSemiGlobal ? fixedPointSteps : 1));
        return fixed != none;
    }

    void rejectMatches() {
        const cv::Mat& disparity = _found.disparity;
        cv::Mat& reasons = _found.reasons;
        reasons = cv::Mat::zeros(disparity.size(), CV_8UC1);
        const cv::Mat matched = findMatched(disparity, _adapted.minDisparity);
        const cv::Mat agreeing =
            _steps.leftRightCheck > 0
                ? findAgreeing(disparity, _ofRight, _adapted.minDisparity, _steps.leftRightCheck)
                : matched;
        if (!_images.seenLeft.empty())
            reject(reasons, _images.seenLeft, Reason::notSeen);
        reject(reasons, findMatchable(), Reason::outsideOfView);
        reject(reasons, findTexturedPixels(), Reason::noTexture);
        reject(reasons, matched, Reason::notUnique);
        rejectOutside();
        reject(reasons, agreeing, Reason::leftRight);
        reject(reasons, findLarge(matched & agreeing), Reason::speckle);
    }

    // What the right camera does not see.
    void rejectOutside() {
        if (_steps.fullWidth == 0)
            return;
        reject(_found.reasons, findWithinRight(_found.disparity), Reason::outsideOfView);
        if (!_images.seenRight.empty())
            reject(_found.reasons, findWhereRight(_found.disparity, _images.seenRight),
                   Reason::notSeen);
    }

    // A fraction may lead below the smallest disparity, which stands for none.
    void refit() {
        const cv::Mat measured = _found.reasons == 0;
        const cv::Mat refitted = refitSubpixels(_found.disparity, measured, _left, _right);
        cv::Mat(cv::max(refitted, _adapted.minDisparity)).copyTo(_found.disparity, measured);
    }

    void filter() {
        const double smallest = _adapted.minDisparity;
        const auto filtered = filterAlongEdges(_found.disparity, _ofRight, smallest, _images.guide);
        _found.confidence = filtered.confidence;
        // Far from all disparities that count, the filter gives any value.
        const double end = smallest + _adapted.disparityNumber;
        if (_steps.edgeFilter != 0)
            filtered.disparity.copyTo(
                _found.disparity, (filtered.disparity >= smallest) & (filtered.disparity < end));
        reject(_found.reasons, _found.confidence >= _steps.minConfidence * 255 / 100.,
               Reason::unsure);
    }

    void refine() {
        cv::Mat measured = _found.reasons == 0;
        cv::Mat& disparity = _found.disparity;
        if (_steps.fillGaps > 0)
            fillGaps(disparity, measured, findMatchable() & findVisible(), _steps.fillGaps);
        if (_steps.median > 0)
            disparity = smoothByMedian(disparity, measured, _steps.median);
        _found.reasons.setTo(static_cast<int>(Reason::none), measured);
        rejectOutside();
    }

    // What a gap that is closed may consist of: nothing that a camera has not seen.
    cv::Mat findVisible() const {
        return (_found.reasons != static_cast<int>(Reason::notSeen)) &
               (_found.reasons != static_cast<int>(Reason::outsideOfView));
    }

    const Stereo& _stereo;
    const MatchingSteps& _steps;
    const SearchImages& _images;
    const AdaptedParameters _adapted;
    const BareSearch _matcher;
    const cv::Mat _left, _right;  // as they are matched
    cv::Mat _ofRight;             // disparities of the right image, if a step needs them
    FoundDisparities _found;
};

}  // namespace

FoundDisparities findDisparities(const Stereo& stereo, const MatchingSteps& steps,
                                 const SearchImages& images) {
    return Search(stereo, steps, images).run();
}

}  // namespace tiomipra
