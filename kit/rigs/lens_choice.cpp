#include "rigs/lens_choice.hpp"

#include <algorithm>
#include <cmath>

#include "base/text.hpp"
#include "rigs/fisheye_rays.hpp"

namespace tiomipra {
namespace {

// What an image point is off along the line from the principal point through where it should be.
struct RadialResidual {
    double radius, residual;
};

std::vector<RadialResidual> radialResiduals(const CameraSolution& solution,
                                            const PerView& sightings) {
    const cv::Matx33d& matrix = solution.camera.cameraMatrix;
    const cv::Point2d centre(matrix(0, 2), matrix(1, 2));
    std::vector<RadialResidual> all;
    for (std::size_t view = 0; view < sightings.size(); ++view) {
        const Sighting& seen = sightings[view];
        const auto expected = project(solution.camera, solution.boards[view], seen.board);
        for (std::size_t i = 0; i < expected.size(); ++i) {
            const cv::Point2d place = expected[i] - centre;
            const double radius = cv::norm(place);
            if (radius > 0)
                all.push_back({radius, (seen.image[i] - expected[i]).dot(place) / radius});
        }
    }
    return all;
}

using Ring = std::vector<RadialResidual>::const_iterator;

// 0 unless it is five times the deviation that chance gives it.
double significantMean(Ring begin, Ring end) {
    const auto count = static_cast<double>(end - begin);
    double sum = 0, squares = 0;
    for (auto at = begin; at != end; ++at) {
        sum += at->residual;
        squares += at->residual * at->residual;
    }
    const double mean = sum / count;
    const double variance = (squares / count - mean * mean) / count;
    return mean * mean > 25 * variance ? std::abs(mean) : 0;
}

bool isFinite(const CameraSolution& solution) {
    return cv::checkRange(solution.camera.cameraMatrix) &&
           cv::checkRange(solution.camera.lens.coefficients) && std::isfinite(solution.fit.error);
}

CalibratedCameras calibrateWith(Lens lens, const Sightings& sightings, const cv::Size& imageSize,
                                const OnAdjustmentStep& onStep) {
    return {calibrateCamera(sightings[0], imageSize, lens, onStep),
            calibrateCamera(sightings[1], imageSize, lens, onStep),
            {}};
}

// Where the views don't determine such lenses, exceptions of OpenCV or nonsense are what comes out.
std::optional<CalibratedCameras> tryLens(Lens lens, const Sightings& sightings,
                                         const cv::Size& imageSize,
                                         const OnAdjustmentStep& onStep) {
    try {
        const auto cameras = calibrateWith(lens, sightings, imageSize, onStep);
        const bool areFinite = isFinite(cameras.left) && isFinite(cameras.right);
        return areFinite ? std::optional(cameras) : std::nullopt;
    } catch (const cv::Exception&) {
        return std::nullopt;
    }
}

double errorOf(const CalibratedCameras& cameras) {
    return std::hypot(cameras.left.fit.error, cameras.right.fit.error) / M_SQRT2;
}

double radialResidual(const CalibratedCameras& cameras, const Sightings& sightings) {
    return std::max(radialResidual(cameras.left, sightings[0]),
                    radialResidual(cameras.right, sightings[1]));
}

// What fits the corners of a board may fold beyond them: the middles of the image's sides must be
// seen before that.
bool isUnfolded(const CameraModel& camera) {
    const double right = camera.imageSize.width - 1, bottom = camera.imageSize.height - 1;
    const cv::Point2d middles[] = {
        {0, bottom / 2}, {right, bottom / 2}, {right / 2, 0}, {right / 2, bottom}};
    return lensOf(camera) != Lens::fisheye ||
           std::all_of(std::begin(middles), std::end(middles), [&](const cv::Point2d& pixel) {
               return slopeAt(camera.lens, angleOf(rayOf(camera, pixel))) > 0;
           });
}

bool areSound(const std::optional<CalibratedCameras>& cameras) {
    constexpr double largestError = 1, mostUncertain = 0.03;
    return cameras && isUnfolded(cameras->left.camera) && isUnfolded(cameras->right.camera) &&
           errorOf(*cameras) < largestError && cameras->left.fit.focalUncertainty < mostUncertain &&
           cameras->right.fit.focalUncertainty < mostUncertain;
}

// The rational lens has twice the coefficients, and may leave a little less for that alone.
std::optional<CalibratedCameras> chooseOther(const Sightings& sightings, const cv::Size& imageSize,
                                             const OnAdjustmentStep& onStep) {
    constexpr double clearly = 0.98;
    const auto fisheye = tryLens(Lens::fisheye, sightings, imageSize, onStep);
    const auto rational = tryLens(Lens::rational, sightings, imageSize, onStep);
    if (!areSound(rational))
        return areSound(fisheye) ? fisheye : std::nullopt;
    const bool isFisheye = areSound(fisheye) && errorOf(*rational) > clearly * errorOf(*fisheye);
    return isFisheye ? fisheye : rational;
}

// What pinholes leave asks for another lens if it depends on the distance from the centre, or is
// more than good calibrations have.
bool areGood(const CalibratedCameras& pinholes, const Sightings& sightings) {
    constexpr double smallResidual = 0.05, goodError = 0.5;  // pixels
    return radialResidual(pinholes, sightings) <= smallResidual && errorOf(pinholes) <= goodError;
}

std::string describePinholes(const std::optional<CalibratedCameras>& pinholes,
                             const Sightings& sightings) {
    if (!pinholes)
        return "the views determine no pinholes with 5 coefficients";
    return fmt::format(
        "pinholes with 5 coefficients leave an error of {:.3f} pixels, along the radius {:.2f}",
        errorOf(*pinholes), radialResidual(*pinholes, sightings));
}

CalibratedCameras chooseLens(const Sightings& sightings, const cv::Size& imageSize,
                             const OnAdjustmentStep& onStep) {
    constexpr double clearly = 0.9;
    auto pinholes = tryLens(Lens::pinhole, sightings, imageSize, onStep);
    const std::string found = describePinholes(pinholes, sightings);
    if (pinholes && areGood(*pinholes, sightings)) {
        pinholes->reason = found;
        return *pinholes;
    }
    auto other = chooseOther(sightings, imageSize, onStep);
    if (other && !(pinholes && errorOf(*other) > clearly * errorOf(*pinholes))) {
        other->reason = fmt::format("{}, these lenses one of {:.3f}", found, errorOf(*other));
        return *other;
    }
    if (!pinholes)
        CV_Error(cv::Error::StsNoConv, "no lens fits");
    pinholes->reason = found + ", other lenses no better one";
    return *pinholes;
}

}  // namespace

double radialResidual(const CameraSolution& solution, const PerView& sightings) {
    constexpr std::ptrdiff_t rings = 10;
    auto all = radialResiduals(solution, sightings);
    std::sort(all.begin(), all.end(),
              [](const auto& a, const auto& b) { return a.radius < b.radius; });
    const auto count = static_cast<std::ptrdiff_t>(all.size());
    double largest = 0;
    for (std::ptrdiff_t i = 0; i < rings && count >= rings; ++i)
        largest = std::max(largest, significantMean(all.cbegin() + count * i / rings,
                                                    all.cbegin() + count * (i + 1) / rings));
    return largest;
}

CalibratedCameras calibrateCameras(const Sightings& sightings, const cv::Size& imageSize,
                                   std::optional<Lens> wanted, const OnAdjustmentStep& onStep) {
    if (!wanted)
        return chooseLens(sightings, imageSize, onStep);
    auto cameras = calibrateWith(*wanted, sightings, imageSize, onStep);
    cameras.reason = "as asked for";
    return cameras;
}

}  // namespace tiomipra
