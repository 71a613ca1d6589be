#include "rigs/view_selection.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <opencv2/calib3d.hpp>

namespace tiomipra {
namespace {

using Points = std::vector<cv::Point2f>;

// Place, size and tilt of the board in each image. Lengths are in diagonals of the image; views
// whose distance is below `nearlySame` differ by less than 3 % of the diagonal, 6 % in size or 3.5
// degrees of tilt.
using Descriptor = cv::Vec<double, 10>;
constexpr double nearlySame = 0.03;
constexpr double weightOfSize = 0.5;
constexpr double weightOfTilt = 0.5;

// From the centre of the image, in its diagonals.
Points normalised(const Points& points, const cv::Size& imageSize) {
    const cv::Point2d centre((imageSize.width - 1) / 2., (imageSize.height - 1) / 2.);
    const double diagonal = std::hypot(imageSize.width, imageSize.height);
    Points result;
    for (const cv::Point2f& point : points)
        result.emplace_back((cv::Point2d(point) - centre) / diagonal);
    return result;
}

// The unit vector across the board, as it would be if the focal length were the diagonal of the
// image: exact enough to tell tilts apart, while the camera is not known yet.
cv::Vec3d normalOf(const Points& places, const Points& image, const cv::Vec3d& centre) {
    const cv::Matx33d boardFromImage = cv::findHomography(image, places);
    const cv::Vec3d horizon(boardFromImage.row(2).val);
    return cv::normalize(horizon.dot(centre) < 0 ? -horizon : horizon);
}

// The logarithm of the root mean square distance from the centre.
double sizeOf(const Points& points, const cv::Vec3d& centre) {
    double sum = 0;
    for (const cv::Point2f& point : points)
        sum += std::pow(point.x - centre[0], 2) + std::pow(point.y - centre[1], 2);
    return std::log(sum / static_cast<double>(points.size())) / 2;
}

std::array<double, 5> placeSizeAndTilt(const Detection& detection,
                                       const std::vector<cv::Point3f>& board,
                                       const cv::Size& imageSize) {
    Points places;
    for (const int id : detection.ids)
        places.emplace_back(board[id].x, board[id].y);
    const Points image = normalised(detection.points, imageSize);
    const cv::Scalar mean = cv::mean(image);
    const cv::Vec3d centre(mean[0], mean[1], 1);
    const cv::Vec3d normal = normalOf(places, image, centre);
    return {centre[0], centre[1], weightOfSize * sizeOf(image, centre), weightOfTilt * normal[0],
            weightOfTilt * normal[1]};
}

std::vector<Descriptor> describeAll(const std::vector<PairDetection>& views, const Board& board,
                                    const cv::Size& imageSize) {
    const auto points = boardPoints(board);
    std::vector<Descriptor> descriptors;
    for (const auto& [left, right] : views) {
        const auto ofLeft = placeSizeAndTilt(left, points, imageSize);
        const auto ofRight = placeSizeAndTilt(right, points, imageSize);
        Descriptor both;
        std::copy(ofLeft.begin(), ofLeft.end(), both.val);
        std::copy(ofRight.begin(), ofRight.end(), both.val + ofLeft.size());
        descriptors.push_back(both);
    }
    return descriptors;
}

}  // namespace

std::vector<std::size_t> chooseViews(const std::vector<PairDetection>& views, const Board& board,
                                     const cv::Size& imageSize, std::size_t most) {
    const std::vector<Descriptor> descriptors = describeAll(views, board, imageSize);
    // Of each view to the nearest one that is chosen.
    std::vector<double> distances(views.size(), std::numeric_limits<double>::infinity());
    std::vector<std::size_t> chosen;
    while (chosen.size() < std::min(most, views.size())) {
        const auto farthest = std::max_element(distances.begin(), distances.end());
        if (*farthest < nearlySame)
            break;
        chosen.push_back(static_cast<std::size_t>(farthest - distances.begin()));
        for (std::size_t i = 0; i < views.size(); ++i)
            distances[i] = std::min(
                distances[i], cv::norm(descriptors[i] - descriptors[chosen.back()]) / M_SQRT2);
    }
    std::sort(chosen.begin(), chosen.end());
    return chosen;
}

}  // namespace tiomipra
