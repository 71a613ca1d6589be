// tiomipra export: a rig for other programs.
#include <iostream>
#include <optional>
#include <stdexcept>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "commands/commands.hpp"
#include "files/output_files.hpp"
#include "files/protected_files.hpp"
#include "formats/rig_exporter.hpp"
#include "options/import_options.hpp"
#include "rigs/rig_files.hpp"
#include "runs/publish.hpp"

namespace tiomipra {
namespace {

Ending listFormats() {
    for (const ExportFormat& format : exportFormats())
        std::cout << fmt::format("{:<7} {}\n", format.name, format.summary);
    return {};
}

// What was measured, where it was kept; else what the calibrations say.
RigModel readModelOf(const Rig& rig) {
    if (std::optional<RigModel> measured = readMeasuredModel(rig))
        return *measured;
    RigModel shown = modelOf({rig.left, rig.right});
    shown.unit = rig.unit.value_or("");
    return shown;
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
