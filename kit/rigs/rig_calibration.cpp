#include "rigs/rig_calibration.hpp"

#include <algorithm>
#include <iterator>
#include <limits>
#include <numeric>
#include <opencv2/calib3d.hpp>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "rigs/row_differences.hpp"

namespace tiomipra {
namespace {

using PerView = std::vector<Sighting>;  // what one camera saw

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

// From afar a board looks much the same tilted the other way: of both poses the better one.
Pose locateBoard(const CameraModel& camera, const Sighting& sighting) {
    const cv::Mat matrix = cameraMatrixOf(camera);
    const cv::Mat distortion = distortionOf(camera);
    std::vector<cv::Vec3d> turns;
    std::vector<cv::Vec3d> shifts;
    cv::solvePnPGeneric(sighting.board, sighting.image, matrix, distortion, turns, shifts, false,
                        cv::SOLVEPNP_IPPE);
    Pose best;
    double smallest = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i < turns.size(); ++i) {
        cv::solvePnPRefineLM(sighting.board, sighting.image, matrix, distortion, turns[i],
                             shifts[i]);
        const Pose pose{turns[i], shifts[i]};
        const double error = evaluate({{camera}, {}, {pose}}, {{sighting}}).error;
        if (error < smallest) {
            smallest = error;
            best = pose;
        }
    }
    return best;
}

std::vector<Pose> locateBoards(const CameraModel& camera, const PerView& sightings) {
    std::vector<Pose> poses;
    for (const Sighting& sighting : sightings)
        poses.push_back(locateBoard(camera, sighting));
    return poses;
}

// From the vanishing points of the boards, as if the lens did not distort.
CameraModel guessCamera(const PerView& sightings, const cv::Size& imageSize) {
    constexpr std::size_t coefficients = 5;
    std::vector<std::vector<cv::Point3f>> boards;
    std::vector<std::vector<cv::Point2f>> images;
    for (const Sighting& sighting : sightings) {
        boards.emplace_back(sighting.board.begin(), sighting.board.end());
        images.emplace_back(sighting.image.begin(), sighting.image.end());
    }
    CameraModel camera;
    camera.imageSize = imageSize;
    camera.cameraMatrix = cv::Mat_<double>(cv::initCameraMatrix2D(boards, images, imageSize, 0));
    camera.lens.coefficients.assign(coefficients, 0);
    return camera;
}

// One camera alone, and where it saw the boards.
struct CameraSolution {
    CameraModel camera;
    std::vector<Pose> boards;
    CameraFit fit;
};

CameraSolution solutionOf(const Bundle& bundle, const BundleFit& fit) {
    return {bundle.cameras.front(), bundle.boards, {fit.error, fit.viewErrors, 0}};
}

// With wide lenses the first guess is so far off that boards end up tilted the wrong way; once the
// camera is known better, they are looked for anew.
CameraSolution calibrateCamera(const PerView& sightings, const cv::Size& imageSize,
                               const OnAdjustmentStep& onStep) {
    constexpr double better = 0.99;
    const CameraModel guess = guessCamera(sightings, imageSize);
    Bundle bundle{{guess}, {}, locateBoards(guess, sightings)};
    for (;;) {
        const BundleFit fit = adjust(bundle, {sightings}, Adjusted::camerasAndPoses, onStep);
        const CameraModel& camera = bundle.cameras.front();
        Bundle anew{{camera}, {}, locateBoards(camera, sightings)};
        if (!(evaluate(anew, {sightings}).error < better * fit.error))
            return solutionOf(bundle, fit);
        bundle = std::move(anew);
    }
}

CameraSolution evaluateCamera(const PerView& sightings, const CameraModel& camera) {
    const Bundle bundle{{camera}, {}, locateBoards(camera, sightings)};
    return solutionOf(bundle, evaluate(bundle, {sightings}));
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

// Each camera alone comes first, and then the pair with these cameras: that tells views whose
// images are of different moments, which would bend everything else. What is left is adjusted
// together, as each camera knows what the other one can't tell.
void solveFrom(RigSolution& solution, const Sightings& sightings,
               const RigCalibrationOptions& options) {
    const auto& known = options.knownCameras;
    const cv::Size& imageSize = solution.model.left.imageSize;
    const CameraSolution left = known ? evaluateCamera(sightings[0], known->first)
                                      : calibrateCamera(sightings[0], imageSize, options.onStep);
    const CameraSolution right = known ? evaluateCamera(sightings[1], known->second)
                                       : calibrateCamera(sightings[1], imageSize, options.onStep);
    solution.left = left.fit;
    solution.right = right.fit;
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

// Measured with the calibrations as they are written, in 32-bit floats.
void measureRowDifferences(RigSolution& solution, const std::vector<PairDetection>& views) {
    std::vector<double> all;
    for (const std::size_t i : solution.used) {
        const SharedPoints shared = sharedPoints(views[i].left, views[i].right);
        const auto differences =
            rowDifferences(rectifyPoints(shared.first, solution.rectified.left),
                           rectifyPoints(shared.second, solution.rectified.right));
        solution.viewRowDifferences.push_back(spreadOf(differences).mean);
        all.insert(all.end(), differences.begin(), differences.end());
    }
    solution.rowDifferences = spreadOf(std::move(all));
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

}  // namespace

double RigSolution::baseline() const {
    return cv::norm(model.rightFromLeftTranslation);
}

RigSolution calibrateRig(const std::vector<PairDetection>& views, const Board& board,
                         const cv::Size& imageSize, const RigCalibrationOptions& options) {
    RigSolution solution = unsolved(views.size(), board, imageSize);
    solve(solution, sightingsOf(views, solution.used, board), options);
    while (hasViewAbove(solution, options.rejectAbove)) {
        rejectWorst(solution);
        requireViewsLeft(solution, options.rejectAbove);
        solve(solution, sightingsOf(views, solution.used, board), options);
    }
    checkBaseline(solution, board);
    solution.rectified = rectify(solution.model, options.alpha);
    measureRowDifferences(solution, views);
    return solution;
}

}  // namespace tiomipra
