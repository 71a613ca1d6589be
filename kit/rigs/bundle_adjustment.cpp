#include "rigs/bundle_adjustment.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <opencv2/calib3d.hpp>

namespace tiomipra {
namespace {

constexpr int poseSize = 6;
constexpr int pinholeSize = 4;  // both focal lengths, the principal point

// What all views share, as one column: the cameras one after the other, then the pose between them.
class SharedParameters {
  public:
    SharedParameters(const Bundle& bundle, Adjusted adjusted) {
        for (const CameraModel& camera : bundle.cameras) {
            const int coefficients = static_cast<int>(camera.lens.coefficients.size());
            const int size = adjusted == Adjusted::posesOnly ? 0 : pinholeSize + coefficients;
            _cameras.emplace_back(_size, _size + size);
            _size += size;
        }
        const bool isPair = bundle.cameras.size() > 1;
        _rightFromLeft = {_size, _size + (isPair ? poseSize : 0)};
        _size = _rightFromLeft.end;
    }

    int size() const { return _size; }
    const cv::Range& camera(std::size_t number) const { return _cameras[number]; }
    const cv::Range& rightFromLeft() const { return _rightFromLeft; }

  private:
    int _size = 0;
    std::vector<cv::Range> _cameras;
    cv::Range _rightFromLeft;
};

// The residuals of a sighting, two rows a point, and their derivatives.
struct Linearised {
    cv::Mat residuals;
    cv::Mat byShared;
    cv::Mat byBoard;
};

// A board's pose in the frame of one camera, and its derivatives by both poses that it is made of.
struct CameraPose {
    Pose pose;
    cv::Mat byBoard;
    cv::Mat byRightFromLeft;
};

cv::Mat joinBlocks(const cv::Mat& a, const cv::Mat& b, const cv::Mat& c, const cv::Mat& d) {
    cv::Mat top, bottom, all;
    cv::hconcat(a, b, top);
    cv::hconcat(c, d, bottom);
    cv::vconcat(top, bottom, all);
    return all;
}

CameraPose poseInCamera(const Bundle& bundle, std::size_t camera, std::size_t view) {
    const Pose& board = bundle.boards[view];
    if (camera == 0)
        return {board, cv::Mat::eye(poseSize, poseSize, CV_64F), {}};
    const Pose& rig = bundle.rightFromLeft;
    CameraPose result;
    cv::Mat turnByTurn1, turnByShift1, turnByTurn2, turnByShift2;
    cv::Mat shiftByTurn1, shiftByShift1, shiftByTurn2, shiftByShift2;
    cv::composeRT(board.turn, board.shift, rig.turn, rig.shift, result.pose.turn, result.pose.shift,
                  turnByTurn1, turnByShift1, turnByTurn2, turnByShift2, shiftByTurn1, shiftByShift1,
                  shiftByTurn2, shiftByShift2);
    result.byBoard = joinBlocks(turnByTurn1, turnByShift1, shiftByTurn1, shiftByShift1);
    result.byRightFromLeft = joinBlocks(turnByTurn2, turnByShift2, shiftByTurn2, shiftByShift2);
    return result;
}

cv::Mat residualsOf(const Sighting& sighting, const std::vector<cv::Point2d>& projected) {
    const cv::Mat differences = cv::Mat(sighting.image) - cv::Mat(projected);
    return differences.reshape(1, 2 * differences.rows);
}

Linearised linearise(const Bundle& bundle, const SharedParameters& parameters,
                     const Sighting& sighting, std::size_t camera, std::size_t view) {
    const CameraModel& model = bundle.cameras[camera];
    const CameraPose seen = poseInCamera(bundle, camera, view);
    cv::Mat derivatives;
    const auto projected = project(model, seen.pose, sighting.board, &derivatives);
    const cv::Mat byPose = derivatives.colRange(0, poseSize);
    Linearised result{residualsOf(sighting, projected),
                      cv::Mat::zeros(derivatives.rows, parameters.size(), CV_64F),
                      byPose * seen.byBoard};
    const cv::Range& ofCamera = parameters.camera(camera);
    if (!ofCamera.empty())
        derivatives.colRange(poseSize, poseSize + ofCamera.size())
            .copyTo(result.byShared.colRange(ofCamera));
    if (camera > 0)
        result.byShared.colRange(parameters.rightFromLeft()) = byPose * seen.byRightFromLeft;
    return result;
}

double sumOfSquares(const Bundle& bundle, const Sighting& sighting, std::size_t camera,
                    std::size_t view) {
    const Pose pose = poseInCamera(bundle, camera, view).pose;
    return cv::norm(sighting.image, project(bundle.cameras[camera], pose, sighting.board),
                    cv::NORM_L2SQR);
}

double sumOfSquares(const Bundle& bundle, const Sightings& sightings) {
    double sum = 0;
    for (std::size_t camera = 0; camera < sightings.size(); ++camera) {
        for (std::size_t view = 0; view < bundle.boards.size(); ++view)
            sum += sumOfSquares(bundle, sightings[camera][view], camera, view);
    }
    return sum;
}

// The normal equations of one view: of its board's pose alone, and of that with what is shared.
struct ViewEquations {
    cv::Mat board = cv::Mat::zeros(poseSize, poseSize, CV_64F);
    cv::Mat mixed;
    cv::Mat boardRight = cv::Mat::zeros(poseSize, 1, CV_64F);
};

struct Equations {
    cv::Mat shared;
    cv::Mat sharedRight;
    std::vector<ViewEquations> views;
};

Equations makeEquations(const Bundle& bundle, const SharedParameters& parameters,
                        const Sightings& sightings) {
    Equations equations;
    equations.shared = cv::Mat::zeros(parameters.size(), parameters.size(), CV_64F);
    equations.sharedRight = cv::Mat::zeros(parameters.size(), 1, CV_64F);
    for (std::size_t view = 0; view < bundle.boards.size(); ++view) {
        ViewEquations& ofView = equations.views.emplace_back();
        ofView.mixed = cv::Mat::zeros(parameters.size(), poseSize, CV_64F);
        for (std::size_t camera = 0; camera < sightings.size(); ++camera) {
            const auto [residuals, byShared, byBoard] =
                linearise(bundle, parameters, sightings[camera][view], camera, view);
            equations.shared += byShared.t() * byShared;
            equations.sharedRight += byShared.t() * residuals;
            ofView.mixed += byShared.t() * byBoard;
            ofView.board += byBoard.t() * byBoard;
            ofView.boardRight += byBoard.t() * residuals;
        }
    }
    return equations;
}

cv::Mat damped(const cv::Mat& matrix, double damping) {
    cv::Mat result = matrix.clone();
    result.diag() *= 1 + damping;
    return result;
}

// The equations of what is shared once the boards' poses are eliminated.
struct Reduced {
    cv::Mat shared;
    cv::Mat right;
    std::vector<cv::Mat> boardInverses;
};

Reduced eliminateBoards(const Equations& equations, double damping) {
    Reduced reduced{damped(equations.shared, damping), equations.sharedRight.clone(), {}};
    for (const ViewEquations& view : equations.views) {
        const cv::Mat inverse = damped(view.board, damping).inv(cv::DECOMP_CHOLESKY);
        const cv::Mat weights = view.mixed * inverse;
        reduced.shared -= weights * view.mixed.t();
        reduced.right -= weights * view.boardRight;
        reduced.boardInverses.push_back(inverse);
    }
    return reduced;
}

void move(Pose& pose, const cv::Mat& step) {
    for (int i = 0; i < 3; ++i) {
        pose.turn[i] += step.at<double>(i);
        pose.shift[i] += step.at<double>(3 + i);
    }
}

void move(CameraModel& camera, const cv::Mat& step) {
    camera.cameraMatrix(0, 0) += step.at<double>(0);
    camera.cameraMatrix(1, 1) += step.at<double>(1);
    camera.cameraMatrix(0, 2) += step.at<double>(2);
    camera.cameraMatrix(1, 2) += step.at<double>(3);
    std::vector<double>& coefficients = camera.lens.coefficients;
    for (std::size_t i = 0; i < coefficients.size(); ++i)
        coefficients[i] += step.at<double>(pinholeSize + static_cast<int>(i));
}

// The bundle after a step, which is the shorter the larger the damping; the same one if there is no
// such step.
Bundle takeStep(Bundle bundle, const SharedParameters& parameters, const Equations& equations,
                double damping) {
    const Reduced reduced = eliminateBoards(equations, damping);
    cv::Mat shared;
    if (!cv::solve(reduced.shared, reduced.right, shared, cv::DECOMP_CHOLESKY))
        return bundle;
    for (std::size_t view = 0; view < bundle.boards.size(); ++view) {
        const ViewEquations& ofView = equations.views[view];
        move(bundle.boards[view],
             reduced.boardInverses[view] * (ofView.boardRight - ofView.mixed.t() * shared));
    }
    for (std::size_t camera = 0; camera < bundle.cameras.size(); ++camera) {
        if (!parameters.camera(camera).empty())
            move(bundle.cameras[camera], shared.rowRange(parameters.camera(camera)));
    }
    if (!parameters.rightFromLeft().empty())
        move(bundle.rightFromLeft, shared.rowRange(parameters.rightFromLeft()));
    return bundle;
}

std::size_t countPoints(const Sightings& sightings) {
    std::size_t count = 0;
    for (const auto& ofCamera : sightings) {
        for (const Sighting& sighting : ofCamera)
            count += sighting.image.size();
    }
    return count;
}

std::vector<double> viewErrorsOf(const Bundle& bundle, const Sightings& sightings) {
    std::vector<double> errors;
    for (std::size_t view = 0; view < bundle.boards.size(); ++view) {
        double sum = 0;
        std::size_t count = 0;
        for (std::size_t camera = 0; camera < sightings.size(); ++camera) {
            const Sighting& sighting = sightings[camera][view];
            sum += sumOfSquares(bundle, sighting, camera, view);
            count += sighting.image.size();
        }
        errors.push_back(std::sqrt(sum / static_cast<double>(count)));
    }
    return errors;
}

// Of the distances along x and y, had the right parameters been found.
double varianceOf(double squares, const Sightings& sightings, const SharedParameters& parameters) {
    const auto views = static_cast<double>(sightings.front().size());
    const double unknowns = parameters.size() + poseSize * views;
    return squares / (2 * static_cast<double>(countPoints(sightings)) - unknowns);
}

std::vector<double> focalUncertaintiesOf(const Bundle& bundle, const SharedParameters& parameters,
                                         const Sightings& sightings, double variance) {
    const Reduced reduced = eliminateBoards(makeEquations(bundle, parameters, sightings), 0);
    cv::Mat covariance;
    const bool areDetermined = cv::invert(reduced.shared, covariance, cv::DECOMP_CHOLESKY) != 0;
    std::vector<double> uncertainties;
    for (std::size_t i = 0; i < bundle.cameras.size(); ++i) {
        const auto uncertainty = [&](int direction) {
            const int place = parameters.camera(i).start + direction;
            return std::sqrt(variance * covariance.at<double>(place, place)) /
                   bundle.cameras[i].cameraMatrix(direction, direction);
        };
        uncertainties.push_back(areDetermined ? std::max(uncertainty(0), uncertainty(1))
                                              : std::numeric_limits<double>::infinity());
    }
    return uncertainties;
}

double meanError(double squares, const Sightings& sightings) {
    return std::sqrt(squares / static_cast<double>(countPoints(sightings)));
}

// Returns the sum of squares that is left.
double descend(Bundle& bundle, const SharedParameters& parameters, const Sightings& sightings,
               const OnAdjustmentStep& onStep) {
    constexpr int mostSteps = 1000;  // wide lenses take hundreds
    constexpr double enough = 1e-8;
    constexpr double mostDamping = 1e12;
    double squares = sumOfSquares(bundle, sightings);
    double damping = 1e-3;
    Equations equations = makeEquations(bundle, parameters, sightings);
    for (int step = 0; step < mostSteps && damping < mostDamping; ++step) {
        if (onStep)
            onStep(meanError(squares, sightings));
        const Bundle moved = takeStep(bundle, parameters, equations, damping);
        const double newSquares = sumOfSquares(moved, sightings);
        if (!(newSquares < squares)) {
            damping *= 4;
            continue;
        }
        const bool isStill = squares - newSquares < enough * squares;
        bundle = moved;
        squares = newSquares;
        if (isStill)
            break;
        damping /= 3;
        equations = makeEquations(bundle, parameters, sightings);
    }
    return squares;
}

}  // namespace

BundleFit evaluate(const Bundle& bundle, const Sightings& sightings) {
    return {
        meanError(sumOfSquares(bundle, sightings), sightings), viewErrorsOf(bundle, sightings), {}};
}

BundleFit adjust(Bundle& bundle, const Sightings& sightings, Adjusted adjusted,
                 const OnAdjustmentStep& onStep) {
    const SharedParameters parameters(bundle, adjusted);
    const double squares = descend(bundle, parameters, sightings, onStep);
    BundleFit fit = evaluate(bundle, sightings);
    if (adjusted == Adjusted::camerasAndPoses)
        fit.focalUncertainties = focalUncertaintiesOf(bundle, parameters, sightings,
                                                      varianceOf(squares, sightings, parameters));
    return fit;
}

}  // namespace tiomipra
