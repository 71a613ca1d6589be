#include <cstdio>
#include <opencv2/imgcodecs.hpp>
#include <vision/stereo.hpp>

int main() {
    vision::Calibration left, right;
    left.load("rig/left.yml");
    right.load("rig/right.yml");

    // What to look at, in the unit of the calibrations: metres after `--square 25mm`.
    const float nearest = 0.25F, farthest = 5.F;
    const float shift = right.projectionMatrix.at<float>(0, 3);  // minus focal length x baseline
    vision::Stereo stereo;
    stereo.setMaxDepth(farthest);  // first: the calibrations derive the least disparity from it
    stereo.setCalibrations(left, right);
    // A point at depth Z moves by -shift / Z pixels; the search goes in steps of 16 of them.
    stereo.setDisparityNumber(16 * (1 + static_cast<int>(shift / farthest - shift / nearest) / 16));

    const auto [rectifiedLeft, rectifiedRight] =
        stereo.rectifyImages(cv::imread("left.png", cv::IMREAD_GRAYSCALE),
                             cv::imread("right.png", cv::IMREAD_GRAYSCALE));
    const cv::Mat disparity = stereo.computeDisparity(rectifiedLeft, rectifiedRight);
    const cv::Mat points = stereo.computeDepth(disparity);  // CV_32FC3

    const auto centre = points.at<cv::Vec3f>(points.rows / 2, points.cols / 2);
    if (centre == cv::Vec3f(0, 0, 0))
        std::printf("nothing measured there between %g and %g\n", nearest, farthest);
    else
        std::printf("X %.2f  Y %.2f  Z %.2f\n", centre[0], centre[1], centre[2]);
}
