// Clouds from aside.
#include "reports/cloud_view.hpp"

#include <gtest/gtest.h>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

namespace tiomipra::test {
namespace {

const cv::Vec3b blue(255, 0, 0), red(0, 0, 255);

cv::Rect areaOf(const cv::Mat& picture, const cv::Vec3b& colour) {
    cv::Mat found;
    cv::inRange(picture, cv::Scalar(colour), cv::Scalar(colour), found);
    return cv::boundingRect(found);
}

// A red square of 20 pixels at another depth before the middle of a blue wall at depth 2, seen with
// a focal length of 200.
cv::Mat drawSquare(float depth, bool isMeasured = true) {
    const cv::Rect square(90, 40, 20, 20);
    cv::Mat image(100, 200, CV_8UC3, cv::Scalar(blue)), points(100, 200, CV_32FC3);
    image(square) = cv::Scalar(red);
    points.forEach<cv::Vec3f>([&](cv::Vec3f& point, const int* pixel) {
        const float z = square.contains({pixel[1], pixel[0]}) ? depth : 2;
        point = cv::Vec3d((pixel[1] - 99.5) / 200, (pixel[0] - 49.5) / 200, 1) * z;
    });
    cv::Mat measured(100, 200, CV_8UC1, cv::Scalar(255));
    measured(square) = isMeasured ? 255 : 0;
    return drawCloudView(points, measured, image);
}

// From further right and above what is near moves to the left and down: by 14 and 10 degrees, its
// middle from the middle of the wall to 0.38 of its width and 0.61 of its height.
TEST(CloudView, IsThatOfACameraFurtherRightAndAbove) {
    const cv::Mat picture = drawSquare(1.6F);
    ASSERT_EQ(picture.size(), cv::Size(200, 100));
    const cv::Rect wall = areaOf(picture, blue), square = areaOf(picture, red);
    const cv::Point2d centre = (cv::Point2d(square.tl()) + cv::Point2d(square.br())) / 2;
    EXPECT_NEAR((centre.x - wall.x) / wall.width, 0.38, 0.03);
    EXPECT_NEAR((centre.y - wall.y) / wall.height, 0.61, 0.04);
    EXPECT_TRUE(wall.width > 180 || wall.height > 90) << "fills the picture";
    // Within the square nothing of the wall shows, beside it what the camera did not see.
    EXPECT_EQ(areaOf(picture(square - cv::Size(6, 6) + cv::Point(3, 3)), blue).area(), 0);
    EXPECT_EQ(picture.at<cv::Vec3b>(square.y + 8, square.br().x + 8), cv::Vec3b(48, 48, 48));
}

TEST(CloudView, ShowsWhatWasMeasuredInFrontOfTheCamera) {
    for (const cv::Mat& picture : {drawSquare(1.6F, false), drawSquare(-100)}) {
        EXPECT_GT(areaOf(picture, blue).area(), 8000);
        EXPECT_EQ(areaOf(picture, red).area(), 0);
    }
    const cv::Mat points(100, 200, CV_32FC3, cv::Scalar::all(1)), nothing(100, 200, CV_8UC1, 0.);
    EXPECT_EQ(cv::norm(drawCloudView(points, nothing, nothing),
                       cv::Mat(100, 200, CV_8UC3, {48, 48, 48}), cv::NORM_INF),
              0);
}

}  // namespace
}  // namespace tiomipra::test
