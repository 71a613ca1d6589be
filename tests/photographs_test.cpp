// From the photographs of a chessboard to metric depth, with nothing but OpenCV's own calibration.
//
// The pictures are left01..14 and right01..14 of Debian's package opencv-doc: 640x480, a board of
// 9x6 inner corners. Lengths are in squares of the board.
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <opencv2/calib3d.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <vision/stereo.hpp>

namespace {

using Corners = std::vector<cv::Point2f>;

const cv::Size imageSize(640, 480);
const cv::Size board(9, 6);

struct View {
    std::string name;
    cv::Mat left;
    cv::Mat right;
    Corners leftCorners;
    Corners rightCorners;
};

struct CalibratedRig {
    vision::Calibration left;
    vision::Calibration right;
    double reprojectionError;
};

cv::Mat readPhotograph(const std::string& name) {
    const auto path = std::filesystem::path(TIOMIPRA_PHOTOGRAPHS) / (name + ".jpg");
    cv::Mat image = cv::imread(path.string(), cv::IMREAD_GRAYSCALE);
    if (image.empty())
        throw std::runtime_error(path.string() +
                                 " can't be read; run scripts/photographs, or set the CMake "
                                 "variable TIOMIPRA_PHOTOGRAPHS to the folder that holds it");
    return image;
}

// Calls `visit` with the indices of every two corners that are one square apart.
template <typename Visitor>
void forNeighbours(const Visitor& visit) {
    for (int i = 0; i < board.area(); ++i) {
        if (i % board.width + 1 < board.width)
            visit(i, i + 1);
        if (i + board.width < board.area())
            visit(i, i + board.width);
    }
}

Corners findCorners(const cv::Mat& image) {
    Corners corners;
    if (!cv::findChessboardCorners(image, board, corners))
        throw std::runtime_error("no board found");
    double spacing = image.cols;
    forNeighbours(
        [&](int i, int j) { spacing = std::min(spacing, cv::norm(corners[i] - corners[j])); });
    // A larger window would reach the neighbouring corners of the boards seen from afar.
    const int window = cvRound(0.35 * spacing);
    cv::cornerSubPix(image, corners, {window, window}, {-1, -1}, {3, 100, 1e-4});
    return corners;
}

std::vector<View> readViews() {
    std::vector<View> views;
    for (const char* name : {"01", "02", "03", "04", "05", "06", "07", "08", "09", "11", "12", "13",
                             "14"}) {  // there is no 10
        View view{name,
                  readPhotograph(std::string("left") + name),
                  readPhotograph(std::string("right") + name),
                  {},
                  {}};
        view.leftCorners = findCorners(view.left);
        view.rightCorners = findCorners(view.right);
        views.push_back(view);
    }
    return views;
}

vision::Calibration makeCalibration(const cv::Mat& camera, const cv::Mat& distortion,
                                    const cv::Mat& rotation, const cv::Mat& projection) {
    vision::Calibration calibration;
    calibration.width = imageSize.width;
    calibration.height = imageSize.height;
    camera.convertTo(calibration.cameraMatrix, CV_32F);
    distortion.convertTo(calibration.distortion, CV_32F);
    rotation.convertTo(calibration.rectificationMatrix, CV_32F);
    projection.convertTo(calibration.projectionMatrix, CV_32F);
    return calibration;
}

CalibratedRig calibrate(const std::vector<View>& views) {
    std::vector<cv::Point3f> squares;
    for (int i = 0; i < board.area(); ++i)
        squares.emplace_back(i % board.width, i / board.width, 0);
    const std::vector<std::vector<cv::Point3f>> boards(views.size(), squares);
    std::vector<Corners> left;
    std::vector<Corners> right;
    for (const View& view : views) {
        left.push_back(view.leftCorners);
        right.push_back(view.rightCorners);
    }
    cv::Mat leftCamera, leftDistortion, rightCamera, rightDistortion, rotation, translation;
    std::vector<cv::Mat> unused;
    cv::calibrateCamera(boards, left, imageSize, leftCamera, leftDistortion, unused, unused);
    cv::calibrateCamera(boards, right, imageSize, rightCamera, rightDistortion, unused, unused);
    const double error = cv::stereoCalibrate(
        boards, left, right, leftCamera, leftDistortion, rightCamera, rightDistortion, imageSize,
        rotation, translation, cv::noArray(), cv::noArray(), cv::CALIB_USE_INTRINSIC_GUESS);
    cv::Mat leftRotation, rightRotation, leftProjection, rightProjection, reprojection;
    cv::stereoRectify(leftCamera, leftDistortion, rightCamera, rightDistortion, imageSize, rotation,
                      translation, leftRotation, rightRotation, leftProjection, rightProjection,
                      reprojection, cv::CALIB_ZERO_DISPARITY, 0);
    return {makeCalibration(leftCamera, leftDistortion, leftRotation, leftProjection),
            makeCalibration(rightCamera, rightDistortion, rightRotation, rightProjection), error};
}

Corners rectify(const Corners& corners, const vision::Calibration& camera) {
    Corners rectified;
    cv::undistortPoints(corners, rectified, camera.cameraMatrix, camera.distortion,
                        camera.rectificationMatrix, camera.projectionMatrix);
    return rectified;
}

double meanRowDifference(const std::vector<View>& views, const CalibratedRig& rig) {
    double sum = 0;
    for (const View& view : views) {
        const Corners left = rectify(view.leftCorners, rig.left);
        const Corners right = rectify(view.rightCorners, rig.right);
        for (int i = 0; i < board.area(); ++i)
            sum += std::abs(left[i].y - right[i].y);
    }
    return sum / static_cast<double>(views.size()) / board.area();
}

// The points of the corners in the frame of the rectified left camera; (0, 0, 0) without depth.
std::vector<cv::Vec3f> measureCorners(const vision::Stereo& stereo, const View& view) {
    const auto [left, right] = stereo.rectifyImages(view.left, view.right);
    const cv::Mat points = stereo.computeDepth(stereo.computeDisparity(left, right));
    const vision::Calibration camera = stereo.getCalibrations().first;
    const auto projection = cv::Matx34f(camera.projectionMatrix);
    std::vector<cv::Vec3f> measured;
    for (const cv::Point2f& corner : rectify(view.leftCorners, camera)) {
        const cv::Point pixel(corner);
        const float depth = points.at<cv::Vec3f>(pixel)[2];
        measured.emplace_back((corner.x - projection(0, 2)) / projection(0, 0) * depth,
                              (corner.y - projection(1, 2)) / projection(1, 1) * depth, depth);
    }
    return measured;
}

TEST(Photographs, GiveMetricDepthOfTheBoard) {
    const std::vector<View> views = readViews();
    const CalibratedRig rig = calibrate(views);
    const double rowDifference = meanRowDifference(views, rig);
    vision::Stereo stereo;
    stereo.setMaxDepth(20);
    stereo.setCalibrations(rig.left, rig.right);

    std::vector<double> distances;
    for (const View& view : views) {
        // The boards of the others are closer than the disparities searched, or cut off.
        if (std::string("01 06 09 11 13 14").find(view.name) == std::string::npos)
            continue;
        const auto corners = measureCorners(stereo, view);
        const auto found = std::count_if(corners.begin(), corners.end(),
                                         [](const cv::Vec3f& corner) { return corner[2] > 0; });
        EXPECT_GE(static_cast<double>(found) / board.area(), 0.94) << view.name;
        forNeighbours([&](int i, int j) {
            if (corners[i][2] > 0 && corners[j][2] > 0)
                distances.push_back(cv::norm(corners[i] - corners[j]));
        });
    }
    ASSERT_FALSE(distances.empty());
    std::sort(distances.begin(), distances.end());
    const auto percentile = [&](std::size_t percent) {
        return distances[(distances.size() - 1) * percent / 100];
    };
    std::cout << "reprojection error " << rig.reprojectionError << ", mean row difference "
              << rowDifference << ", minimum disparity " << stereo.getMinDisparity()
              << ", distances of neighbouring corners " << percentile(10) << ", " << percentile(50)
              << ", " << percentile(90) << " (10 %, 50 %, 90 %)\n";
    EXPECT_LT(rig.reprojectionError, 0.22);
    EXPECT_LT(rowDifference, 0.10);
    EXPECT_GT(percentile(10), 0.98);
    EXPECT_NEAR(percentile(50), 0.999, 0.002);
    EXPECT_LT(percentile(90), 1.02);
}

}  // namespace
