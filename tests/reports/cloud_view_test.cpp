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

// A red square of 20 pixels at depth 1.6 before the middle of a blue wall at depth 2, seen with a
// focal length of 200.
class CloudView : public testing::Test {
  protected:
    CloudView() {
        _image(_square) = cv::Scalar(red);
        for (int y = 0; y < _points.rows; ++y)
            for (int x = 0; x < _points.cols; ++x)
                setDepth({x, y}, _square.contains({x, y}) ? 1.6F : 2.F);
    }

    void setDepth(const cv::Point& pixel, float depth) {
        _points.at<cv::Vec3f>(pixel) = {static_cast<float>(pixel.x - 99.5) / 200 * depth,
                                        static_cast<float>(pixel.y - 49.5) / 200 * depth, depth};
    }

    const cv::Rect _square{90, 40, 20, 20};
    cv::Mat _points = cv::Mat(100, 200, CV_32FC3);
    cv::Mat _measured{100, 200, CV_8UC1, cv::Scalar(255)};
    cv::Mat _image{100, 200, CV_8UC3, cv::Scalar(blue)};
};

// From further right and above what is near moves to the left and down: by 14 and 10 degrees, its
// middle from the middle of the wall to 0.38 of its width and 0.61 of its height.
TEST_F(CloudView, IsThatOfACameraFurtherRightAndAbove) {
    const cv::Mat picture = drawCloudView(_points, _measured, _image);
    ASSERT_EQ(picture.size(), _image.size());
    const cv::Rect wall = areaOf(picture, blue), square = areaOf(picture, red);
    const cv::Point2d centre = (cv::Point2d(square.tl()) + cv::Point2d(square.br())) / 2;
    EXPECT_NEAR((centre.x - wall.x) / wall.width, 0.38, 0.03);
    EXPECT_NEAR((centre.y - wall.y) / wall.height, 0.61, 0.04);
    EXPECT_TRUE(wall.width > 180 || wall.height > 90) << "fills the picture";
    // Within the square nothing of the wall shows, beside it what the camera did not see.
    EXPECT_EQ(areaOf(picture(square - cv::Size(6, 6) + cv::Point(3, 3)), blue).area(), 0);
    EXPECT_EQ(picture.at<cv::Vec3b>(square.y + 8, square.br().x + 8), cv::Vec3b(48, 48, 48));
}

TEST_F(CloudView, ShowsWhatWasMeasuredInFrontOfTheCamera) {
    cv::Mat outside = _measured.clone();
    outside(_square) = 0;
    EXPECT_EQ(areaOf(drawCloudView(_points, outside, _image), red).area(), 0);
    for (int y = _square.y; y < _square.br().y; ++y)
        for (int x = _square.x; x < _square.br().x; ++x)
            setDepth({x, y}, -100);
    const cv::Mat picture = drawCloudView(_points, _measured, _image);
    EXPECT_GT(areaOf(picture, blue).area(), 8000);
    EXPECT_EQ(areaOf(picture, red).area(), 0);
    _measured = 0;
    const cv::Mat grey(_image.size(), CV_8UC1, cv::Scalar(9));
    EXPECT_EQ(cv::norm(drawCloudView(_points, _measured, grey),
                       cv::Mat(100, 200, CV_8UC3, {48, 48, 48}), cv::NORM_INF),
              0);
}

}  // namespace
}  // namespace tiomipra::test
