// tiomipra export: a rig for other programs.
#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "commands/commands.hpp"
#include "files/output_files.hpp"
#include "files/protected_files.hpp"
#include "formats/rig_exporter.hpp"
#include "options/import_options.hpp"
#include "rigs/rig_files.hpp"
#include "rigs/rig_model_files.hpp"
#include "runs/publish.hpp"

namespace tiomipra {
namespace {

Ending listFormats() {
    for (const ExportFormat& format : exportFormats())
        std::cout << fmt::format("{:<7} {}\n", format.name, format.summary);
    return {};
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

// What was measured, where it was kept; else what the calibrations say.
RigModel readModelOf(const Rig& rig) {
    RigModel shown = modelOf({rig.left, rig.right});
    shown.unit = rig.unit.value_or("");
    const auto path = std::filesystem::path(rig.leftFile).replace_filename("rig.yml");
    std::error_code error;
    if (!std::filesystem::exists(path, error))
        return shown;
    RigModel model = readRigModel(path.string());
    if (!isSameRig(model, shown))
        throw std::invalid_argument(
            fmt::format("{} is of other cameras, must be of the same calibration or missing",
                        quote(path.string())));
    return model;
}

std::vector<std::string> write(const ExportFormat& format, const Rig& rig) {
    try {
        return format.write(readModelOf(rig), {rig.left, rig.right});
    } catch (const std::invalid_argument& wrong) {
        throw InputError(fmt::format("{} and {} can't be exported as {}: {}", quote(rig.leftFile),
                                     quote(rig.rightFile), format.name, wrong.what()));
    }
}

}  // namespace

Ending runExport(const ExportOptions& options) {
    if (options.isListed)
        return listFormats();
    if (options.format.empty())
        throw SettingError("--format is required");
    const ExportFormat& format = exportFormat(options.format);
    if (options.output.size() != format.files)
        throw SettingError("output", fmt::format("names {} files, must name {} for {}",
                                                 options.output.size(), format.files, format.name));
    const auto [leftFile, rightFile] = calibrationFiles(options.rig);
    const Rig rig = readRig(leftFile, rightFile);
    requireUsable(rig);
    ProtectedFiles inputs({leftFile, rightFile});
    std::vector<NewFile> files;
    for (const std::string& bytes : write(format, rig)) {
        const std::string& path = options.output[files.size()];
        inputs.requireOther(path);
        files.push_back({path, bytes});
    }
    publishTogether(files);
    return {};
}

}  // namespace tiomipra
