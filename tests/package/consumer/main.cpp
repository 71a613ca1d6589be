// Uses what a host uses of both libraries; the exit status says whether it works.
#include <cstdlib>
#include <iostream>
#include <opencv2/core.hpp>
#include <stdexcept>
#include <string>
#include <tevo/log.hpp>
#include <typeinfo>
#include <vision/calibration.hpp>
#include <vision/stereo.hpp>

namespace {

class Host : public vision::Stereo {};

vision::Calibration camera(float offset) {
    vision::Calibration calibration;
    calibration.width = 64;
    calibration.height = 48;
    calibration.cameraMatrix = (cv::Mat_<float>(3, 3) << 50, 0, 32, 0, 50, 24, 0, 0, 1);
    calibration.projectionMatrix =
        (cv::Mat_<float>(3, 4) << 50, 0, 32, offset, 0, 50, 24, 0, 0, 0, 1, 0);
    return calibration;
}

}  // namespace

int main() {
    std::string logged;
    tevo::log::setSink([&](const tevo::log::Record& record) { logged = record.category; });

    Host host;
    vision::Stereo& stereo = host;
    stereo.setMaxDepth(10);
    stereo.setCalibrations(camera(0), camera(-20));
    const cv::Mat points = stereo.computeDepth(cv::Mat(48, 64, CV_32F, cv::Scalar(4)));
    const float depth = points.at<cv::Vec3f>(24, 32)[2];  // 50 * 0.4 / 4

    bool refused = false;
    try {
        stereo.setMaxDepth(-1);
    } catch (const std::range_error&) {
        refused = true;
    }

    std::cout << "depth " << depth << ", logged by " << logged << '\n';
    const bool works = depth == 5 && refused && logged == "vision.stereo" &&
                       typeid(stereo) != typeid(vision::Stereo);
    return works ? EXIT_SUCCESS : EXIT_FAILURE;
}
