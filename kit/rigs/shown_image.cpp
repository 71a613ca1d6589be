#include "rigs/shown_image.hpp"

#include <algorithm>
#include <iterator>
#include <opencv2/calib3d.hpp>
#include <vector>

#include "base/text.hpp"
#include "rigs/rig_geometry.hpp"

namespace tiomipra {
namespace {

using Grid = cv::Mat_<cv::Vec2f>;  // positions in the raw image of pixels of the rectified one

constexpr int cells = 128;  // along either side
// Real lenses stretch the edges of their image by far less; at the edges of a calibrated region
// their models may, so that those parts do not count, rather than speak against the lens.
constexpr double largestStretch = 4;

// By another camera matrix the map of all pixels becomes that of the corners of the cells.
Grid sampleMap(const vision::Calibration& calibration, const cv::Mat& distortion) {
    cv::Mat camera;
    calibration.projectionMatrix.colRange(0, 3).convertTo(camera, CV_64F);
    camera.row(0) *= cells / std::max(1., calibration.width - 1.);
    camera.row(1) *= cells / std::max(1., calibration.height - 1.);
    cv::Mat x, y, map;
    cv::initUndistortRectifyMap(calibration.cameraMatrix, distortion,
                                calibration.rectificationMatrix, camera, {cells + 1, cells + 1},
                                CV_32FC1, x, y);
    cv::merge(std::vector<cv::Mat>{x, y}, map);
    return map;
}

// Where the corners of a cell lie in the raw image, in pixels from the principal point.
struct Cell {
    cv::Vec2d corners[4];  // clockwise

    cv::Vec2d middle() const { return (corners[0] + corners[1] + corners[2] + corners[3]) / 4; }

    // Negative if the cell is mirrored.
    double area() const {
        const cv::Vec2d falling = corners[2] - corners[0];
        const cv::Vec2d rising = corners[1] - corners[3];
        return (rising[0] * falling[1] - rising[1] * falling[0]) / 2;
    }

    bool isWithin(const cv::Rect2d& image) const {
        return std::all_of(std::begin(corners), std::end(corners), [&](const cv::Vec2d& corner) {
            return image.contains(cv::Point2d(corner));
        });
    }
};

Cell cellAt(const Grid& map, int row, int column, const cv::Vec2d& principal) {
    const auto corner = [&](int y, int x) { return cv::Vec2d(map(y, x)) - principal; };
    return {{corner(row, column), corner(row, column + 1), corner(row + 1, column + 1),
             corner(row + 1, column)}};
}

// Behind a fold a lens's model shows the image again, mirrored or turned by half.
bool isSound(const Cell& distorted, const Cell& undistorted) {
    const double stretch = distorted.area() / undistorted.area();
    return undistorted.area() > 0 && stretch > 0 && stretch <= largestStretch &&
           distorted.middle().dot(undistorted.middle()) >= 0;
}

std::string percent(double share) {
    return digits(100 * share) + " %";
}

}  // namespace

ShownImage measureShown(const vision::Calibration& calibration) {
    const Grid distorted = sampleMap(calibration, calibration.distortion);
    const Grid undistorted = sampleMap(calibration, {});
    const cv::Mat& camera = calibration.cameraMatrix;
    const cv::Vec2d principal(camera.at<float>(0, 2), camera.at<float>(1, 2));
    const cv::Rect2d image(-0.5 - principal[0], -0.5 - principal[1], calibration.width,
                           calibration.height);
    ShownImage shown;
    for (int row = 0; row < cells; ++row) {
        for (int column = 0; column < cells; ++column) {
            const Cell with = cellAt(distorted, row, column, principal);
            const Cell without = cellAt(undistorted, row, column, principal);
            if (without.isWithin(image) && without.area() > 0)
                shown.ofRawUndistorted += without.area() / image.area();
            if (!with.isWithin(image) || !isSound(with, without))
                continue;
            shown.ofRaw += with.area() / image.area();
            shown.ofRectified += 1. / (cells * cells);
        }
    }
    return shown;
}

std::string whyNoLens(const vision::Calibration& calibration) {
    constexpr double leastShown = 0.001;
    constexpr double leastLeft = 0.2;
    const ShownImage shown = measureShown(calibration);
    if (shown.ofRaw < leastLeft * shown.ofRawUndistorted)
        return fmt::format(
            "distortion leaves {} of what would show of the image without it, must leave at least "
            "{}: the rest is folded, stretched or outside",
            percent(shown.ofRaw / shown.ofRawUndistorted), percent(leastLeft));
    if (shown.ofRaw < leastShown)
        return fmt::format(
            "cameraMatrix, rectificationMatrix and projectionMatrix together show {} of the image, "
            "must show at least {}",
            percent(shown.ofRaw), percent(leastShown));
    if (shown.ofRectified < leastShown)
        return fmt::format(
            "cameraMatrix, rectificationMatrix and projectionMatrix together fill {} of the "
            "rectified image, must fill at least {}",
            percent(shown.ofRectified), percent(leastShown));
    return "";
}

}  // namespace tiomipra
