/// @file
/// The calibration of one camera: record, file, rescaling.
///
/// Pixel (0, 0) is the centre of the top left pixel; x runs right along the columns, y down along
/// the rows. Lengths are in the unit of the board that the camera was calibrated with.
///
/// A record is a plain value: it may be read from several threads at once, and copies share
/// nothing.
#ifndef VISION_CALIBRATION_HPP
#define VISION_CALIBRATION_HPP

#include <opencv2/core.hpp>
#include <string>

#include "vision/export.hpp"

namespace vision {

/// One camera of a stereo pair: pinhole model, lens distortion and the pair's rectification.
///
/// The record itself checks nothing: any matrix, an empty one included, may be stored in any field.
/// `scaleTo` and `Stereo` read `cameraMatrix` and `projectionMatrix` as `CV_32FC1`; the four
/// matrices have the meaning that `cv::initUndistortRectifyMap` and `cv::stereoRectify` give them.
///
/// Copies are deep: no two records ever share an element buffer. Moving copies.
class TIOMIPRA_EXPORT Calibration {
  public:
    /// Width in pixels of the images that this calibration describes.
    int width = 0;
    /// Height in pixels of the images that this calibration describes.
    int height = 0;
    /// 3x3: focal lengths fx (0,0) and fy (1,1), principal point cx (0,2) and cy (1,2), in pixels.
    cv::Mat cameraMatrix;
    /// Lens distortion in OpenCV's order: k1, k2, p1, p2 and further terms.
    cv::Mat distortion;
    /// 3x3 rotation from the camera's frame to the frame of the rectified pair.
    cv::Mat rectificationMatrix;
    /// 3x4 projection of the rectified camera, in pixels: the first three columns are its camera
    /// matrix; (0,3) and (1,3) are focal length times the camera's offset along x and y, so (0,3)
    /// of the right camera is minus focal length times baseline.
    cv::Mat projectionMatrix;

    /// An empty record: size 0x0 and four empty matrices.
    Calibration() = default;

    /// A deep copy.
    Calibration(const Calibration& other);

    /// Copies deeply: every matrix gets a new buffer, also when a record is assigned to itself.
    Calibration& operator=(const Calibration& other);

    ~Calibration() = default;

    /// Exact comparison of sizes and of all elements, without tolerance; a NaN equals nothing.
    ///
    /// Sizes first, then the matrices in the order of declaration; the first difference ends it.
    /// Two empty matrices are equal.
    /// @throws cv::Exception when two matrices can't be compared element by element (other shape or
    ///         type, one of them empty, several channels).
    bool operator==(const Calibration& other) const;

    /// The negation of `operator==`, exceptions included.
    bool operator!=(const Calibration& other) const;

    /// Replaces the six fields by those of a calibration file.
    ///
    /// The file is a `cv::FileStorage` document (XML, YAML or JSON, found out from its content)
    /// with the keys `width`, `height`, `cameraMatrix`, `distortion`, `rectificationMatrix` and
    /// `projectionMatrix`. Other keys are ignored; a missing key gives 0 or an empty matrix. A
    /// width or height that is a real number is rounded to the nearest integer, ties to even; one
    /// that is no number becomes 2147483647.
    ///
    /// A file that does not exist or can't be opened is *not* an error: the record is then empty
    /// (0x0), and a caller who needs a calibration checks for that.
    ///
    /// Any file may be handed in, a hostile one included: what OpenCV's parser does not survive or
    /// would take without bound is refused beforehand. Of a compressed file (`.gz`) only the length
    /// is checked, so don't load one from a source that you don't trust.
    ///
    /// @throws std::invalid_argument when `filename` is empty; the record is unchanged.
    /// @throws cv::Exception when the document is malformed or a node under a matrix key is no
    ///         matrix; fields read before the failure keep their new values. Also, with the record
    ///         unchanged, when the name is that of a directory, FIFO or device, when the document
    ///         is longer than 16 MiB (compressed: 15 KiB), or when it may nest deeper than 8000
    ///         levels or hold more than 5000 keys.
    /// @throws std::length_error from OpenCV's parser, on a few malformed documents in place of
    ///         `cv::Exception`
    void load(const std::string& filename);

    /// Writes the six fields to a calibration file, replacing what was there.
    ///
    /// The extension chooses the syntax: XML for `.xml`, JSON for `.json`, YAML for all others.
    /// Matrices keep their element type. A file that can't be created is *not* an error: nothing is
    /// written.
    ///
    /// @throws std::invalid_argument when `filename` is empty.
    /// @throws cv::Exception when OpenCV can't write the document, when the name is that of a FIFO
    ///         or device, or when not all could be written, as on a full disk; a partial file may
    ///         remain. For a compressed file (`.gz`) a full disk goes unnoticed.
    void save(const std::string& filename) const;

    /// The record of the same camera at another resolution of the same aspect ratio.
    ///
    /// With s = `newWidth` / `width` in single precision, multiplies fx, fy, cx, cy of the camera
    /// matrix and (0,0), (1,1), (0,2), (1,2), (0,3), (1,3) of the projection matrix by s. The
    /// principal point is scaled as a plain product, without a half-pixel shift. Distortion and
    /// rectification do not depend on the resolution and are copied.
    ///
    /// @param newWidth   width of the images in pixels
    /// @param newHeight  height of the images in pixels; `height` * `newWidth` must equal `width` *
    ///                   `newHeight` exactly (32-bit products)
    /// @throws std::invalid_argument when the aspect ratio differs, when `width` is 0, or when the
    ///         camera matrix is not `CV_32FC1` of at least 2x3 or the projection matrix not
    ///         `CV_32FC1` of at least 2x4.
    Calibration scaleTo(int newWidth, int newHeight) const;
};

}  // namespace vision

#endif
