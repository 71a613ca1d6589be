// Drives a whole `Stereo` from bytes: parameters, calibrations, frames, disparities.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstring>
#include <vision/stereo.hpp>

#include "support/rigs.hpp"

namespace {

using Bytes = FuzzedDataProvider;
using tiomipra::test::CalibrationPair;
using tiomipra::test::makeRig;
using tiomipra::test::RigOptions;

// Stops the fuzzer: a result that the documentation rules out.
void require(bool holds) {
    if (!holds)
        __builtin_trap();
}

template <typename Operation>
void tolerateRefusal(Operation operation) {
    try {
        operation();
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): a refusal is a fine answer.
    }
}

// Mostly a plausible number, else any bit pattern: NaN, infinities, denormals.
float takeFloat(Bytes& bytes) {
    if (bytes.ConsumeIntegralInRange(0, 7) != 0)
        return bytes.ConsumeFloatingPointInRange(-100.F, 100.F);
    const auto bits = bytes.ConsumeIntegral<std::uint32_t>();
    float value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

// Fills `matrix`, of any type and shape, with raw bytes, repeated if they don't suffice.
void fill(Bytes& bytes, cv::Mat& matrix) {
    const auto pattern = bytes.ConsumeBytes<std::uint8_t>(64);
    const std::size_t size = matrix.total() * matrix.elemSize();
    for (std::size_t i = 0; i < size && !pattern.empty(); ++i)
        matrix.data[i] = pattern[i % pattern.size()] + static_cast<std::uint8_t>(i / 64);
}

cv::Mat takeOddMatrix(Bytes& bytes) {
    const int type =
        CV_MAKETYPE(bytes.ConsumeIntegralInRange(0, CV_16F), bytes.ConsumeIntegralInRange(1, 6));
    int sizes[4];
    for (int& size : sizes)
        size = bytes.ConsumeIntegralInRange(0, 15);
    cv::Mat matrix(bytes.ConsumeIntegralInRange(0, 4), sizes, type);
    fill(bytes, matrix);
    return matrix;
}

// Keeps `matrix`, unless the bytes want another type, shape or element.
void change(Bytes& bytes, cv::Mat& matrix) {
    const int choice = bytes.ConsumeIntegralInRange(0, 15);
    if (choice == 0)
        matrix = takeOddMatrix(bytes);
    else if (choice == 1)
        matrix.convertTo(matrix, CV_64F);
    else if (choice == 2)
        matrix = cv::Mat::zeros(matrix.rows, bytes.ConsumeIntegralInRange(0, 14), CV_32F);
    else if (choice > 8) {
        matrix.at<float>(bytes.ConsumeIntegralInRange(0, matrix.rows - 1),
                         bytes.ConsumeIntegralInRange(0, matrix.cols - 1)) = takeFloat(bytes);
    }
}

// Mostly small, sometimes any 32-bit number.
int takeInt(Bytes& bytes, int low, int high) {
    return bytes.ConsumeIntegralInRange(0, 15) == 0 ? bytes.ConsumeIntegral<int>()
                                                    : bytes.ConsumeIntegralInRange(low, high);
}

void setCalibrations(Bytes& bytes, vision::Stereo& stereo, const cv::Size& usual) {
    const auto centre = cv::Point2f(usual) / 2;
    RigOptions options{usual, 50.F, centre, centre.x, 0.5F};
    options.isDistorted = bytes.ConsumeBool();
    CalibrationPair rig = makeRig(options);
    rig.left.width = rig.right.width = takeInt(bytes, usual.width, usual.width);
    rig.left.height = rig.right.height = takeInt(bytes, usual.height, usual.height);
    for (vision::Calibration* camera : {&rig.left, &rig.right}) {
        change(bytes, camera->cameraMatrix);
        change(bytes, camera->distortion);
        change(bytes, camera->rectificationMatrix);
        change(bytes, camera->projectionMatrix);
    }
    stereo.setCalibrations(rig.left, rig.right);
}

void setParameters(Bytes& bytes, vision::Stereo& stereo) {
    using vision::Stereo;
    tolerateRefusal([&] { stereo.setMaxDepth(takeFloat(bytes)); });
    stereo.setStereoAlgorithm(
        static_cast<Stereo::StereoAlgorithm>(bytes.ConsumeIntegralInRange(0, 2)));
    tolerateRefusal([&] { stereo.setWindowSize(takeInt(bytes, 4, 41) | 1); });
    tolerateRefusal([&] { stereo.setMinDisparity(takeInt(bytes, -70, 70)); });
    tolerateRefusal([&] { stereo.setDisparityNumber(takeInt(bytes, 16, 95) & ~15); });
    tolerateRefusal([&] { stereo.setPreFilterCap(takeInt(bytes, 1, 63)); });
    tolerateRefusal([&] { stereo.setPreFilterSize(takeInt(bytes, 5, 255)); });
    tolerateRefusal([&] { stereo.setSpeckleRange(takeInt(bytes, 0, 31)); });
    tolerateRefusal([&] { stereo.setSpeckleWindowSize(takeInt(bytes, 0, 1000)); });
    tolerateRefusal([&] { stereo.setTextureThreshold(takeInt(bytes, 0, 10000)); });
    tolerateRefusal([&] { stereo.setUniquenessRatio(takeInt(bytes, 0, 100)); });
    tolerateRefusal([&] { stereo.setP1(takeInt(bytes, 0, 5000)); });
    tolerateRefusal([&] { stereo.setP2(takeInt(bytes, 0, 20000)); });
    stereo.setDisp12MaxDiff(takeInt(bytes, -1, 3));
    stereo.setFullDP(bytes.ConsumeBool());
}

cv::Mat takeImage(Bytes& bytes, const cv::Size& size, int type) {
    if (bytes.ConsumeIntegralInRange(0, 31) == 0)
        return takeOddMatrix(bytes);
    cv::Mat image(size, type);
    fill(bytes, image);
    return image;
}

void rectify(Bytes& bytes, const vision::Stereo& stereo, const cv::Size& size) {
    const int type =
        CV_MAKETYPE(bytes.ConsumeIntegralInRange(0, CV_16F), bytes.ConsumeIntegralInRange(1, 5));
    const cv::Mat left = takeImage(bytes, size, type);
    const cv::Mat right = takeImage(bytes, size, type);
    const auto [rectifiedLeft, rectifiedRight] = stereo.rectifyImages(left, right);
    require(rectifiedLeft.type() == left.type() && rectifiedRight.size == rectifiedLeft.size);
}

void match(Bytes& bytes, const vision::Stereo& stereo, const cv::Size& size) {
    const cv::Mat left = takeImage(bytes, size, CV_8UC1);
    const cv::Mat right = takeImage(bytes, size, CV_8UC1);
    const cv::Mat disparity = stereo.computeDisparity(left, right);
    require(disparity.empty() || (disparity.type() == CV_32FC1 && disparity.size == left.size));
    // Nothing of it may come from outside of the images.
    const cv::Mat again = stereo.computeDisparity(left, right);
    require(again.size == disparity.size &&
            (disparity.empty() || cv::norm(disparity, again, cv::NORM_INF) == 0));
}

void measure(Bytes& bytes, const vision::Stereo& stereo, const cv::Size& size) {
    const cv::Mat disparity = takeImage(bytes, size, CV_32FC1);
    const cv::Mat points = stereo.computeDepth(disparity);
    require(points.type() == CV_32FC3 && points.size == disparity.size);
    for (const auto& point : cv::Mat_<cv::Vec3f>(points))
        require(!(point[2] > stereo.getMaxDepth()) && !(point[2] < 0));
}

cv::Size takeSize(Bytes& bytes) {
    return {bytes.ConsumeIntegralInRange(0, 120), bytes.ConsumeIntegralInRange(0, 40)};
}

// The calibrated size, an eighth to the double of it, or any other.
cv::Size takeFrameSize(Bytes& bytes, const cv::Size& calibrated) {
    const int eighths = bytes.ConsumeIntegralInRange(0, 16);
    return eighths == 0 ? takeSize(bytes)
                        : cv::Size(calibrated.width * eighths / 8, calibrated.height * eighths / 8);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr decltype(&match) operations[] = {rectify, match, measure};
    Bytes bytes(data, size);
    vision::Stereo stereo;
    cv::Size calibrated(64, 32);
    while (bytes.remaining_bytes() > 0) {
        tolerateRefusal([&] {
            const int choice = bytes.ConsumeIntegralInRange(0, 5);
            if (choice == 0)
                setCalibrations(bytes, stereo, calibrated);
            else if (choice == 1)
                setParameters(bytes, stereo);
            else if (choice < 5)
                operations[choice - 2](bytes, stereo, takeFrameSize(bytes, calibrated));
            else
                calibrated = takeSize(bytes);
        });
    }
    return 0;
}
