#include "calibration_files.hpp"

#include <cstdint>
#include <numeric>
#include <opencv2/core.hpp>
#include <utility>

#include "input_files.hpp"
#include "output_files.hpp"
#include "provenance.hpp"
#include "status.hpp"

namespace tiomipra {
namespace {

using vision::Calibration;

constexpr std::pair<const char*, cv::Mat Calibration::*> matrices[] = {
    {"cameraMatrix", &Calibration::cameraMatrix},
    {"distortion", &Calibration::distortion},
    {"rectificationMatrix", &Calibration::rectificationMatrix},
    {"projectionMatrix", &Calibration::projectionMatrix}};

std::string quote(const std::string& path) {
    return "'" + path + "'";
}

std::string format(int width, int height) {
    return std::to_string(width) + "x" + std::to_string(height);
}

void requireKeys(const Calibration& calibration, const std::string& path) {
    const auto complain = [&](const std::string& key, const std::string& rule) {
        throw InputError(quote(path) + " is not a whole calibration: " + key + " " + rule);
    };
    if (calibration.width <= 0)
        complain("width", "is missing or not positive");
    if (calibration.height <= 0)
        complain("height", "is missing or not positive");
    for (const auto& [key, matrix] : matrices) {
        // No distortion at all is a way to say that there is none.
        if ((calibration.*matrix).empty() && matrix != &Calibration::distortion)
            complain(key, "is missing or empty");
    }
}

void requireFinite(const Calibration& calibration, const std::string& path) {
    for (const auto& [key, matrix] : matrices) {
        if (!cv::checkRange(calibration.*matrix))
            throw InputError(quote(path) + ": " + key + " holds a number that is not finite");
    }
}

void requireSameSize(const Rig& rig) {
    if (rig.left.width != rig.right.width || rig.left.height != rig.right.height)
        throw InputError(quote(rig.leftFile) + " is for images of " +
                         format(rig.left.width, rig.left.height) + ", " + quote(rig.rightFile) +
                         " for " + format(rig.right.width, rig.right.height) +
                         "; both must be for the same size");
}

// The fourth column of a projection matrix is focal length times offset from the left camera.
void requireLeftAndRight(const Rig& rig) {
    const float offset = rig.right.projectionMatrix.at<float>(0, 3);
    const std::string value = "projectionMatrix(0,3) is " + std::to_string(offset) +
                              ", must be minus focal length times baseline";
    if (offset > 0.F)
        throw InputError(quote(rig.rightFile) + ": " + value +
                         "; are the left and the right camera swapped?");
    if (offset == 0.F)
        throw InputError(
            quote(rig.rightFile) + ": " + value +
            "; without a baseline there is no depth (is this the left camera's file?)");
}

}  // namespace

void addCalibrationOptions(CLI::App& command, CalibrationOptions& options) {
    constexpr auto group = "Calibration";
    auto* const directory =
        command
            .add_option("--calibration", options.directory, "Folder with left.yml and right.yml")
            ->type_name("DIR")
            ->group(group);
    auto* const left = command
                           .add_option("--left-calibration", options.left,
                                       "The left camera's file, in place of --calibration")
                           ->type_name("FILE")
                           ->group(group);
    auto* const right =
        command.add_option("--right-calibration", options.right, "The right camera's file")
            ->type_name("FILE")
            ->group(group);
    left->needs(right)->excludes(directory);
    right->needs(left)->excludes(directory);
}

Calibration readCalibration(const std::string& path) {
    requireReadable(path);
    Calibration calibration;
    try {
        calibration.load(path);
    } catch (const cv::Exception& exception) {
        throw InputError(quote(path) + " is not a calibration: " + exception.err);
    }
    requireKeys(calibration, path);
    return calibration;
}

Rig readRig(const CalibrationOptions& options) {
    if (options.directory.empty() && (options.left.empty() || options.right.empty()))
        throw UsageError(
            "--calibration DIR is required, or --left-calibration FILE and --right-calibration "
            "FILE");
    Rig rig;
    const bool isFolder = !options.directory.empty();
    rig.leftFile = isFolder ? pathIn(options.directory, "left.yml") : options.left;
    rig.rightFile = isFolder ? pathIn(options.directory, "right.yml") : options.right;
    rig.left = readCalibration(rig.leftFile);
    rig.right = readCalibration(rig.rightFile);
    rig.hash = sha256(readFile(rig.leftFile) + readFile(rig.rightFile));
    return rig;
}

void setCalibrations(vision::Stereo& stereo, const Rig& rig) {
    requireFinite(rig.left, rig.leftFile);
    requireFinite(rig.right, rig.rightFile);
    requireSameSize(rig);
    try {
        stereo.setCalibrations(rig.left, rig.right);
        // Building the smallest transform is quick and finds everything that frames would find.
        const int divisor = std::gcd(rig.left.width, rig.left.height);
        stereo.computeImageTransforms({rig.left.width / divisor, rig.left.height / divisor});
    } catch (const std::exception& exception) {
        throw InputError(quote(rig.leftFile) + " and " + quote(rig.rightFile) +
                         " can't be used: " + exception.what());
    }
    requireLeftAndRight(rig);
}

void requireSameAspectRatio(const Rig& rig, const cv::Size& size, const std::string& file) {
    const auto product = [](int a, int b) { return std::int64_t{a} * b; };
    if (product(size.width, rig.left.height) != product(size.height, rig.left.width))
        throw InputError(quote(file) + " is " + format(size.width, size.height) + ", " +
                         quote(rig.leftFile) + " is for " +
                         format(rig.left.width, rig.left.height) +
                         "; the aspect ratio must be the same");
}

void writeCalibration(const std::string& path, const Calibration& calibration) {
    // `save` does not report a file that it can't create or finish.
    writeAtomically(path, [&](const std::string& temporary) {
        calibration.save(temporary);
        try {
            if (readCalibration(temporary) == calibration)
                return;
        } catch (const InputError&) {  // NOLINT(bugprone-empty-catch): reported below
        }
        throw InputError("can't write " + quote(path) + ": no room or no permission there");
    });
}

}  // namespace tiomipra
