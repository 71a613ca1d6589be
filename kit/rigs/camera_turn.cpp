#include "rigs/camera_turn.hpp"

#include <algorithm>
#include <cmath>
#include <opencv2/calib3d.hpp>

#include "base/statistics.hpp"
#include "rigs/rig_geometry.hpp"

namespace tiomipra {
namespace {

// The turn of the right camera as a rotation vector, then its place along y and z where that along
// x is 1.
constexpr int count = 5;
using Unknowns = cv::Vec<double, count>;
using Information = cv::Matx<double, count, count>;

// The directions of matching points in the rectified frames, with 1 along z.
struct Rays {
    std::vector<cv::Vec3d> left;
    std::vector<cv::Vec3d> right;
    double focal = 0;  // pixels
};

std::vector<cv::Vec3d> raysThrough(const std::vector<cv::Point2d>& points,
                                   const cv::Mat& projection) {
    const cv::Matx34d camera = cv::Mat_<double>(projection);
    std::vector<cv::Vec3d> rays;
    for (const cv::Point2d& point : points)
        rays.emplace_back((point.x - camera(0, 2)) / camera(0, 0),
                          (point.y - camera(1, 2)) / camera(1, 1), 1);
    return rays;
}

double squareInImage(const cv::Vec3d& line) {
    return line[0] * line[0] + line[1] * line[1];
}

// Pixels, to first order, that a match is off its epipolar geometry in both images together.
std::vector<double> sampsonDistances(const Rays& rays, const Unknowns& at) {
    cv::Matx33d turn;
    cv::Rodrigues(cv::Vec3d(at[0], at[1], at[2]), turn);
    const cv::Vec3d place(1, at[3], at[4]);
    std::vector<double> distances;
    for (std::size_t i = 0; i < rays.left.size(); ++i) {
        const cv::Vec3d lineInLeft = (turn * rays.right[i]).cross(place);
        const cv::Vec3d lineInRight = turn.t() * place.cross(rays.left[i]);
        distances.push_back(rays.focal * rays.left[i].dot(lineInLeft) /
                            std::sqrt(squareInImage(lineInLeft) + squareInImage(lineInRight)));
    }
    return distances;
}

std::vector<Unknowns> derivatives(const Rays& rays, const Unknowns& at,
                                  const std::vector<double>& distances) {
    constexpr double step = 1e-6;
    std::vector<Unknowns> result(distances.size());
    for (int k = 0; k < count; ++k) {
        Unknowns beside = at;
        beside[k] += step;
        const std::vector<double> moved = sampsonDistances(rays, beside);
        for (std::size_t i = 0; i < result.size(); ++i)
            result[i][k] = (moved[i] - distances[i]) / step;
    }
    return result;
}

// The deviation of normal errors that have this median magnitude.
double robustDeviation(const std::vector<double>& distances) {
    constexpr double smallest = 0.01;  // pixels; no match is better
    return std::max(smallest, 1.4826 * spreadOf(distances).median);
}

// Tukey's biweight: at this cut-off it has 95 % of the efficiency of least squares.
constexpr double cutOffDeviations = 4.685;

double weightOf(double distance, double cutOff) {
    const double share = std::min(1., std::abs(distance) / cutOff);
    return std::pow(1 - share * share, 2);
}

struct NormalEquations {
    Information information;
    Unknowns gradient;
};

NormalEquations setUp(const Rays& rays, const Unknowns& at) {
    // A tenth of a radian and a bit: keeps finite what the matches do not determine.
    constexpr double expected = 0.17;
    const std::vector<double> distances = sampsonDistances(rays, at);
    const double deviation = robustDeviation(distances);
    const std::vector<Unknowns> slopes = derivatives(rays, at, distances);
    NormalEquations result{Information::eye() * (1 / (expected * expected)),
                           at * (1 / (expected * expected))};
    for (std::size_t i = 0; i < distances.size(); ++i) {
        const double weight =
            weightOf(distances[i], cutOffDeviations * deviation) / (deviation * deviation);
        result.information += slopes[i] * slopes[i].t() * weight;
        result.gradient += slopes[i] * (weight * distances[i]);
    }
    return result;
}

// Gauss-Newton steps with weights that are found anew for each.
Unknowns solve(const Rays& rays) {
    constexpr int mostSteps = 50;
    constexpr double smallestStep = 1e-7;
    Unknowns at = Unknowns::all(0);
    for (int i = 0; i < mostSteps; ++i) {
        const NormalEquations equations = setUp(rays, at);
        const Unknowns step = equations.information.inv(cv::DECOMP_CHOLESKY) * equations.gradient;
        at -= step;
        if (cv::norm(step) < smallestStep)
            break;
    }
    return at;
}

}  // namespace

TurnFit fitCameraTurn(const std::vector<cv::Point2d>& left, const std::vector<cv::Point2d>& right,
                      const vision::Calibration& leftCamera,
                      const vision::Calibration& rightCamera) {
    const cv::Mat& projection = leftCamera.projectionMatrix;
    const Rays rays{raysThrough(left, projection), raysThrough(right, rightCamera.projectionMatrix),
                    projection.at<float>(0, 0)};
    const Unknowns solution = solve(rays);
    const Information covariance = setUp(rays, solution).information.inv(cv::DECOMP_CHOLESKY);
    const auto angle = [&](int i) {
        return Angle{toDegrees(solution[i]), toDegrees(2 * std::sqrt(covariance(i, i)))};
    };
    TurnFit fit{{angle(0), angle(1), angle(2)}, sampsonDistances(rays, solution)};
    fit.cutOff = cutOffDeviations * robustDeviation(fit.distances);
    return fit;
}

}  // namespace tiomipra
