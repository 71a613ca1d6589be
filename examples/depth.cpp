#include <cstdio>
#include <opencv2/imgcodecs.hpp>
#include <vision/stereo.hpp>

int main() {
    vision::Calibration left, right;
    left.load("rig/left.yml");
    right.load("rig/right.yml");

    vision::Stereo stereo;
    stereo.setMaxDepth(20.F);  // first: the calibrations derive the search range from it
    stereo.setCalibrations(left, right);

    const auto [rectifiedLeft, rectifiedRight] =
        stereo.rectifyImages(cv::imread("left.png", cv::IMREAD_GRAYSCALE),
                             cv::imread("right.png", cv::IMREAD_GRAYSCALE));
    const cv::Mat disparity = stereo.computeDisparity(rectifiedLeft, rectifiedRight);
    const cv::Mat points = stereo.computeDepth(disparity);  // CV_32FC3; (0, 0, 0): not measured

    const auto centre = points.at<cv::Vec3f>(points.rows / 2, points.cols / 2);
    std::printf("X %.2f  Y %.2f  Z %.2f\n", centre[0], centre[1], centre[2]);
}
