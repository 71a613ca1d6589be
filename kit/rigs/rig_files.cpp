#include "rigs/rig_files.hpp"

#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>
#include <utility>

#include "base/errors.hpp"
#include "base/provenance.hpp"
#include "base/quantities.hpp"
#include "base/text.hpp"
#include "files/file_identity.hpp"
#include "files/input_files.hpp"
#include "files/temporary_files.hpp"
#include "rigs/calibration_faults.hpp"
#include "rigs/calibration_verdict.hpp"
#include "rigs/document_guard.hpp"
#include "rigs/rig_geometry.hpp"
#include "rigs/rig_model_files.hpp"

namespace tiomipra {
namespace {

using vision::Calibration;

constexpr std::pair<const char*, cv::Mat Calibration::*> matrices[] = {
    {"cameraMatrix", &Calibration::cameraMatrix},
    {"distortion", &Calibration::distortion},
    {"rectificationMatrix", &Calibration::rectificationMatrix},
    {"projectionMatrix", &Calibration::projectionMatrix}};

[[noreturn]] void refuseCalibration(const std::string& path, const std::string& key,
                                    const std::string& rule) {
    throw InputError(fmt::format("{} is not a whole calibration: {} {}", quote(path), key, rule));
}

void requireKeys(const Calibration& calibration, const std::string& path) {
    const auto complain = [&](const std::string& key, const std::string& rule) {
        refuseCalibration(path, key, rule);
    };
    // No sensor is smaller, and cv::remap takes no images that are larger.
    constexpr int smallest = 8;
    constexpr int largest = 32766;
    for (const auto& [key, side] :
         {std::pair("width", calibration.width), {"height", calibration.height}}) {
        if (side <= 0)
            complain(key, "is missing or not positive");
        if (side < smallest || side > largest)
            complain(key, fmt::format("is {}, must be from {} to {}", side, smallest, largest));
    }
    for (const auto& [key, matrix] : matrices) {
        // No distortion at all is a way to say that there is none.
        if ((calibration.*matrix).empty() && matrix != &Calibration::distortion)
            complain(key, "is missing or empty");
        // OpenCV's functions meet these with an assertion that says nothing to a user.
        if ((calibration.*matrix).dims > 2)
            complain(key, fmt::format("is {}, must have rows and columns only",
                                      describe(calibration.*matrix)));
    }
}

void requireFinite(const Calibration& calibration, const std::string& path) {
    for (const auto& [key, matrix] : matrices) {
        if (!cv::checkRange(calibration.*matrix))
            refuseCalibration(path, key, "must hold finite numbers");
    }
}

std::string pathBeside(const Rig& rig, const char* name) {
    return std::filesystem::path(rig.leftFile).replace_filename(name).string();
}

std::string reportBeside(const Rig& rig) {
    return pathBeside(rig, "report.json");
}

// What the report beside the rig says of it, if there is one on it.
void readReport(Rig& rig) {
    const std::string path = reportBeside(rig);
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error))
        return;
    try {
        const auto report = nlohmann::json::parse(readFile(path));
        if (report.at("calibrationSha256") != rig.hash)
            return;
        rig.unit = report.at("unit").get<std::string>();
        rig.verdict = report.value("verdict", "");
        const auto parameters = report.value("parameters", nlohmann::json::object());
        rig.rotateLeft = parameters.value("rotateLeft", 0);
        rig.rotateRight = parameters.value("rotateRight", 0);
    } catch (const InputError&) {  // NOLINT(bugprone-empty-catch): as if it were not there
    } catch (const nlohmann::json::exception&) {  // NOLINT(bugprone-empty-catch): of something else
    }
    // Depths in another unit than they are said to be in are worse than none.
    if (rig.unit && !isUnit(*rig.unit))
        throw InputError(
            fmt::format("{} says that the unit of lengths is {}, must be {} or empty, for "
                        "one of your own, as calibrating writes it",
                        quote(path), quote(*rig.unit), quote(metres)));
}

// Reads back what was written. Empty when that failed.
std::string bytesThrough(const std::string& file, const Calibration& calibration) {
    try {
        calibration.save(file);
    } catch (const cv::Exception&) {
        return "";
    }
    return readCalibration(file) == calibration ? readFile(file) : "";
}

// Both may have been copied from elsewhere.
bool isSameRig(const RigModel& one, const RigModel& other) {
    constexpr double tolerance = 1e-4;
    const cv::Vec3d& translation = one.rightFromLeftTranslation;
    return one.left.imageSize == other.left.imageSize &&
           cv::norm(one.rightFromLeftRotation - other.rightFromLeftRotation) < tolerance &&
           cv::norm(translation - other.rightFromLeftTranslation) <
               tolerance * cv::norm(translation);
}

}  // namespace

Calibration readCalibration(const std::string& path) {
    Calibration calibration;
    readDocument(path, "a calibration", [&](const std::string& name) { calibration.load(name); });
    requireKeys(calibration, path);
    return calibration;
}

Rig readRig(const std::string& leftFile, const std::string& rightFile) {
    const FileIdentities files{identify(leftFile), identify(rightFile)};
    Rig rig;
    rig.leftFile = leftFile;
    rig.rightFile = rightFile;
    rig.left = readCalibration(leftFile);
    rig.right = readCalibration(rightFile);
    rig.hash = hashRig(readFile(leftFile), readFile(rightFile));
    requireUnchanged(files);
    readReport(rig);
    return rig;
}

std::optional<RigModel> readMeasuredModel(const Rig& rig) {
    const std::string path = pathBeside(rig, "rig.yml");
    std::error_code error;
    if (!std::filesystem::exists(path, error))
        return std::nullopt;
    RigModel model = readRigModel(path);
    if (!isSameRig(model, modelOf({rig.left, rig.right})))
        throw InputError(
            fmt::format("{} is of other cameras than {}, must be of the same or missing",
                        quote(path), quote(rig.leftFile)));
    return model;
}

void noteDoubts(const Rig& rig, const FrameArguments& frames, const Notify& notify) {
    if (rig.verdict == nameOf(Grade::redo))
        notify(fmt::format("warning: the verdict of report.json on {} is redo: calibrate again",
                           quote(rig.leftFile)));
    if (rig.rotateLeft == frames.rotateLeft && rig.rotateRight == frames.rotateRight)
        return;
    if (rig.unit)
        notify(
            fmt::format("warning: {} was calibrated with left images turned by {} degrees and "
                        "right ones by {}, these are turned by {} and {} (rotate-left, "
                        "rotate-right)",
                        quote(rig.leftFile), rig.rotateLeft, rig.rotateRight, frames.rotateLeft,
                        frames.rotateRight));
}

std::vector<std::string> filesOf(const Rig& rig) {
    if (rig.cameras)
        return {};
    std::vector<std::string> files{rig.leftFile, rig.rightFile};
    if (rig.unit)
        files.push_back(reportBeside(rig));
    return files;
}

void requireUsable(const Rig& rig) {
    const auto faults =
        rig.cameras ? findFaultsOfRectified(rig.left, rig.right) : findFaults(rig.left, rig.right);
    if (!faults.empty())
        throw InputError(fmt::format("{} and {} can't be used: {}; what to do: {}",
                                     quote(rig.leftFile), quote(rig.rightFile),
                                     faults.front().problem, faults.front().remedy));
}

void requireSameAspectRatio(const Rig& rig, const cv::Size& size, const std::string& file) {
    const auto product = [](int a, int b) { return std::int64_t{a} * b; };
    if (product(size.width, rig.left.height) != product(size.height, rig.left.width))
        throw InputError(fmt::format("{} is {}, {} is for {}; the aspect ratio must be the same",
                                     quote(file), describe(size), quote(rig.leftFile),
                                     describe(sizeOf(rig.left))));
}

std::string hashRig(const std::string& left, const std::string& right) {
    return sha256(left + right);
}

std::string encodeCalibration(const std::string& path, const Calibration& calibration) {
    requireKeys(calibration, path);
    requireFinite(calibration, path);
    const PrivateFolder folder;
    std::string bytes = bytesThrough(folder.path() + "/calibration.yml", calibration);
    if (bytes.empty())
        throw InputError(fmt::format("can't write {}: there is no room for it in {}", quote(path),
                                     quote(folder.path())));
    return bytes;
}

}  // namespace tiomipra
