#include "rigs/rig_calibration.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <opencv2/calib3d.hpp>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "rigs/row_differences.hpp"

namespace tiomipra {
namespace {

using Points = std::vector<cv::Point2f>;
using BoardPoints = std::vector<cv::Point3f>;

// The points of some views in the form that OpenCV's calibration takes.
struct CameraViews {
    std::vector<BoardPoints> board;
    std::vector<Points> image;
};

struct PairViews {
    std::vector<BoardPoints> board;
    std::vector<Points> left;
    std::vector<Points> right;
};

BoardPoints select(const BoardPoints& points, const std::vector<int>& ids) {
    BoardPoints selected;
    for (const int id : ids)
        selected.push_back(points[id]);
    return selected;
}

CameraViews cameraViews(const std::vector<PairDetection>& views,
                        const std::vector<std::size_t>& used, Detection PairDetection::*side,
                        const Board& board) {
    const BoardPoints points = boardPoints(board);
    CameraViews result;
    for (const std::size_t i : used) {
        const Detection& detection = views[i].*side;
        result.board.push_back(select(points, detection.ids));
        result.image.push_back(detection.points);
    }
    return result;
}

PairViews pairViews(const std::vector<PairDetection>& views, const std::vector<std::size_t>& used,
                    const Board& board) {
    const BoardPoints points = boardPoints(board);
    PairViews result;
    for (const std::size_t i : used) {
        const SharedPoints shared = sharedPoints(views[i].left, views[i].right);
        result.board.push_back(select(points, shared.ids));
        result.left.push_back(shared.first);
        result.right.push_back(shared.second);
    }
    return result;
}

double squaredDistance(const cv::Point2f& a, const cv::Point2f& b) {
    const cv::Point2f difference = a - b;
    return difference.dot(difference);
}

// Sum of squared distances between what was seen and the projection of the best pose of the board.
double squaredError(const BoardPoints& board, const Points& image, const CameraModel& camera) {
    const cv::Mat matrix = cameraMatrixOf(camera);
    const cv::Mat distortion = distortionOf(camera);
    cv::Mat rotation;
    cv::Mat translation;
    cv::solvePnP(board, image, matrix, distortion, rotation, translation);
    Points projected;
    cv::projectPoints(board, rotation, translation, matrix, distortion, projected);
    double sum = 0;
    for (std::size_t i = 0; i < image.size(); ++i)
        sum += squaredDistance(image[i], projected[i]);
    return sum;
}

CameraFit evaluateCamera(const CameraViews& views, const CameraModel& camera) {
    CameraFit fit;
    double sum = 0;
    std::size_t count = 0;
    for (std::size_t i = 0; i < views.board.size(); ++i) {
        const double error = squaredError(views.board[i], views.image[i], camera);
        fit.viewErrors.push_back(std::sqrt(error / static_cast<double>(views.image[i].size())));
        sum += error;
        count += views.image[i].size();
    }
    fit.error = std::sqrt(sum / static_cast<double>(count));
    return fit;
}

CameraFit calibrateCamera(const CameraViews& views, CameraModel& camera) {
    CameraFit fit;
    cv::Mat matrix, distortion, deviations;
    fit.error = cv::calibrateCamera(views.board, views.image, camera.imageSize, matrix, distortion,
                                    cv::noArray(), cv::noArray(), deviations, cv::noArray(),
                                    fit.viewErrors);
    camera.cameraMatrix = matrix;
    camera.lens = {LensKind::radialTangential, std::vector<double>(distortion)};
    fit.focalUncertainty = deviations.at<double>(0) / camera.cameraMatrix(0, 0);
    return fit;
}

CameraFit solveCamera(const CameraViews& views, const CameraModel* known, CameraModel& camera) {
    if (known == nullptr)
        return calibrateCamera(views, camera);
    camera.cameraMatrix = known->cameraMatrix;
    camera.lens = known->lens;
    return evaluateCamera(views, camera);
}

void solveCameras(RigSolution& solution, const std::vector<PairDetection>& views,
                  const Board& board, const RigCalibrationOptions& options) {
    const auto left = cameraViews(views, solution.used, &PairDetection::left, board);
    const auto right = cameraViews(views, solution.used, &PairDetection::right, board);
    const auto& known = options.knownCameras;
    solution.left = solveCamera(left, known ? &known->first : nullptr, solution.model.left);
    solution.right = solveCamera(right, known ? &known->second : nullptr, solution.model.right);
}

void solvePair(RigSolution& solution, const PairViews& views) {
    RigModel& model = solution.model;
    cv::Mat leftMatrix = cameraMatrixOf(model.left);
    cv::Mat leftDistortion = distortionOf(model.left);
    cv::Mat rightMatrix = cameraMatrixOf(model.right);
    cv::Mat rightDistortion = distortionOf(model.right);
    const cv::TermCriteria untilStill(cv::TermCriteria::COUNT + cv::TermCriteria::EPS, 100, 1e-9);
    cv::Mat errors;
    solution.pairError = cv::stereoCalibrate(
        views.board, views.left, views.right, leftMatrix, leftDistortion, rightMatrix,
        rightDistortion, model.left.imageSize, model.rightFromLeftRotation,
        model.rightFromLeftTranslation, cv::noArray(), cv::noArray(), errors,
        cv::CALIB_FIX_INTRINSIC, untilStill);
    solution.pairViewErrors.clear();
    for (int i = 0; i < errors.rows; ++i) {
        const double ofLeft = errors.at<double>(i, 0);
        const double ofRight = errors.at<double>(i, 1);
        solution.pairViewErrors.push_back(std::sqrt((ofLeft * ofLeft + ofRight * ofRight) / 2));
    }
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

// OpenCV's solvers throw on, or answer with nonsense to, views that do not determine a camera.
bool trySolve(RigSolution& solution, const std::vector<PairDetection>& views, const Board& board,
              const RigCalibrationOptions& options) {
    try {
        solveCameras(solution, views, board, options);
        solvePair(solution, pairViews(views, solution.used, board));
        return isFinite(solution.model);
    } catch (const cv::Exception&) {
        return false;
    }
}

void solve(RigSolution& solution, const std::vector<PairDetection>& views, const Board& board,
           const RigCalibrationOptions& options) {
    if (!trySolve(solution, views, board, options))
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

bool hasViewAbove(const RigSolution& solution, double limit) {
    return std::any_of(solution.pairViewErrors.begin(), solution.pairViewErrors.end(),
                       [limit](double error) { return error > limit; });
}

void requireViewsLeft(const RigSolution& solution, double limit) {
    if (solution.used.size() < minimumPairs)
        throw InputError(
            fmt::format("fewer than {} pairs have an error of at most {:f} pixels (reject-above): "
                        "nothing is left to calibrate with",
                        minimumPairs, limit));
}

// Measured with the calibrations as they are written, in 32-bit floats.
void measureRowDifferences(RigSolution& solution, const PairViews& views) {
    std::vector<double> all;
    for (std::size_t i = 0; i < views.left.size(); ++i) {
        const auto differences =
            rowDifferences(rectifyPoints(views.left[i], solution.rectified.left),
                           rectifyPoints(views.right[i], solution.rectified.right));
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
    solve(solution, views, board, options);
    while (hasViewAbove(solution, options.rejectAbove)) {
        rejectWorst(solution);
        requireViewsLeft(solution, options.rejectAbove);
        solve(solution, views, board, options);
    }
    checkBaseline(solution, board);
    solution.rectified = rectify(solution.model, options.alpha);
    measureRowDifferences(solution, pairViews(views, solution.used, board));
    return solution;
}

}  // namespace tiomipra
