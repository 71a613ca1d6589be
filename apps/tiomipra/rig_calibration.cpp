#include "rig_calibration.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <opencv2/calib3d.hpp>

#include "status.hpp"

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
    for (const int id : ids) {
        selected.push_back(points[id]);
    }
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
double squaredError(const BoardPoints& board, const Points& image, const Intrinsics& intrinsics) {
    cv::Mat rotation;
    cv::Mat translation;
    cv::solvePnP(board, image, intrinsics.cameraMatrix, intrinsics.distortion, rotation,
                 translation);
    Points projected;
    cv::projectPoints(board, rotation, translation, intrinsics.cameraMatrix, intrinsics.distortion,
                      projected);
    double sum = 0;
    for (std::size_t i = 0; i < image.size(); ++i) {
        sum += squaredDistance(image[i], projected[i]);
    }
    return sum;
}

CameraSolution evaluateCamera(const CameraViews& views, const Intrinsics& intrinsics) {
    CameraSolution solution;
    solution.intrinsics = intrinsics;
    double sum = 0;
    std::size_t count = 0;
    for (std::size_t i = 0; i < views.board.size(); ++i) {
        const double error = squaredError(views.board[i], views.image[i], intrinsics);
        solution.viewErrors.push_back(std::sqrt(error / double(views.image[i].size())));
        sum += error;
        count += views.image[i].size();
    }
    solution.error = std::sqrt(sum / double(count));
    return solution;
}

CameraSolution calibrateCamera(const CameraViews& views, const cv::Size& imageSize) {
    CameraSolution solution;
    Intrinsics& intrinsics = solution.intrinsics;
    cv::Mat deviations;
    solution.error = cv::calibrateCamera(
        views.board, views.image, imageSize, intrinsics.cameraMatrix, intrinsics.distortion,
        cv::noArray(), cv::noArray(), deviations, cv::noArray(), solution.viewErrors);
    const double focal = intrinsics.cameraMatrix.at<double>(0, 0);
    solution.focalUncertainty = deviations.at<double>(0) / focal;
    return solution;
}

void solveCameras(RigSolution& solution, const std::vector<PairDetection>& views,
                  const Board& board, const RigCalibrationOptions& options) {
    const auto left = cameraViews(views, solution.used, &PairDetection::left, board);
    const auto right = cameraViews(views, solution.used, &PairDetection::right, board);
    if (options.fixedIntrinsics) {
        solution.left = evaluateCamera(left, options.fixedIntrinsics->first);
        solution.right = evaluateCamera(right, options.fixedIntrinsics->second);
    } else {
        solution.left = calibrateCamera(left, solution.imageSize);
        solution.right = calibrateCamera(right, solution.imageSize);
    }
}

void solvePair(RigSolution& solution, const PairViews& views) {
    Intrinsics left = solution.left.intrinsics;
    Intrinsics right = solution.right.intrinsics;
    const cv::TermCriteria untilStill(cv::TermCriteria::COUNT + cv::TermCriteria::EPS, 100, 1e-9);
    cv::Mat errors;
    solution.pairError = cv::stereoCalibrate(
        views.board, views.left, views.right, left.cameraMatrix, left.distortion,
        right.cameraMatrix, right.distortion, solution.imageSize, solution.rotation,
        solution.translation, cv::noArray(), cv::noArray(), errors, cv::CALIB_FIX_INTRINSIC,
        untilStill);
    solution.pairViewErrors.clear();
    for (int i = 0; i < errors.rows; ++i) {
        const double ofLeft = errors.at<double>(i, 0);
        const double ofRight = errors.at<double>(i, 1);
        solution.pairViewErrors.push_back(std::sqrt((ofLeft * ofLeft + ofRight * ofRight) / 2));
    }
}

bool isFinite(const RigSolution& solution) {
    const auto finite = [](const cv::Mat& matrix) { return cv::checkRange(matrix); };
    return finite(solution.left.intrinsics.cameraMatrix) &&
           finite(solution.left.intrinsics.distortion) &&
           finite(solution.right.intrinsics.cameraMatrix) &&
           finite(solution.right.intrinsics.distortion) && finite(solution.rotation) &&
           finite(solution.translation);
}

// OpenCV's solvers throw on, or answer with nonsense to, views that do not determine a camera.
void solve(RigSolution& solution, const std::vector<PairDetection>& views, const Board& board,
           const RigCalibrationOptions& options) {
    bool solved = false;
    try {
        solveCameras(solution, views, board, options);
        solvePair(solution, pairViews(views, solution.used, board));
        solved = isFinite(solution);
    } catch (const cv::Exception&) {
    }
    if (!solved) {
        throw InputError("the " + std::to_string(solution.used.size()) +
                         " views of the board do not determine the calibration; show the board "
                         "tilted in different directions and in all parts of the images");
    }
}

void rejectWorst(RigSolution& solution) {
    const auto worst =
        std::max_element(solution.pairViewErrors.begin(), solution.pairViewErrors.end());
    const auto position = worst - solution.pairViewErrors.begin();
    solution.rejected.push_back({solution.used[std::size_t(position)], *worst});
    solution.used.erase(solution.used.begin() + position);
}

bool hasViewAbove(const RigSolution& solution, double limit) {
    return std::any_of(solution.pairViewErrors.begin(), solution.pairViewErrors.end(),
                       [limit](double error) { return error > limit; });
}

cv::Mat asFloats(const cv::Mat& matrix) {
    cv::Mat result;
    matrix.convertTo(result, CV_32F);
    return result;
}

vision::Calibration makeCalibration(const cv::Size& size, const Intrinsics& intrinsics,
                                    const cv::Mat& rectification, const cv::Mat& projection) {
    vision::Calibration calibration;
    calibration.width = size.width;
    calibration.height = size.height;
    calibration.cameraMatrix = asFloats(intrinsics.cameraMatrix);
    calibration.distortion = asFloats(intrinsics.distortion);
    calibration.rectificationMatrix = asFloats(rectification);
    calibration.projectionMatrix = asFloats(projection);
    return calibration;
}

void rectify(RigSolution& solution, double alpha) {
    const Intrinsics& left = solution.left.intrinsics;
    const Intrinsics& right = solution.right.intrinsics;
    cv::Mat leftRotation, rightRotation, leftProjection, rightProjection, reprojection;
    cv::stereoRectify(left.cameraMatrix, left.distortion, right.cameraMatrix, right.distortion,
                      solution.imageSize, solution.rotation, solution.translation, leftRotation,
                      rightRotation, leftProjection, rightProjection, reprojection,
                      cv::CALIB_ZERO_DISPARITY, alpha);
    solution.leftCalibration =
        makeCalibration(solution.imageSize, left, leftRotation, leftProjection);
    solution.rightCalibration =
        makeCalibration(solution.imageSize, right, rightRotation, rightProjection);
}

// Measured with the calibrations as they are written, in 32-bit floats.
void measureRowDifferences(RigSolution& solution, const PairViews& views) {
    std::vector<double> all;
    for (std::size_t i = 0; i < views.left.size(); ++i) {
        const auto left = rectifyPoints(views.left[i], solution.leftCalibration);
        const auto right = rectifyPoints(views.right[i], solution.rightCalibration);
        std::vector<double> differences;
        for (std::size_t j = 0; j < left.size(); ++j) {
            differences.push_back(left[j].y - right[j].y);
        }
        solution.viewRowDifferences.push_back(spreadOf(differences).mean);
        all.insert(all.end(), differences.begin(), differences.end());
    }
    solution.rowDifferences = spreadOf(std::move(all));
}

// Against the board's size, as the unit of the translation is the user's own.
void checkBaseline(const RigSolution& solution, const Board& board) {
    const double baseline = cv::norm(solution.translation);
    if (baseline < 1e-3 * board.square) {
        throw InputError("the two cameras are in the same place (baseline " +
                         std::to_string(baseline) +
                         "): the left and right images must come from two cameras apart");
    }
}

}  // namespace

RigSolution calibrateRig(const std::vector<PairDetection>& views, const Board& board,
                         const cv::Size& imageSize, const RigCalibrationOptions& options) {
    RigSolution solution;
    solution.imageSize = imageSize;
    solution.used.resize(views.size());
    std::iota(solution.used.begin(), solution.used.end(), std::size_t(0));
    solve(solution, views, board, options);
    while (hasViewAbove(solution, options.rejectAbove)) {
        rejectWorst(solution);
        if (solution.used.size() < minimumPairs) {
            throw InputError("fewer than " + std::to_string(minimumPairs) +
                             " pairs have an error of at most " +
                             std::to_string(options.rejectAbove) +
                             " pixels (--reject-above): nothing is left to calibrate with");
        }
        solve(solution, views, board, options);
    }
    checkBaseline(solution, board);
    rectify(solution, options.alpha);
    measureRowDifferences(solution, pairViews(views, solution.used, board));
    return solution;
}

}  // namespace tiomipra
