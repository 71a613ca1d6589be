/// @file
/// From the two images of a calibrated stereo pair to depth: rectification, disparity, 3D points.
///
/// Pixel (0, 0) is the centre of the top left pixel; x runs right along the columns, y down along
/// the rows. Points are in the frame of the rectified left camera: X right, Y down, Z forward, in
/// the unit of the calibrations' projection matrices.
///
/// @code
/// vision::Calibration left, right;
/// left.load("rig/left.yml");
/// right.load("rig/right.yml");
///
/// vision::Stereo stereo;
/// stereo.setMaxDepth(5.f);
/// stereo.setCalibrations(left, right);  // sets the minimum disparity, that of the maximum depth
/// stereo.setDisparityNumber(176);       // how near: focal length * baseline / largest disparity
///
/// auto [rectifiedLeft, rectifiedRight] = stereo.rectifyImages(leftImage, rightImage);
/// cv::Mat disparity = stereo.computeDisparity(rectifiedLeft, rectifiedRight);
/// cv::Mat points = stereo.computeDepth(disparity);  // CV_32FC3, (0, 0, 0): nothing was measured
/// @endcode
///
/// Images may have the calibrated size or another of the same aspect ratio: any for rectification
/// and depth, up to the calibrated one for matching (see `computeDisparity`).
///
/// Calls on one object must be serialised by the caller, those of const operations too: they fill a
/// cache without a lock. `computeDisparity` alone may run several times at once on one object, as
/// it only reads. Separate objects are independent.
#ifndef VISION_STEREO_HPP
#define VISION_STEREO_HPP

#include <functional>
#include <map>
#include <opencv2/core.hpp>
#include <utility>

#include "vision/calibration.hpp"
#include "vision/export.hpp"

namespace vision {

/// A calibrated stereo pair: its calibrations, the matcher's parameters and the rectification maps
/// of every image size met so far.
///
/// Every setter that refuses a value throws `std::range_error` and leaves the object as it was; the
/// accepted values stand with each. What the library refuses itself is an error in the log category
/// "vision.stereo" as well ("vision.stereo.calibration" where a calibration can't be scaled),
/// except for the two checks of an image's type.
class TIOMIPRA_EXPORT Stereo {
  public:
    /// The matcher that `computeDisparity` runs.
    enum StereoAlgorithm : int {
        BM = 0,   ///< Block matching, `cv::StereoBM`.
        SGBM = 1  ///< Semi-global block matching, `cv::StereoSGBM`.
    };

    /// The camera that an image comes from.
    enum ImageIndex : int {
        LEFT = 0,  ///< The left camera.
        RIGHT = 1  ///< The right camera.
    };

    /// All that depends on the image size: the remap tables of both cameras and the reprojection.
    ///
    /// A map gives for each pixel of the rectified image the x or y coordinate in the raw image
    /// from which it is sampled, in pixels: `CV_32FC1`, with the rows and columns of the images.
    /// Copies share their buffers.
    struct ImageTransform {
        cv::Mat leftMapX;   ///< Column in the raw left image.
        cv::Mat leftMapY;   ///< Row in the raw left image.
        cv::Mat rightMapX;  ///< Column in the raw right image.
        cv::Mat rightMapY;  ///< Row in the raw right image.
        /// `CV_32FC1` 4x4: (x, y, disparity, 1) to homogeneous (X, Y, Z, W).
        cv::Mat reprojectionMatrix;
    };

    /// An uncalibrated pair with default parameters.
    ///
    /// The minimum disparity is 1, although `setMinDisparity(1)` is refused until calibrations are
    /// set.
    Stereo();
    Stereo(const Stereo&) = delete;
    Stereo& operator=(const Stereo&) = delete;
    virtual ~Stereo();

    /// @name Calibrations
    /// @{

    /// Stores copies of both calibrations, empties the cache of transforms and sets the minimum
    /// disparity to that of a point at the maximum depth.
    ///
    /// That disparity is floor(cxLeft - cxRight - Tx / maxDepth), with cx = (0,2) of each
    /// projection matrix and Tx = (0,3) of the right one, which is minus focal length times
    /// baseline. A later `setMaxDepth` does not change it: set the maximum depth first.
    ///
    /// @throws std::invalid_argument when the two sizes differ, or a projection matrix is not
    ///         `CV_32FC1` of at least 1x4; nothing is stored then.
    /// @throws std::range_error when the minimum disparity does not lie within minus and plus the
    ///         width; the calibrations *are* stored then, and the minimum disparity is unchanged.
    void setCalibrations(const Calibration& left, const Calibration& right);

    /// Copies of the left and the right calibration.
    std::pair<Calibration, Calibration> getCalibrations() const;
    /// @}

    /// @name Frames
    /// @{

    /// Warps both images so that a point of the scene lies on the same row of each.
    ///
    /// Builds the maps on the first image of a new size and reuses them afterwards. Bilinear
    /// interpolation; pixels that the raw image does not show are 0. The maps are found by pixel
    /// count: an image that has as many pixels as one seen before gets the same maps, and a result
    /// of their size, whatever its own shape.
    ///
    /// @param left   raw image of the left camera: any type that `cv::remap` takes, the calibrated
    ///               size or another of the same aspect ratio
    /// @param right  raw image of the right camera, of the same size and type
    /// @return the rectified left and right image, of the type of the inputs, in buffers of their
    ///         own
    /// @throws std::invalid_argument when sizes or types differ, when the aspect ratio is not the
    ///         calibrations', or when the calibrations can't be scaled (`Calibration::scaleTo`)
    /// @throws cv::Exception when OpenCV refuses the calibrations' matrices or the images, as it
    ///         does empty ones
    std::pair<cv::Mat, cv::Mat> rectifyImages(const cv::Mat& left, const cv::Mat& right) const;

    /// Rectifies one image of the left camera; see `rectifyImages`.
    cv::Mat rectifyImageLeft(const cv::Mat& image) const;

    /// Rectifies one image of the right camera; see `rectifyImages`.
    cv::Mat rectifyImageRight(const cv::Mat& image) const;

    /// Matches a rectified pair.
    ///
    /// The parameters hold for images of the calibrated width; for narrower ones they are adapted
    /// by the reduction factor F = calibrated width / image width (integer division) and the
    /// pyramid level L = round(log2 F): minimum disparity, speckle window size and speckle range
    /// are divided by F, the window loses F pixels if F is not 1, the number of disparities loses
    /// 16 L but keeps 16, and P1 and P2 shrink with the square of the window. An odd F of 3 or more
    /// makes the window even, which block matching refuses.
    ///
    /// @param left   rectified left image, `CV_8UC1`, at most as wide as the calibration
    /// @param right  rectified right image, same size and type
    /// @return `CV_32FC1` of the same size: disparities of the left image's pixels in pixels of
    ///         this image, in steps of 1/16; below the (adapted) minimum disparity where there is
    ///         no match. With `BM`, a positive minimum disparity and no speckle filter, OpenCV
    ///         leaves stray values in columns left of the largest disparity, where nothing can
    ///         be matched. Empty when the algorithm is neither `BM` nor `SGBM`.
    /// @throws std::invalid_argument when sizes differ, an image is not `CV_8UC1`, the image has no
    ///         columns or is wider than the calibration, or no calibrations are set; also when the
    ///         adapted parameters go beyond what the matcher can compute without overflow or
    ///         reading outside of the image: disparities beyond -2047 and 2047, a semi-global
    ///         window twice as wide as the columns that all disparities reach, images of more than
    ///         32767 rows or columns with the speckle filter
    /// @throws cv::Exception when the matcher refuses the adapted parameters
    cv::Mat computeDisparity(const cv::Mat& left, const cv::Mat& right) const;

    /// Turns a disparity image into points.
    ///
    /// (X, Y, Z) is (X', Y', Z') / W of the product of the reprojection matrix and (x, y,
    /// disparity, 1), to the last bit what `cv::reprojectImageTo3D` gives. Points with Z above the
    /// maximum depth or below 0 become (0, 0, 0), and so do those whose disparity lies below the
    /// minimum disparity times image width / calibrated width. A Z that is not a number stays.
    ///
    /// @param disparity  `CV_32FC1`, pixels, of the calibrated size or another of the same aspect
    ///                   ratio, as `computeDisparity` gives it
    /// @return `CV_32FC3` of the same size: X right, Y down, Z forward, in the unit of the
    ///         projection matrices; (0, 0, 0) where nothing was measured
    /// @throws std::invalid_argument for another type, another aspect ratio, or without
    ///         calibrations
    /// @throws cv::Exception when OpenCV refuses the calibrations' matrices
    cv::Mat computeDepth(const cv::Mat& disparity) const;

    /// Builds the maps and the reprojection matrix for images of `size`; does not touch the cache.
    ///
    /// Maps: `cv::initUndistortRectifyMap` on each calibration scaled to `size`. The reprojection
    /// matrix, with f, cx, cy of the left projection matrix, cx' = (0,2) of the right one and Tx =
    /// its (0,3) / f (minus the baseline):
    ///
    ///     1  0  0      -cx
    ///     0  1  0      -cy
    ///     0  0  0       f
    ///     0  0  -1/Tx   (cx - cx')/Tx
    ///
    /// @throws std::invalid_argument without calibrations, for another aspect ratio, or when the
    ///         calibrations can't be scaled (`Calibration::scaleTo`)
    /// @throws cv::Exception when OpenCV refuses the calibrations' matrices
    ImageTransform computeImageTransforms(const cv::Size& size) const;
    /// @}

    /// @name Parameters
    /// The defaults suit block matching at 640x480. No parameter depends on another.
    /// @{

    /// Puts the matcher's parameters back to their defaults; maximum depth, algorithm and
    /// calibrations stay.
    /// @throws std::range_error before calibrations are set, as the default minimum disparity of 1
    ///         is then refused; only the window size has been reset by then.
    void resetAllParameters();

    /// Points farther away than this are removed, in the unit of the calibrations; default 5.
    float getMaxDepth() const;
    /// @throws std::range_error unless `maxDepth` is above 0 (infinity and NaN are accepted; a NaN
    ///         removes nothing but makes the next `setCalibrations` fail).
    void setMaxDepth(float maxDepth);

    /// The matcher; default `BM`.
    StereoAlgorithm getStereoAlgorithm() const;
    /// Accepts anything; with neither `BM` nor `SGBM`, `computeDisparity` gives an empty image.
    void setStereoAlgorithm(const StereoAlgorithm& algorithm);

    /// Side in pixels of the block that is compared; default 21.
    int getWindowSize() const;
    /// @throws std::range_error unless `windowSize` is odd and from 5 to 255.
    void setWindowSize(int windowSize);

    /// Smallest disparity searched, in pixels; default 1, set anew by `setCalibrations`.
    int getMinDisparity() const;
    /// @throws std::range_error unless `minDisparity` lies within minus and plus the calibrated
    ///         width (0 before calibrations are set).
    void setMinDisparity(int minDisparity);

    /// How many disparities are searched, from the minimum up; default 80.
    int getDisparityNumber() const;
    /// @throws std::range_error unless `disparityNumber` is a positive multiple of 16.
    void setDisparityNumber(int disparityNumber);

    /// Bound of the pre-filtered (horizontal gradient) values; default 45.
    int getPreFilterCap() const;
    /// @throws std::range_error unless `preFilterCap` is from 1 to 63.
    void setPreFilterCap(int preFilterCap);

    /// Window of block matching's other pre-filter, the normalised response; default 25. Passed on,
    /// but without effect: OpenCV's default pre-filter is the horizontal gradient.
    int getPreFilterSize() const;
    /// @throws std::range_error unless `preFilterSize` is odd and from 5 to 255.
    void setPreFilterSize(int preFilterSize);

    /// Disparity step that ends a connected region in the speckle filter; default 10.
    ///
    /// In OpenCV's own units: whole pixels for `SGBM`, sixteenths for `BM`.
    int getSpeckleRange() const;
    /// @throws std::range_error unless `speckleRange` is from 0 to 31.
    void setSpeckleRange(int speckleRange);

    /// Regions of at most this many pixels are removed; 0 turns the filter off; default 400.
    int getSpeckleWindowSize() const;
    /// @throws std::range_error unless `speckleWindowSize` is from 0 to 1000.
    void setSpeckleWindowSize(int speckleWindowSize);

    /// Blocks with less texture than this are not matched, block matching only; default 1.
    int getTextureThreshold() const;
    /// @throws std::range_error unless `textureThreshold` is from 0 to 10000.
    void setTextureThreshold(int textureThreshold);

    /// Percent by which the best match must beat the others; default 2.
    int getUniquenessRatio() const;
    /// @throws std::range_error unless `uniquenessRatio` is from 0 to 100.
    void setUniquenessRatio(int uniquenessRatio);

    /// Cost of a disparity change by 1 between neighbours, semi-global only; default 8 * 21 * 21.
    ///
    /// The matcher computes with 16 bits: P1 and P2, as adapted to the image's width, should stay
    /// below 32768, and so should the sum of a block's costs with them.
    int getP1() const;
    /// @throws std::range_error unless `P1` is 0 or more.
    void setP1(int P1);

    /// Cost of a larger disparity change, semi-global only; default 32 * 21 * 21; see `getP1`.
    int getP2() const;
    /// @throws std::range_error unless `P2` is 0 or more.
    void setP2(int P2);

    /// Largest accepted difference between left-right and right-left disparity in pixels,
    /// semi-global only; default 0. OpenCV takes whatever is below 1 as 1; a number as large as the
    /// disparities searched turns the check off.
    int getDisp12MaxDiff() const;
    /// Accepts anything.
    void setDisp12MaxDiff(int disp12MaxDiff);

    /// True for the two-pass dynamic programming over eight directions (`cv::StereoSGBM::MODE_HH`),
    /// slower and larger in memory; semi-global only; default false.
    bool getFullDP() const;
    /// Accepts anything.
    void setFullDP(bool fullDP);
    /// @}

  protected:
    /// Orders sizes by their pixel count.
    using SizeOrder = std::function<bool(const cv::Size&, const cv::Size&)>;
    /// Transforms by image size; sizes of equal pixel count are one key.
    using TransformCache = std::map<cv::Size, ImageTransform, SizeOrder>;

    /// Rectifies one image with the maps of the camera `index` (any value but `LEFT` is the right
    /// one); see `rectifyImages`.
    cv::Mat _rectifyImage(const cv::Mat& image, ImageIndex index) const;

    /// The cached transform for images of `size`, built and stored first if there is none;
    /// `function` is the caller's name in the log. The reference is good until the calibrations
    /// change.
    const ImageTransform& _findOrComputeTransform(const cv::Size& size, const char* function) const;

    Calibration _leftCalibration;        ///< Calibration of the left camera.
    Calibration _rightCalibration;       ///< Calibration of the right camera.
    float _maxDepth;                     ///< See `getMaxDepth`.
    StereoAlgorithm _stereoAlgorithm;    ///< See `getStereoAlgorithm`.
    int _windowSize;                     ///< See `getWindowSize`.
    int _minDisparity;                   ///< See `getMinDisparity`.
    int _disparityNumber;                ///< See `getDisparityNumber`.
    int _preFilterCap;                   ///< See `getPreFilterCap`.
    int _preFilterSize;                  ///< See `getPreFilterSize`.
    int _speckleRange;                   ///< See `getSpeckleRange`.
    int _speckleWindowSize;              ///< See `getSpeckleWindowSize`.
    int _textureThreshold;               ///< See `getTextureThreshold`.
    int _uniquenessRatio;                ///< See `getUniquenessRatio`.
    int _P1;                             ///< See `getP1`.
    int _P2;                             ///< See `getP2`.
    int _disp12MaxDiff;                  ///< See `getDisp12MaxDiff`.
    bool _fullDP;                        ///< See `getFullDP`.
    mutable TransformCache _transforms;  ///< Filled by const operations.
};

}  // namespace vision

#endif
