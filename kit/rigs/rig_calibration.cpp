#include "rigs/rig_calibration.hpp"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <numeric>
#include <opencv2/calib3d.hpp>
#include <stdexcept>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "rigs/fisheye_rays.hpp"
#include "rigs/lens_choice.hpp"
#include "rigs/row_differences.hpp"

namespace tiomipra {
namespace {

Sighting sightingOf(const std::vector<cv::Point3f>& boardPoints, const Detection& detection) {
    Sighting sighting;
    for (const int id : detection.ids)
        sighting.board.emplace_back(boardPoints[id]);
    sighting.image.assign(detection.points.begin(), detection.points.end());
    return sighting;
}

// Of the left camera, then of the right one.
Sightings sightingsOf(const std::vector<PairDetection>& views, const std::vector<std::size_t>& used,
                      const Board& board) {
    const auto points = boardPoints(board);
    Sightings sightings(2);
    for (const std::size_t i : used) {
        sightings[0].push_back(sightingOf(points, views[i].left));
        sightings[1].push_back(sightingOf(points, views[i].right));
    }
    return sightings;
}

struct Placement {
    cv::Matx33d rotation;
    cv::Vec3d shift;
};

// As one view has it.
Placement rightFromLeft(const Pose& boardInLeft, const Pose& boardInRight) {
    const cv::Matx33d rotation = rotationOf(boardInRight) * rotationOf(boardInLeft).t();
    return {rotation, boardInRight.shift - rotation * boardInLeft.shift};
}

// How far apart they put what is `distance` away.
double disagreement(const Placement& a, const Placement& b, double distance) {
    return cv::norm(a.rotation - b.rotation) * distance + cv::norm(a.shift - b.shift);
}

// Of those that the views have, the one that is nearest to all: some views may be wrong.
Pose agreedRightFromLeft(const std::vector<Pose>& left, const std::vector<Pose>& right) {
    std::vector<Placement> all;
    std::transform(left.begin(), left.end(), right.begin(), std::back_inserter(all), rightFromLeft);
    const double distance = cv::norm(left.front().shift);
    std::vector<double> sums;
    for (const Placement& one : all)
        sums.push_back(
            std::accumulate(all.begin(), all.end(), 0., [&](double sum, const Placement& other) {
                return sum + disagreement(one, other, distance);
            }));
    const auto best = std::min_element(sums.begin(), sums.end()) - sums.begin();
    const Placement& agreed = all[static_cast<std::size_t>(best)];
    Pose pose{{}, agreed.shift};
    cv::Rodrigues(agreed.rotation, pose.turn);
    return pose;
}

bool hasViewAbove(const RigSolution& solution, double limit) {
    return std::any_of(solution.pairViewErrors.begin(), solution.pairViewErrors.end(),
                       [limit](double error) { return error > limit; });
}

void adjustPair(RigSolution& solution, Bundle& bundle, const Sightings& sightings,
                Adjusted adjusted, const OnAdjustmentStep& onStep) {
    const BundleFit fit = adjust(bundle, sightings, adjusted, onStep);
    solution.model.left = bundle.cameras[0];
    solution.model.right = bundle.cameras[1];
    solution.model.rightFromLeftRotation = rotationOf(bundle.rightFromLeft);
    solution.model.rightFromLeftTranslation = bundle.rightFromLeft.shift;
    solution.boards = bundle.boards;
    solution.pairError = fit.error;
    solution.pairViewErrors = fit.viewErrors;
    if (adjusted == Adjusted::camerasAndPoses) {
        solution.left.focalUncertainty = fit.focalUncertainties[0];
        solution.right.focalUncertainty = fit.focalUncertainties[1];
    }
}

CalibratedCameras evaluateCameras(const Sightings& sightings,
                                  const std::pair<CameraModel, CameraModel>& known) {
    return {evaluateCamera(sightings[0], known.first), evaluateCamera(sightings[1], known.second),
            "as given"};
}

// Each camera alone comes first, and then the pair with these cameras: that tells views whose
// images are of different moments, which would bend everything else. What is left is adjusted
// together, as each camera knows what the other one can't tell.
void solveFrom(RigSolution& solution, const Sightings& sightings,
               const RigCalibrationOptions& options) {
    const auto& known = options.knownCameras;
    const cv::Size& imageSize = solution.model.left.imageSize;
    const auto [left, right, reason] =
        known ? evaluateCameras(sightings, *known)
              : calibrateCameras(sightings, imageSize, options.lens, options.onStep);
    solution.left = left.fit;
    solution.right = right.fit;
    solution.lensReason = reason;
    Bundle bundle{
        {left.camera, right.camera}, agreedRightFromLeft(left.boards, right.boards), left.boards};
    adjustPair(solution, bundle, sightings, Adjusted::posesOnly, options.onStep);
    if (!known && !hasViewAbove(solution, options.rejectAbove))
        adjustPair(solution, bundle, sightings, Adjusted::camerasAndPoses, options.onStep);
}

bool isFinite(const CameraModel& camera) {
    const cv::Mat distortion = distortionOf(camera);
    return cv::checkRange(camera.cameraMatrix) &&
           (distortion.empty() || cv::checkRange(distortion));
}

bool isFinite(const RigModel& model) {
    return isFinite(model.left) && isFinite(model.right) &&
           cv::checkRange(model.rightFromLeftRotation) &&
           cv::checkRange(model.rightFromLeftTranslation);
}

// Views that do not determine a camera lead to exceptions of OpenCV or to nonsense.
bool trySolve(RigSolution& solution, const Sightings& sightings,
              const RigCalibrationOptions& options) {
    try {
        solveFrom(solution, sightings, options);
        return isFinite(solution.model);
    } catch (const cv::Exception&) {
        return false;
    }
}

void solve(RigSolution& solution, const Sightings& sightings,
           const RigCalibrationOptions& options) {
    if (!trySolve(solution, sightings, options))
        throw InputError(
            fmt::format("the {} views of the board do not determine the calibration; show the "
                        "board tilted in different directions and in all parts of the images",
                        solution.used.size()));
}

void rejectWorst(RigSolution& solution) {
    const auto worst =
        std::max_element(solution.pairViewErrors.begin(), solution.pairViewErrors.end());
    const auto position = worst - solution.pairViewErrors.begin();
    solution.rejected.push_back({solution.used[static_cast<std::size_t>(position)], *worst});
    solution.used.erase(solution.used.begin() + position);
}

void requireViewsLeft(const RigSolution& solution, double limit) {
    if (solution.used.size() < minimumPairs)
        throw InputError(
            fmt::format("fewer than {} pairs have an error of at most {:f} pixels (reject-above): "
                        "nothing is left to calibrate with",
                        minimumPairs, limit));
}

// By the lens itself, as the pinhole in its place shows nothing that is true beyond.
bool isShown(const cv::Point2d& pixel, const CameraModel& camera,
             const vision::Calibration& rectified) {
    const cv::Matx33d rotation = rectified.rectificationMatrix;
    const cv::Matx34d projection = rectified.projectionMatrix;
    const cv::Vec3d ray = rotation * rayOf(camera, pixel);
    const cv::Vec3d place = projection.get_minor<3, 3>(0, 0) * ray;
    return ray[2] > 0 && cv::Rect2d({0, 0}, cv::Size2d(camera.imageSize))
                             .contains({place[0] / place[2], place[1] / place[2]});
}

SharedPoints rectifiablePoints(const RigSolution& solution, const PairDetection& view) {
    SharedPoints shared = sharedPoints(view.left, view.right);
    if (!solution.pinholes)
        return shared;
    SharedPoints shown;
    for (std::size_t i = 0; i < shared.ids.size(); ++i) {
        if (isShown(shared.first[i], solution.model.left, solution.rectified.left) &&
            isShown(shared.second[i], solution.model.right, solution.rectified.right)) {
            shown.ids.push_back(shared.ids[i]);
            shown.first.push_back(shared.first[i]);
            shown.second.push_back(shared.second[i]);
        }
    }
    return shown;
}

Spread spreadOfRows(const std::vector<double>& differences) {
    return differences.empty() ? Spread{NAN, NAN, NAN, NAN} : spreadOf(differences);
}

// Measured with the calibrations as they are written, in 32-bit floats.
void measureRowDifferences(RigSolution& solution, const std::vector<PairDetection>& views) {
    std::vector<double> all;
    for (const std::size_t i : solution.used) {
        const SharedPoints shared = rectifiablePoints(solution, views[i]);
        const auto differences =
            rowDifferences(rectifyPoints(shared.first, solution.rectified.left),
                           rectifyPoints(shared.second, solution.rectified.right));
        solution.viewRowDifferences.push_back(spreadOfRows(differences).mean);
        all.insert(all.end(), differences.begin(), differences.end());
    }
    solution.rowDifferences = spreadOfRows(all);
}

void rectifyWideAngle(RigSolution& solution, const RigCalibrationOptions& options) {
    const Rectification rectification =
        rectifyFisheye(solution.model, {options.wideAngle.fieldOfView, options.alpha});
    const PinholeRig pinholes =
        asPinholes(solution.model, rectification, options.wideAngle.maxResidual);
    solution.pinholes = pinholes.fit;
    solution.rectified = rectify(pinholes.model, rectification);
}

void rectifySolution(RigSolution& solution, const RigCalibrationOptions& options) {
    if (lensOf(solution.model.left) != Lens::fisheye) {
        solution.rectified = rectify(solution.model, options.alpha);
        return;
    }
    try {
        rectifyWideAngle(solution, options);
    } catch (const std::invalid_argument& wrong) {
        throw InputError(fmt::format("the rig can't be rectified: {}", wrong.what()));
    }
}

// Against the board's size, as the unit of the translation is the user's own.
void checkBaseline(const RigSolution& solution, const Board& board) {
    const double baseline = solution.baseline();
    if (baseline < 1e-3 * board.square)
        throw InputError(
            fmt::format("the two cameras are in the same place (baseline {:f}): the left and right "
                        "images must come from two cameras apart",
                        baseline));
}

RigSolution unsolved(std::size_t views, const Board& board, const cv::Size& imageSize) {
    RigSolution solution;
    solution.model.left.imageSize = solution.model.right.imageSize = imageSize;
    solution.model.unit = board.unit;
    solution.used.resize(views);
    std::iota(solution.used.begin(), solution.used.end(), std::size_t{0});
    return solution;
}

RigSolution calibrateOnce(const std::vector<PairDetection>& views, const Board& board,
                          const cv::Size& imageSize, const RigCalibrationOptions& options) {
    RigSolution solution = unsolved(views.size(), board, imageSize);
    solve(solution, sightingsOf(views, solution.used, board), options);
    while (hasViewAbove(solution, options.rejectAbove)) {
        rejectWorst(solution);
        requireViewsLeft(solution, options.rejectAbove);
        solve(solution, sightingsOf(views, solution.used, board), options);
    }
    checkBaseline(solution, board);
    rectifySolution(solution, options);
    measureRowDifferences(solution, views);
    return solution;
}

// Empty where the views don't determine such a rig, or it can't be rectified.
std::optional<RigSolution> tryOnce(const std::vector<PairDetection>& views, const Board& board,
                                   const cv::Size& imageSize,
                                   const RigCalibrationOptions& options) {
    try {
        return calibrateOnce(views, board, imageSize, options);
    } catch (const InputError&) {
        return std::nullopt;
    } catch (const cv::Exception&) {
        return std::nullopt;
    }
}

}  // namespace

double RigSolution::baseline() const {
    return cv::norm(model.rightFromLeftTranslation);
}

// A lens that fits the board's corners better than pinholes need not fit what is between and beyond
// them: it is only taken if it rectifies the rig better, too.
RigSolution calibrateRig(const std::vector<PairDetection>& views, const Board& board,
                         const cv::Size& imageSize, const RigCalibrationOptions& options) {
    if (options.lens || options.knownCameras)
        return calibrateOnce(views, board, imageSize, options);
    const auto chosen = tryOnce(views, board, imageSize, options);
    if (chosen && lensOf(chosen->model.left) == Lens::pinhole)
        return *chosen;
    RigCalibrationOptions ordinary = options;
    ordinary.lens = Lens::pinhole;
    if (!chosen || !std::isfinite(chosen->rowDifferences.mean)) {
        RigSolution pinholes = calibrateOnce(views, board, imageSize, ordinary);
        pinholes.lensReason = "other lenses fit the corners better, but can't be rectified";
        return pinholes;
    }
    auto pinholes = tryOnce(views, board, imageSize, ordinary);
    if (!pinholes || !(pinholes->rowDifferences.mean <= chosen->rowDifferences.mean))
        return *chosen;
    pinholes->lensReason = fmt::format("{} lenses fit the corners better, and rectify worse",
                                       nameOf(lensOf(chosen->model.left)));
    return *pinholes;
}

}  // namespace tiomipra
