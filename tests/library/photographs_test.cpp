// From the photographs of a chessboard to metric depth, calibrated with OpenCV's own functions.
//
// The pictures are left01..14 and right01..14 of Debian's package opencv-doc: 640x480, a board of
// 9x6 inner corners. Lengths are in squares of the board.
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <opencv2/calib3d.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "support/rigs.hpp"

namespace tiomipra::test {
namespace {

using Corners = std::vector<cv::Point2f>;

const cv::Size imageSize(640, 480);
const cv::Size board(9, 6);
constexpr int sides = 2;  // left, right

// One photograph of each camera per view; there is no view 10.
const std::vector<std::string> views = {"01", "02", "03", "04", "05", "06", "07",
                                        "08", "09", "11", "12", "13", "14"};

cv::Mat readPhotograph(int side, const std::string& view) {
    const auto path = std::filesystem::path(TIOMIPRA_PHOTOGRAPHS) /
                      ((side == 0 ? "left" : "right") + view + ".jpg");
    cv::Mat image = cv::imread(path.string(), cv::IMREAD_GRAYSCALE);
    if (image.empty())
        throw std::runtime_error(path.string() + " can't be read; run scripts/photographs");
    return image;
}

// The distances between `points` that are one square apart; those without depth left out.
std::vector<double> neighbourDistances(const std::vector<cv::Point3f>& points) {
    std::vector<double> distances;
    const auto measure = [&](const cv::Point3f& a, const cv::Point3f& b) {
        if (a != cv::Point3f() && b != cv::Point3f())
            distances.push_back(cv::norm(a - b));
    };
    for (int i = 0; i < board.area(); ++i) {
        if (i % board.width + 1 < board.width)
            measure(points[i], points[i + 1]);
        if (i + board.width < board.area())
            measure(points[i], points[i + board.width]);
    }
    return distances;
}

Corners findCorners(const cv::Mat& image) {
    Corners corners;
    if (!cv::findChessboardCorners(image, board, corners))
        throw std::runtime_error("no board found");
    // A larger window would reach the neighbouring corners of the boards seen from afar.
    cv::cornerSubPix(image, corners, {5, 5}, {-1, -1}, {3, 100, 1e-4});
    return corners;
}

CalibrationPair calibrate(const std::vector<Corners> (&corners)[sides]) {
    std::vector<cv::Point3f> squares;
    for (int i = 0; i < board.area(); ++i)
        squares.emplace_back(i % board.width, i / board.width, 0);
    const std::vector<std::vector<cv::Point3f>> boards(views.size(), squares);
    cv::Mat camera[sides], distortion[sides], rectification[sides], projection[sides];
    cv::Mat rotation, translation, reprojection;
    cv::stereoCalibrate(boards, corners[0], corners[1], camera[0], distortion[0], camera[1],
                        distortion[1], imageSize, rotation, translation, cv::noArray(),
                        cv::noArray(), 0);
    cv::stereoRectify(camera[0], distortion[0], camera[1], distortion[1], imageSize, rotation,
                      translation, rectification[0], rectification[1], projection[0], projection[1],
                      reprojection, cv::CALIB_ZERO_DISPARITY, 0);
    CalibrationPair rig;
    for (int side = 0; side < sides; ++side) {
        vision::Calibration& calibration = side == 0 ? rig.left : rig.right;
        calibration.width = imageSize.width;
        calibration.height = imageSize.height;
        camera[side].convertTo(calibration.cameraMatrix, CV_32F);
        distortion[side].convertTo(calibration.distortion, CV_32F);
        rectification[side].convertTo(calibration.rectificationMatrix, CV_32F);
        projection[side].convertTo(calibration.projectionMatrix, CV_32F);
    }
    return rig;
}

// Where the board's corners are in the frame of the rectified left camera, seen at `corners` of its
// photograph; (0, 0, 0) where there is no depth.
std::vector<cv::Point3f> locate(const Corners& corners, const vision::Calibration& camera,
                                const cv::Mat& points) {
    Corners rectified;
    cv::undistortPoints(corners, rectified, camera.cameraMatrix, camera.distortion,
                        camera.rectificationMatrix, camera.projectionMatrix);
    const cv::Matx34f projection = camera.projectionMatrix;
    std::vector<cv::Point3f> located;
    for (const cv::Point2f& corner : rectified) {
        const float depth = points.at<cv::Vec3f>(cv::Point(corner))[2];
        located.emplace_back((corner.x - projection(0, 2)) / projection(0, 0) * depth,
                             (corner.y - projection(1, 2)) / projection(1, 1) * depth, depth);
    }
    return located;
}

TEST(Photographs, GiveMetricDepthOfTheBoard) {
    std::vector<cv::Mat> images[sides];
    std::vector<Corners> corners[sides];
    for (int side = 0; side < sides; ++side) {
        for (const std::string& view : views) {
            images[side].push_back(readPhotograph(side, view));
            corners[side].push_back(findCorners(images[side].back()));
        }
    }
    const CalibrationPair rig = calibrate(corners);
    vision::Stereo stereo;
    stereo.setMaxDepth(20);
    stereo.setCalibrations(rig.left, rig.right);

    std::vector<double> distances;
    for (std::size_t view = 0; view < views.size(); ++view) {
        // The boards of the others are closer than the disparities searched, or cut off.
        if (std::string("01 06 09 11 13 14").find(views[view]) == std::string::npos)
            continue;
        const auto pair = stereo.rectifyImages(images[0][view], images[1][view]);
        const cv::Mat points =
            stereo.computeDepth(stereo.computeDisparity(pair.first, pair.second));
        const auto located = locate(corners[0][view], rig.left, points);
        EXPECT_LE(std::count(located.begin(), located.end(), cv::Point3f()), 0.06 * board.area())
            << views[view];
        const auto ofView = neighbourDistances(located);
        distances.insert(distances.end(), ofView.begin(), ofView.end());
    }
    ASSERT_FALSE(distances.empty());
    std::sort(distances.begin(), distances.end());
    const auto percentile = [&](std::size_t p) { return distances[distances.size() * p / 100]; };
    EXPECT_GT(percentile(10), 0.98);
    EXPECT_NEAR(percentile(50), 0.999, 0.002);
    EXPECT_LT(percentile(90), 1.02);
}

}  // namespace
}  // namespace tiomipra::test
