#include "stages.hpp"

#include <algorithm>
#include <cstring>
#include <memory>
#include <opencv2/calib3d.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <stdexcept>
#include <tuple>

namespace {

using vision::Calibration;
using vision::Stereo;

// A calibrated pair with its frames and what becomes of them.
struct Workload {
    Stereo stereo;
    Stereo::ImageTransform transform;
    cv::Mat rawLeft;
    cv::Mat rawRight;
    cv::Mat left;
    cv::Mat right;
    cv::Mat disparity;
};

cv::Mat readPhotograph(const std::string& path) {
    cv::Mat image = cv::imread(path, cv::IMREAD_GRAYSCALE);
    if (image.empty())
        throw std::runtime_error(path + " is not an image that can be read");
    return image;
}

// The largest part in the middle that has the shape of `size`, scaled to it.
cv::Mat cropAndScale(const cv::Mat& image, const cv::Size& size) {
    const double scale = std::min(static_cast<double>(image.cols) / size.width,
                                  static_cast<double>(image.rows) / size.height);
    const cv::Size part(static_cast<int>(size.width * scale),
                        static_cast<int>(size.height * scale));
    const cv::Point corner((image.cols - part.width) / 2, (image.rows - part.height) / 2);
    cv::Mat scaled;
    cv::resize(image(cv::Rect(corner, part)), scaled, size, 0, 0, cv::INTER_AREA);
    return scaled;
}

// A camera with barrel distortion; `translation` is -focal length * baseline.
Calibration makeCalibration(const cv::Size& size, float translation) {
    const auto f = static_cast<float>(size.width);
    const float cx = static_cast<float>(size.width) / 2.F - 0.5F;
    const float cy = static_cast<float>(size.height) / 2.F - 0.5F;
    Calibration calibration;
    calibration.width = size.width;
    calibration.height = size.height;
    calibration.cameraMatrix = (cv::Mat_<float>(3, 3) << f, 0, cx, 0, f, cy, 0, 0, 1);
    calibration.distortion = (cv::Mat_<float>(1, 5) << -0.2F, 0.05F, 0, 0, 0);
    calibration.rectificationMatrix = cv::Mat::eye(3, 3, CV_32F);
    calibration.projectionMatrix =
        (cv::Mat_<float>(3, 4) << f, 0, cx, translation, 0, f, cy, 0, 0, 0, 1, 0);
    return calibration;
}

// What the raw camera sees of a rectified image.
cv::Mat distort(const cv::Mat& rectified, const Calibration& camera) {
    cv::Mat_<cv::Point2f> rawPixels(rectified.size());
    for (int y = 0; y < rawPixels.rows; ++y) {
        for (int x = 0; x < rawPixels.cols; ++x)
            rawPixels(y, x) = cv::Point2f(static_cast<float>(x), static_cast<float>(y));
    }
    cv::Mat rectifiedPixels;
    cv::undistortPoints(rawPixels.reshape(2, 1), rectifiedPixels, camera.cameraMatrix,
                        camera.distortion, camera.rectificationMatrix, camera.projectionMatrix);
    cv::Mat raw;
    cv::remap(rectified, raw, rectifiedPixels.reshape(2, rectified.rows), {}, cv::INTER_LINEAR);
    return raw;
}

std::shared_ptr<Workload> makeWorkload(const Photographs& photographs,
                                       const StageOptions& options) {
    constexpr float baseline = 0.16F;
    auto workload = std::make_shared<Workload>();
    const Calibration left = makeCalibration(options.size, 0);
    const Calibration right =
        makeCalibration(options.size, -baseline * static_cast<float>(options.size.width));
    workload->stereo.setCalibrations(left, right);
    workload->stereo.setDisparityNumber(options.disparityNumber);
    workload->stereo.setWindowSize(options.windowSize);
    workload->transform = workload->stereo.computeImageTransforms(options.size);
    workload->rawLeft = distort(cropAndScale(photographs.left, options.size), left);
    workload->rawRight = distort(cropAndScale(photographs.right, options.size), right);
    std::tie(workload->left, workload->right) =
        workload->stereo.rectifyImages(workload->rawLeft, workload->rawRight);
    workload->disparity = workload->stereo.computeDisparity(workload->left, workload->right);
    return workload;
}

Images rectify(const Stereo& stereo, const cv::Mat& left, const cv::Mat& right) {
    auto [rectifiedLeft, rectifiedRight] = stereo.rectifyImages(left, right);
    return {rectifiedLeft, rectifiedRight};
}

Images rectifyByOpenCv(const Stereo::ImageTransform& transform, const cv::Mat& left,
                       const cv::Mat& right) {
    Images rectified(2);
    cv::remap(left, rectified[0], transform.leftMapX, transform.leftMapY, cv::INTER_LINEAR);
    cv::remap(right, rectified[1], transform.rightMapX, transform.rightMapY, cv::INTER_LINEAR);
    return rectified;
}

cv::Ptr<cv::StereoMatcher> makeMatcher(const Stereo& stereo, Stereo::StereoAlgorithm algorithm) {
    if (algorithm == Stereo::SGBM) {
        return cv::StereoSGBM::create(
            stereo.getMinDisparity(), stereo.getDisparityNumber(), stereo.getWindowSize(),
            stereo.getP1(), stereo.getP2(), stereo.getDisp12MaxDiff(), stereo.getPreFilterCap(),
            stereo.getUniquenessRatio(), stereo.getSpeckleWindowSize(), stereo.getSpeckleRange(),
            stereo.getFullDP() ? cv::StereoSGBM::MODE_HH : cv::StereoSGBM::MODE_SGBM);
    }
    auto matcher = cv::StereoBM::create(stereo.getDisparityNumber(), stereo.getWindowSize());
    matcher->setMinDisparity(stereo.getMinDisparity());
    matcher->setPreFilterCap(stereo.getPreFilterCap());
    matcher->setPreFilterSize(stereo.getPreFilterSize());
    matcher->setTextureThreshold(stereo.getTextureThreshold());
    matcher->setUniquenessRatio(stereo.getUniquenessRatio());
    matcher->setSpeckleWindowSize(stereo.getSpeckleWindowSize());
    matcher->setSpeckleRange(stereo.getSpeckleRange());
    return matcher;
}

cv::Mat match(Stereo& stereo, Stereo::StereoAlgorithm algorithm, const cv::Mat& left,
              const cv::Mat& right) {
    stereo.setStereoAlgorithm(algorithm);
    return stereo.computeDisparity(left, right);
}

cv::Mat matchByOpenCv(const Stereo& stereo, Stereo::StereoAlgorithm algorithm, const cv::Mat& left,
                      const cv::Mat& right) {
    cv::Mat fixedPoint;
    makeMatcher(stereo, algorithm)->compute(left, right, fixedPoint);
    cv::Mat disparity;
    fixedPoint.convertTo(disparity, CV_32F, 1. / cv::StereoMatcher::DISP_SCALE);
    return disparity;
}

cv::Mat reprojectByOpenCv(const Workload& workload, const cv::Mat& disparity) {
    const float maxDepth = workload.stereo.getMaxDepth();
    cv::Mat points;
    cv::reprojectImageTo3D(disparity, points, workload.transform.reprojectionMatrix, false, CV_32F);
    for (auto& point : cv::Mat_<cv::Vec3f>(points)) {
        if (point[2] > maxDepth || point[2] < 0)
            point = cv::Vec3f(0, 0, 0);
    }
    points.setTo(cv::Scalar::all(0), disparity < workload.stereo.getMinDisparity());
    return points;
}

// The memory traffic of depth without its arithmetic: every disparity read once, three floats
// written for it.
cv::Mat copyThrice(const cv::Mat& disparity) {
    cv::Mat points(disparity.size(), CV_32FC3);
    const std::size_t bytes = disparity.elemSize() * static_cast<std::size_t>(disparity.cols);
    cv::parallel_for_(cv::Range(0, disparity.rows), [&](const cv::Range& rows) {
        for (int y = rows.start; y < rows.end; ++y) {
            for (std::size_t copy = 0; copy < 3; ++copy)
                std::memcpy(points.ptr(y) + copy * bytes, disparity.ptr(y), bytes);
        }
    });
    return points;
}

Stage makeMatchingStage(const std::string& name, const std::shared_ptr<Workload>& work,
                        Stereo::StereoAlgorithm algorithm) {
    return {name,
            [=]() -> Images { return {match(work->stereo, algorithm, work->left, work->right)}; },
            [=]() -> Images {
                return {matchByOpenCv(work->stereo, algorithm, work->left, work->right)};
            }};
}

Stage makeFullStage(const std::string& name, const std::shared_ptr<Workload>& work) {
    work->stereo.setFullDP(true);
    return makeMatchingStage(name, work, Stereo::SGBM);
}

// From raw frames to points.
Stage makeFrameStage(const std::string& name, const std::shared_ptr<Workload>& work,
                     Stereo::StereoAlgorithm algorithm) {
    return {
        name,
        [=]() -> Images {
            const Images pair = rectify(work->stereo, work->rawLeft, work->rawRight);
            return {work->stereo.computeDepth(match(work->stereo, algorithm, pair[0], pair[1]))};
        },
        [=]() -> Images {
            const Images pair = rectifyByOpenCv(work->transform, work->rawLeft, work->rawRight);
            return {
                reprojectByOpenCv(*work, matchByOpenCv(work->stereo, algorithm, pair[0], pair[1]))};
        }};
}

}  // namespace

Photographs readPhotographs(const std::string& folder) {
    return {readPhotograph(folder + "/aloeL.jpg"), readPhotograph(folder + "/aloeR.jpg")};
}

std::vector<Stage> makeStages(const Photographs& photographs, const StageOptions& options) {
    const std::shared_ptr<Workload> work = makeWorkload(photographs, options);
    return {{"rectification", [=] { return rectify(work->stereo, work->rawLeft, work->rawRight); },
             [=] { return rectifyByOpenCv(work->transform, work->rawLeft, work->rawRight); }},
            makeMatchingStage("disparity BM", work, Stereo::BM),
            makeMatchingStage("disparity SGBM", work, Stereo::SGBM),
            makeFullStage("disparity SGBM fullDP", makeWorkload(photographs, options)),
            {"depth", [=]() -> Images { return {work->stereo.computeDepth(work->disparity)}; },
             [=]() -> Images { return {reprojectByOpenCv(*work, work->disparity)}; }},
            {"depth beside copying",
             [=]() -> Images { return {work->stereo.computeDepth(work->disparity)}; },
             [=]() -> Images { return {copyThrice(work->disparity)}; }, false},
            makeFrameStage("frame BM", work, Stereo::BM),
            makeFrameStage("frame SGBM", work, Stereo::SGBM)};
}
