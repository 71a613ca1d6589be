#include "calibration_files.hpp"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>
#include <stdexcept>
#include <utility>

#include "input_files.hpp"
#include "provenance.hpp"
#include "rig_inspection.hpp"
#include "status.hpp"
#include "text.hpp"

namespace tiomipra {
namespace {

using vision::Calibration;

constexpr std::pair<const char*, cv::Mat Calibration::*> matrices[] = {
    {"cameraMatrix", &Calibration::cameraMatrix},
    {"distortion", &Calibration::distortion},
    {"rectificationMatrix", &Calibration::rectificationMatrix},
    {"projectionMatrix", &Calibration::projectionMatrix}};

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

std::string reportBeside(const Rig& rig) {
    return std::filesystem::path(rig.leftFile).replace_filename("report.json").string();
}

std::optional<std::string> findUnit(const Rig& rig) {
    const std::string path = reportBeside(rig);
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error))
        return std::nullopt;
    try {
        const auto report = nlohmann::json::parse(readFile(path));
        if (report.at("calibrationSha256") == rig.hash)
            return report.at("unit").get<std::string>();
    } catch (const InputError&) {  // NOLINT(bugprone-empty-catch): as if it were not there
    } catch (const nlohmann::json::exception&) {  // NOLINT(bugprone-empty-catch): of something else
    }
    return std::nullopt;
}

std::string unreadable(const std::string& complaint) {
    return "OpenCV can't read it (" + complaint + ")";
}

// OpenCV's parser states "PATH(LINE): what is wrong" where an exception has its function.
std::string describeComplaint(const cv::Exception& exception, const std::string& path) {
    const std::string start = path + "(";
    if (!startsWith(exception.func, start))
        return exception.code == cv::Error::StsAssert ? unreadable(exception.err) : exception.err;
    std::string complaint = exception.func.substr(start.size());
    complaint.erase(std::min(complaint.find(')'), complaint.size()), 1);
    return "line " + complaint;
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
    std::error_code error;
    if (std::filesystem::file_size(path, error) == 0)
        throw InputError(quote(path) + " is empty, must be a calibration");
    Calibration calibration;
    try {
        calibration.load(path);
    } catch (const cv::Exception& exception) {
        throw InputError(quote(path) +
                         " is not a calibration: " + describeComplaint(exception, path));
    } catch (const std::logic_error& fault) {  // OpenCV's parser lets those of std::string through.
        throw InputError(quote(path) + " is not a calibration: " + unreadable(fault.what()));
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
    rig.hash = hashRig(readFile(rig.leftFile), readFile(rig.rightFile));
    rig.unit = findUnit(rig);
    return rig;
}

std::vector<std::string> filesOf(const Rig& rig) {
    std::vector<std::string> files{rig.leftFile, rig.rightFile};
    if (rig.unit)
        files.push_back(reportBeside(rig));
    return files;
}

void requireUsable(const Rig& rig) {
    const std::vector<Fault> faults = findFaults(rig.left, rig.right);
    if (!faults.empty())
        throw InputError(quote(rig.leftFile) + " and " + quote(rig.rightFile) + " can't be used: " +
                         faults.front().problem + "; what to do: " + faults.front().remedy);
}

void setCalibrations(vision::Stereo& stereo, const Rig& rig) {
    requireUsable(rig);
    stereo.setCalibrations(rig.left, rig.right);
}

void requireSameAspectRatio(const Rig& rig, const cv::Size& size, const std::string& file) {
    const auto product = [](int a, int b) { return std::int64_t{a} * b; };
    if (product(size.width, rig.left.height) != product(size.height, rig.left.width))
        throw InputError(quote(file) + " is " + sizeText(size) + ", " + quote(rig.leftFile) +
                         " is for " + sizeText({rig.left.width, rig.left.height}) +
                         "; the aspect ratio must be the same");
}

std::string hashRig(const std::string& left, const std::string& right) {
    return sha256(left + right);
}

std::string encodeCalibration(const std::string& path, const Calibration& calibration) {
    // The extension chooses the syntax.
    const std::string temporary =
        temporaryName(std::filesystem::path(path).parent_path().string()) + ".yml";
    std::string bytes;
    try {
        calibration.save(temporary);
        if (readCalibration(temporary) == calibration)
            bytes = readFile(temporary);
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): reported below
    }
    std::error_code error;
    std::filesystem::remove(temporary, error);
    if (bytes.empty())
        throw InputError("can't write " + quote(path) + ": no room or no permission there");
    return bytes;
}

}  // namespace tiomipra
