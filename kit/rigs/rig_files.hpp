// The files of a rig, left.yml and right.yml, and whether they fit each other and an image.
#ifndef TIOMIPRA_RIGS_RIG_FILES_HPP
#define TIOMIPRA_RIGS_RIG_FILES_HPP

#include <opencv2/core/types.hpp>
#include <optional>
#include <string>
#include <vector>
#include <vision/calibration.hpp>

#include "base/notices.hpp"
#include "files/frame_source.hpp"
#include "rigs/rectified_cameras.hpp"
#include "rigs/rig_model.hpp"

namespace tiomipra {

// Throws `InputError` that names the file when it can't be read, is malformed or lacks a key. Looks
// no further: the matrices may have any shape and content.
vision::Calibration readCalibration(const std::string& path);

// The two calibrations of a pair and where they come from.
struct Rig {
    vision::Calibration left;
    vision::Calibration right;
    std::string leftFile;
    std::string rightFile;
    std::string hash;  // of both files, see `hashRig`
    // Of lengths, as the report that calibrating left beside the files says: "m", or "" for a unit
    // of the user's own. Nothing where there is no report on exactly these files.
    std::optional<std::string> unit = std::nullopt;
    // "good", "usable" or "redo", as the same report says; "" without one.
    std::string verdict = {};
    // By how much the images that it was calibrated with were turned, as the same report says.
    int rotateLeft = 0;
    int rotateRight = 0;
    // In place of files: the images are rectified already.
    std::optional<RectifiedCameras> cameras = std::nullopt;
};

// Throws `InputError` as `readCalibration`, and for a report on these files whose unit is none that
// calibrating writes.
Rig readRig(const std::string& leftFile, const std::string& rightFile);

// What was measured before the rectification, in rig.yml beside the files; nothing where that is
// missing. Throws `InputError` as `readRigModel`, and when it is of other cameras.
std::optional<RigModel> readMeasuredModel(const Rig& rig);

// Tells of a calibration whose verdict was redo, and of images that are turned otherwise than those
// that the rig was calibrated with.
void noteDoubts(const Rig& rig, const FrameArguments& frames, const Notify& notify);

// The files that the rig was read from, if it was, with the report that its unit stands in.
std::vector<std::string> filesOf(const Rig& rig);

// Throws `InputError` that names the files, the first of `findFaults` and its remedy unless the
// calibrations can be used.
void requireUsable(const Rig& rig);

// Throws `InputError` that names `file` unless images of `size` have the rig's aspect ratio.
void requireSameAspectRatio(const Rig& rig, const cv::Size& size, const std::string& file);

// The bytes for a file `path` with `calibration`, in YAML. The library only writes files, so that
// there is one in a private folder for a moment. Throws `InputError` that names `path` when that
// fails, when a key would be missing, and for numbers that are not finite.
std::string encodeCalibration(const std::string& path, const vision::Calibration& calibration);

// The hash that a rig has with these bytes in its files: `cat LEFT RIGHT | sha256sum` prints the
// same.
std::string hashRig(const std::string& left, const std::string& right);

}  // namespace tiomipra

#endif
