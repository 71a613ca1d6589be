#include "vision/stereo.hpp"

#include <cmath>
#include <opencv2/calib3d.hpp>
#include <opencv2/imgproc.hpp>
#include <stdexcept>
#include <string>

#include "block_matching.hpp"
#include "log_message.hpp"
#include "matching_kernels.hpp"
#include "matrix_checks.hpp"
#include "opencv_limits.hpp"
#include "reprojection.hpp"
#include "semi_global_matching.hpp"
#include "shared/adaptation.hpp"
#include "shared/truncation.hpp"

namespace vision {
namespace {

const tevo::log::Category* const category = tevo::log::addCategory("vision.stereo");

constexpr float defaultMaxDepth = 5.F;
constexpr auto defaultAlgorithm = Stereo::BM;
constexpr int defaultWindowSize = 21;
constexpr int defaultMinDisparity = 1;
constexpr int defaultDisparityNumber = 80;
constexpr int defaultPreFilterCap = 45;
constexpr int defaultPreFilterSize = 25;
constexpr int defaultSpeckleRange = 10;
constexpr int defaultSpeckleWindowSize = 400;
constexpr int defaultTextureThreshold = 1;
constexpr int defaultUniquenessRatio = 2;
constexpr int defaultP1 = 8 * defaultWindowSize * defaultWindowSize;
constexpr int defaultP2 = 32 * defaultWindowSize * defaultWindowSize;
constexpr int defaultDisp12MaxDiff = 0;
constexpr bool defaultFullDP = false;

// -`value`; the smallest int, whose negation no int can hold, stays as it is.
int wrappingNegation(int value) {
    return static_cast<int>(0U - static_cast<unsigned>(value));
}

// Pixel count as a 32-bit product that wraps instead of overflowing.
int wrappingArea(const cv::Size& size) {
    return static_cast<int>(static_cast<unsigned>(size.width) * static_cast<unsigned>(size.height));
}

bool precedesByArea(const cv::Size& a, const cv::Size& b) {
    return wrappingArea(a) < wrappingArea(b);
}

bool isOddWithin5And255(int value) {
    return value >= 5 && value <= 255 && value % 2 != 0;
}

std::string format(const cv::Size& size) {
    return "[" + std::to_string(size.width) + " x " + std::to_string(size.height) + "]";
}

// std::swap would copy every matrix.
void swap(Calibration& a, Calibration& b) {
    std::swap(a.width, b.width);
    std::swap(a.height, b.height);
    cv::swap(a.cameraMatrix, b.cameraMatrix);
    cv::swap(a.distortion, b.distortion);
    cv::swap(a.rectificationMatrix, b.rectificationMatrix);
    cv::swap(a.projectionMatrix, b.projectionMatrix);
}

// The rows and columns of a matrix with more dimensions are -1.
void checkTwoDimensional(const cv::Mat& image, const char* function) {
    if (image.dims > 2)
        refuse(category, function, "image has more than two dimensions, must have two");
}

void checkSameSize(const cv::Mat& left, const cv::Mat& right, const char* function) {
    if (left.size == right.size)
        return;
    logError(category, function, "Both images must have the same size.");
    throw std::invalid_argument("Both image don't have the same size.");
}

// Logs `pieces` as an error of `setter`, then throws `message`.
template <typename... Pieces>
[[noreturn]] void refuseValue(const char* setter, const char* message, const Pieces&... pieces) {
    logError(category, setter, pieces...);
    throw std::range_error(message);
}

// Calibrated width / image width, at least 1.
int computeReductionFactor(int calibratedWidth, int imageWidth) {
    constexpr auto function = "computeDisparity";
    if (imageWidth < 1) {
        refuse(category, function,
               "left image is " + std::to_string(imageWidth) +
                   " pixels wide, must be at least 1 pixel wide");
    }
    const int factor = calibratedWidth / imageWidth;
    if (factor < 1) {
        refuse(category, function,
               "left image is " + std::to_string(imageWidth) +
                   " pixels wide, must be at most as wide as the calibration, which is " +
                   std::to_string(calibratedWidth) + " pixels wide");
    }
    return factor;
}

BlockMatching makeBlockMatching(const Stereo& stereo, const AdaptedParameters& adapted) {
    BlockMatching settings{};
    settings.windowSize = adapted.windowSize;
    settings.minDisparity = adapted.minDisparity;
    settings.disparityNumber = adapted.disparityNumber;
    settings.preFilterCap = stereo.getPreFilterCap();
    settings.preFilterSize = stereo.getPreFilterSize();
    settings.textureThreshold = stereo.getTextureThreshold();
    settings.uniquenessRatio = stereo.getUniquenessRatio();
    settings.speckleWindowSize = adapted.speckleWindowSize;
    settings.speckleRange = adapted.speckleRange;
    return settings;
}

cv::Mat matchBlocksByFastest(const cv::Mat& left, const cv::Mat& right,
                             const BlockMatching& settings) {
    const InstructionSet instructionSet = findInstructionSet();
    if (canMatchBlocks(settings, left.size()) && isFasterThanOpenCv(settings, instructionSet) &&
        mayUseOwnKernels())
        return matchBlocks(left, right, settings, instructionSet);
    return matchBlocksByOpenCv(left, right, settings);
}

SemiGlobalMatching makeSemiGlobalMatching(const Stereo& stereo, const AdaptedParameters& adapted) {
    SemiGlobalMatching settings{};
    settings.windowSize = adapted.windowSize;
    settings.minDisparity = adapted.minDisparity;
    settings.disparityNumber = adapted.disparityNumber;
    settings.preFilterCap = stereo.getPreFilterCap();
    settings.uniquenessRatio = stereo.getUniquenessRatio();
    settings.speckleWindowSize = adapted.speckleWindowSize;
    settings.speckleRange = adapted.speckleRange;
    settings.P1 = adapted.P1;
    settings.P2 = adapted.P2;
    settings.disp12MaxDiff = stereo.getDisp12MaxDiff();
    settings.fullDP = stereo.getFullDP();
    return settings;
}

cv::Mat matchSemiGloballyByFastest(const cv::Mat& left, const cv::Mat& right,
                                   const SemiGlobalMatching& settings) {
    if (canMatchSemiGlobally(settings, left.size()) && isSemiGlobalFasterThanOpenCv() &&
        mayUseOwnKernels())
        return matchSemiGlobally(left, right, settings);
    return matchSemiGloballyByOpenCv(left, right, settings);
}

void checkLimits(const std::string& complaint) {
    if (!complaint.empty())
        refuse(category, "computeDisparity", complaint);
}

// Converts the fixed-point numbers that `match` gives to pixels.
//
// Block matching could write floats itself, but OpenCV 4 then refuses the speckle filter and works
// with 8 fractional bits instead of 4.
template <typename Match>
cv::Mat toPixels(const Match& match) {
    try {
        cv::Mat disparity;
        match().convertTo(disparity, CV_32F, 1. / cv::StereoMatcher::DISP_SCALE);
        return disparity;
    } catch (const std::exception& exception) {
        logError(category, "computeDisparity",
                 "Error in block matching algorithm: ", exception.what());
        throw;
    }
}

void computeMaps(const Calibration& calibration, const cv::Size& size, cv::Mat& mapX,
                 cv::Mat& mapY) {
    const cv::Mat newCameraMatrix(calibration.projectionMatrix, cv::Range::all(), cv::Range(0, 3));
    cv::initUndistortRectifyMap(calibration.cameraMatrix, calibration.distortion,
                                calibration.rectificationMatrix, newCameraMatrix, size, CV_32FC1,
                                mapX, mapY);
}

cv::Mat computeReprojectionMatrix(const cv::Mat& leftProjection, const cv::Mat& rightProjection) {
    const float focalLength = leftProjection.at<float>(0, 0);
    const float cx = leftProjection.at<float>(0, 2);
    const float cy = leftProjection.at<float>(1, 2);
    const float cxRight = rightProjection.at<float>(0, 2);
    const float tx = rightProjection.at<float>(0, 3) / focalLength;
    // clang-format off
    return (cv::Mat_<float>(4, 4) <<
        1.F, 0.F, 0.F,       -cx,
        0.F, 1.F, 0.F,       -cy,
        0.F, 0.F, 0.F,       focalLength,
        0.F, 0.F, -1.F / tx, (cx - cxRight) / tx);
    // clang-format on
}

}  // namespace

Stereo::Stereo()
    : _maxDepth(defaultMaxDepth),
      _stereoAlgorithm(defaultAlgorithm),
      _windowSize(defaultWindowSize),
      _minDisparity(defaultMinDisparity),
      _disparityNumber(defaultDisparityNumber),
      _preFilterCap(defaultPreFilterCap),
      _preFilterSize(defaultPreFilterSize),
      _speckleRange(defaultSpeckleRange),
      _speckleWindowSize(defaultSpeckleWindowSize),
      _textureThreshold(defaultTextureThreshold),
      _uniquenessRatio(defaultUniquenessRatio),
      _P1(defaultP1),
      _P2(defaultP2),
      _disp12MaxDiff(defaultDisp12MaxDiff),
      _fullDP(defaultFullDP),
      _transforms(precedesByArea) {}

Stereo::~Stereo() = default;

void Stereo::setCalibrations(const Calibration& left, const Calibration& right) {
    constexpr auto function = "setCalibrations";
    if (left.width != right.width || left.height != right.height) {
        logError(category, function, "Left and Right calibration don't have the same size.",
                 " left: ", left.width, "x", left.height, " right: ", right.width, "x",
                 right.height);
        throw std::invalid_argument("Calibrations don't have the same size.");
    }
    if (!holdsFloats(left.projectionMatrix, 1, 4))
        refuse(category, function, complaint("left projectionMatrix", left.projectionMatrix, 1, 4));
    if (!holdsFloats(right.projectionMatrix, 1, 4)) {
        refuse(category, function,
               complaint("right projectionMatrix", right.projectionMatrix, 1, 4));
    }

    // Copied before anything is stored, so that the object stays as it was when memory runs out.
    Calibration leftCopy(left);
    Calibration rightCopy(right);
    swap(_leftCalibration, leftCopy);
    swap(_rightCalibration, rightCopy);
    _transforms.clear();

    const auto* leftRow = _leftCalibration.projectionMatrix.ptr<float>();
    const auto* rightRow = _rightCalibration.projectionMatrix.ptr<float>();
    const float farthestDisparity = leftRow[2] - rightRow[2] - rightRow[3] / _maxDepth;
    setMinDisparity(truncateToInt(std::floor(farthestDisparity)));
}

std::pair<Calibration, Calibration> Stereo::getCalibrations() const {
    return {_leftCalibration, _rightCalibration};
}

std::pair<cv::Mat, cv::Mat> Stereo::rectifyImages(const cv::Mat& left, const cv::Mat& right) const {
    constexpr auto function = "rectifyImages";
    checkSameSize(left, right, function);
    if (left.type() != right.type()) {
        logError(category, function, "Both images must have the same type.");
        throw std::invalid_argument("Both images don't have the same type.");
    }
    cv::Mat rectifiedLeft = _rectifyImage(left, LEFT);
    cv::Mat rectifiedRight = _rectifyImage(right, RIGHT);
    return {std::move(rectifiedLeft), std::move(rectifiedRight)};
}

cv::Mat Stereo::rectifyImageLeft(const cv::Mat& image) const {
    return _rectifyImage(image, LEFT);
}

cv::Mat Stereo::rectifyImageRight(const cv::Mat& image) const {
    return _rectifyImage(image, RIGHT);
}

cv::Mat Stereo::computeDisparity(const cv::Mat& left, const cv::Mat& right) const {
    constexpr auto function = "computeDisparity";
    checkSameSize(left, right, function);
    if (left.type() != right.type() || left.type() != CV_8UC1)
        throw std::invalid_argument("Wrong rectify type, need CV_8UC1 rectify.");
    if (_stereoAlgorithm != BM && _stereoAlgorithm != SGBM)
        return {};

    checkTwoDimensional(left, function);
    const AdaptedParameters adapted =
        adapt(*this, computeReductionFactor(_leftCalibration.width, left.cols));
    if (_stereoAlgorithm == SGBM) {
        checkLimits(complaintAboutSemiGlobalMatching(adapted, left.size()));
        logVerbose(category, function, "Compute block matcher (SGBM)...");
        const SemiGlobalMatching settings = makeSemiGlobalMatching(*this, adapted);
        return toPixels([&] { return matchSemiGloballyByFastest(left, right, settings); });
    }
    checkLimits(complaintAboutBlockMatching(adapted, left.size()));
    logVerbose(category, function, "Compute block matcher...");
    const BlockMatching settings = makeBlockMatching(*this, adapted);
    return toPixels([&] { return matchBlocksByFastest(left, right, settings); });
}

cv::Mat Stereo::computeDepth(const cv::Mat& disparity) const {
    constexpr auto function = "computeDepth";
    if (disparity.type() != CV_32FC1)
        throw std::invalid_argument("Wrong disparity image type, need CV_32FC1.");
    checkTwoDimensional(disparity, function);
    const ImageTransform& transform =
        _findOrComputeTransform(cv::Size(disparity.cols, disparity.rows), function);
    logVerbose(category, function, "Reproject to 3D...");
    const float widthRatio =
        static_cast<float>(disparity.cols) / static_cast<float>(_leftCalibration.width);
    const float minDisparity = static_cast<float>(_minDisparity) * widthRatio;
    return reproject(disparity, transform.reprojectionMatrix, _maxDepth, minDisparity);
}

Stereo::ImageTransform Stereo::computeImageTransforms(const cv::Size& size) const {
    if (_leftCalibration.width == 0 && _leftCalibration.height == 0) {
        refuse(category, "computeImageTransforms",
               "calibrations are 0x0, must be set before images of " + format(size) +
                   " are processed");
    }
    ImageTransform transform;
    const Calibration left = _leftCalibration.scaleTo(size.width, size.height);
    computeMaps(left, size, transform.leftMapX, transform.leftMapY);
    const Calibration right = _rightCalibration.scaleTo(size.width, size.height);
    computeMaps(right, size, transform.rightMapX, transform.rightMapY);
    transform.reprojectionMatrix =
        computeReprojectionMatrix(left.projectionMatrix, right.projectionMatrix);
    return transform;
}

cv::Mat Stereo::_rectifyImage(const cv::Mat& image, ImageIndex index) const {
    constexpr auto function = "_rectifyImage";
    checkTwoDimensional(image, function);
    const ImageTransform& transform =
        _findOrComputeTransform(cv::Size(image.cols, image.rows), function);
    const cv::Mat& mapX = index == LEFT ? transform.leftMapX : transform.rightMapX;
    const cv::Mat& mapY = index == LEFT ? transform.leftMapY : transform.rightMapY;
    cv::Mat rectified;
    cv::remap(image, rectified, mapX, mapY, cv::INTER_LINEAR, cv::BORDER_CONSTANT,
              cv::Scalar::all(0));
    return rectified;
}

const Stereo::ImageTransform& Stereo::_findOrComputeTransform(const cv::Size& size,
                                                              const char* function) const {
    const auto found = _transforms.find(size);
    if (found != _transforms.end())
        return found->second;
    logVerbose(category, function, "Compute transforms for resolution ", "[", size.width, " x ",
               size.height, "]");
    return _transforms.emplace(size, computeImageTransforms(size)).first->second;
}

void Stereo::resetAllParameters() {
    _windowSize = defaultWindowSize;
    setMinDisparity(defaultMinDisparity);
    _disparityNumber = defaultDisparityNumber;
    _preFilterCap = defaultPreFilterCap;
    _preFilterSize = defaultPreFilterSize;
    _speckleRange = defaultSpeckleRange;
    _speckleWindowSize = defaultSpeckleWindowSize;
    _textureThreshold = defaultTextureThreshold;
    _uniquenessRatio = defaultUniquenessRatio;
    _P1 = defaultP1;
    _P2 = defaultP2;
    _disp12MaxDiff = defaultDisp12MaxDiff;
    _fullDP = defaultFullDP;
}

float Stereo::getMaxDepth() const {
    return _maxDepth;
}

void Stereo::setMaxDepth(float maxDepth) {
    if (0.F >= maxDepth)
        refuseValue("setMaxDepth", "Invalid distance.", "Distance must be positive.");
    _maxDepth = maxDepth;
}

Stereo::StereoAlgorithm Stereo::getStereoAlgorithm() const {
    return _stereoAlgorithm;
}

void Stereo::setStereoAlgorithm(const StereoAlgorithm& algorithm) {
    _stereoAlgorithm = algorithm;
}

int Stereo::getWindowSize() const {
    return _windowSize;
}

void Stereo::setWindowSize(int windowSize) {
    if (!isOddWithin5And255(windowSize)) {
        refuseValue("setWindowSize", "Invalid window size.", "Invalid window size (", windowSize,
                    ").");
    }
    _windowSize = windowSize;
}

int Stereo::getMinDisparity() const {
    return _minDisparity;
}

void Stereo::setMinDisparity(int minDisparity) {
    if (minDisparity > _leftCalibration.width ||
        minDisparity < wrappingNegation(_leftCalibration.width)) {
        refuseValue("setMinDisparity", "Invalid min disparity.", "Invalid min disparity (",
                    minDisparity, ").");
    }
    _minDisparity = minDisparity;
}

int Stereo::getDisparityNumber() const {
    return _disparityNumber;
}

void Stereo::setDisparityNumber(int disparityNumber) {
    if (disparityNumber <= 0 || disparityNumber % 16 != 0) {
        refuseValue("setDisparityNumber", "Invalid disparity number.", "Invalid disparity number (",
                    disparityNumber, "), must be multiple of 16 and strictly positive.");
    }
    _disparityNumber = disparityNumber;
}

int Stereo::getPreFilterCap() const {
    return _preFilterCap;
}

void Stereo::setPreFilterCap(int preFilterCap) {
    if (preFilterCap < 1 || preFilterCap > 63) {
        refuseValue("setPreFilterCap", "Invalid prefilter cap.", "Invalid Prefilter cap (",
                    preFilterCap, ").");
    }
    _preFilterCap = preFilterCap;
}

int Stereo::getPreFilterSize() const {
    return _preFilterSize;
}

void Stereo::setPreFilterSize(int preFilterSize) {
    if (!isOddWithin5And255(preFilterSize)) {
        refuseValue("setPreFilterSize", "Invalid prefilter size.", "Invalid Prefilter size (",
                    preFilterSize, ").");
    }
    _preFilterSize = preFilterSize;
}

int Stereo::getSpeckleRange() const {
    return _speckleRange;
}

void Stereo::setSpeckleRange(int speckleRange) {
    if (speckleRange < 0 || speckleRange > 31) {
        refuseValue("setSpeckleRange", "Invalid speckle range.", "Invalid Speckle range (",
                    speckleRange, ").");
    }
    _speckleRange = speckleRange;
}

int Stereo::getSpeckleWindowSize() const {
    return _speckleWindowSize;
}

void Stereo::setSpeckleWindowSize(int speckleWindowSize) {
    if (speckleWindowSize < 0 || speckleWindowSize > 1000) {
        refuseValue("setSpeckleWindowSize", "Invalid speckle window size.",
                    "Invalid Speckle window size (", speckleWindowSize, ").");
    }
    _speckleWindowSize = speckleWindowSize;
}

int Stereo::getTextureThreshold() const {
    return _textureThreshold;
}

void Stereo::setTextureThreshold(int textureThreshold) {
    if (textureThreshold < 0 || textureThreshold > 10000) {
        refuseValue("setTextureThreshold", "Invalid texture threshold.",
                    "Invalid Texture threshold (", textureThreshold, ").");
    }
    _textureThreshold = textureThreshold;
}

int Stereo::getUniquenessRatio() const {
    return _uniquenessRatio;
}

void Stereo::setUniquenessRatio(int uniquenessRatio) {
    if (uniquenessRatio < 0 || uniquenessRatio > 100) {
        refuseValue("setUniquenessRatio", "Invalid uniqueness ratio.", "Invalid Uniqueness ratio (",
                    uniquenessRatio, ").");
    }
    _uniquenessRatio = uniquenessRatio;
}

int Stereo::getP1() const {
    return _P1;
}

void Stereo::setP1(int P1) {
    if (P1 < 0)
        refuseValue("setP1", "Invalid P1.", "Invalid value for P1 (", P1, ").");
    _P1 = P1;
}

int Stereo::getP2() const {
    return _P2;
}

void Stereo::setP2(int P2) {
    if (P2 < 0)
        refuseValue("setP2", "Invalid P2.", "Invalid value for P2 (", P2, ").");
    _P2 = P2;
}

int Stereo::getDisp12MaxDiff() const {
    return _disp12MaxDiff;
}

void Stereo::setDisp12MaxDiff(int disp12MaxDiff) {
    _disp12MaxDiff = disp12MaxDiff;
}

bool Stereo::getFullDP() const {
    return _fullDP;
}

void Stereo::setFullDP(bool fullDP) {
    _fullDP = fullDP;
}

}  // namespace vision
