// The calibrations of a stereo pair: options, files, and whether they fit each other and an image.
#ifndef TIOMIPRA_CALIBRATION_FILES_HPP
#define TIOMIPRA_CALIBRATION_FILES_HPP

#include <CLI/App.hpp>
#include <opencv2/core/types.hpp>
#include <string>
#include <vision/calibration.hpp>
#include <vision/stereo.hpp>

#include "output_files.hpp"

namespace tiomipra {

// Where the calibrations are: `directory` holds left.yml and right.yml, or each has its own file.
struct CalibrationOptions {
    std::string directory;
    std::string left;
    std::string right;
};

// Adds --calibration DIR, --left-calibration FILE and --right-calibration FILE.
void addCalibrationOptions(CLI::App& command, CalibrationOptions& options);

// Throws `InputError` that names the file when it can't be read, is malformed or lacks a key. Looks
// no further: the matrices may have any shape and content.
vision::Calibration readCalibration(const std::string& path);

// The two calibrations of a pair and where they come from.
struct Rig {
    vision::Calibration left;
    vision::Calibration right;
    std::string leftFile;
    std::string rightFile;
    std::string hash;  // of both files: `cat LEFT RIGHT | sha256sum` prints the same
};

// Throws `UsageError` unless `options` name both calibrations, `InputError` as `readCalibration`.
Rig readRig(const CalibrationOptions& options);

// Throws `InputError` that names the files, the first of `findFaults` and its remedy unless the
// calibrations can be used.
void requireUsable(const Rig& rig);

// The same, then gives the calibrations to `stereo`, whose maximum depth must be infinite.
void setCalibrations(vision::Stereo& stereo, const Rig& rig);

// Throws `InputError` that names `file` unless images of `size` have the rig's aspect ratio.
void requireSameAspectRatio(const Rig& rig, const cv::Size& size, const std::string& file);

// A file with a calibration, which is read back to be sure. Writing it throws `InputError` that
// names the file when that fails.
NewFile newCalibration(const std::string& path, const vision::Calibration& calibration);

void writeCalibration(const std::string& path, const vision::Calibration& calibration);

}  // namespace tiomipra

#endif
