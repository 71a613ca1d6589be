// tiomipra import: from calibrations of other programs to a rig's folder.
#include <iostream>
#include <nlohmann/json.hpp>

#include "base/errors.hpp"
#include "base/json_text.hpp"
#include "base/provenance.hpp"
#include "base/text.hpp"
#include "commands/commands.hpp"
#include "files/output_files.hpp"
#include "files/protected_files.hpp"
#include "options/check_options.hpp"
#include "options/import_options.hpp"
#include "pages/former_page.hpp"
#include "reports/import_report.hpp"
#include "rigs/rig_files.hpp"
#include "rigs/rig_model_files.hpp"
#include "runs/publish.hpp"

namespace tiomipra {
namespace {

Ending listFormats() {
    for (const auto& [name, summary] : importFormats())
        std::cout << fmt::format("{:<15} {}\n", name, summary);
    return {};
}

bool hasFrames(const FrameArguments& frames) {
    return !frames.left.empty() || !frames.right.empty() || !frames.sideBySide.empty();
}

void requireAll(const ImportOptions& options) {
    if (options.files.empty())
        throw SettingError("FILE is required");
    if (options.output.empty())
        throw SettingError("--output is required");
    if (!hasFrames(options.frames))
        return;
    requireFrames(options.frames);
    if (options.json)
        throw SettingError("--json excludes images: check the rig with them afterwards");
}

ImportSettings settingsOf(const ImportOptions& options) {
    ImportSettings settings = options.settings;
    if (!settings.imageSize && hasFrames(options.frames)) {
        const auto frame = openFrames(options.frames, ignoreNotice)->next();
        if (frame)
            settings.imageSize = frame->read().left.size();
    }
    return settings;
}

Parameters parametersOf(const ImportOptions& options) {
    const ImportSettings& settings = options.settings;
    Parameters parameters = describeReading(options.frames);
    if (!settings.format.empty())
        parameters.push_back({"format", settings.format});
    if (!settings.cameras.empty())
        parameters.push_back({"cameras", settings.cameras});
    if (settings.isSwapped)
        parameters.push_back({"swap", true});
    if (settings.imageSize)
        parameters.push_back({"size", describe(*settings.imageSize)});
    if (!settings.unit.empty())
        parameters.push_back({"unit", settings.unit});
    if (settings.alpha)
        parameters.push_back({"alpha", *settings.alpha});
    const Parameters wideAngle = describeWideAngle(settings.wideAngle);
    parameters.insert(parameters.end(), wideAngle.begin(), wideAngle.end());
    return parameters;
}

// The calibrations last: where they are, all the rest is.
nlohmann::ordered_json writeResults(const ImportOptions& options, const ImportedRig& rig) {
    const auto path = [&](const std::string& name) { return pathIn(options.output, name); };
    const OutputFolder output(options.output, FolderUse{"import", ""});
    const std::string left = encodeCalibration(path("left.yml"), rig.rectified.left);
    const std::string right = encodeCalibration(path("right.yml"), rig.rectified.right);
    auto report =
        toJson(Provenance{"import", parametersOf(options), hashRig(left, right), rig.model.unit});
    report.update(toJson(rig));
    publishTogether({{path("report.json"), dumpJson(report)},
                     {path("rig.yml"), encodeRigModel(rig.model)},
                     {path("right.yml"), right},
                     {path("left.yml"), left}});
    // Of other calibrations.
    removeFormerPage(path("report.html"));
    removeFormerPictures(options.output);
    return report;
}

Ending checkWith(const ImportOptions& options) {
    std::cout << "\n" << std::flush;
    CheckOptions check;
    check.rig.folder = options.output;
    check.frames = options.frames;
    return runCheck(check);
}

}  // namespace

Ending runImport(const ImportOptions& options) {
    if (options.isListed)
        return listFormats();
    requireAll(options);
    ProtectedFiles inputs(options.files);
    for (const char* name : {"report.json", "rig.yml", "right.yml", "left.yml"})
        inputs.requireOther(pathIn(options.output, name));
    const ImportedRig rig = importRig(options.files, settingsOf(options));
    const auto report = writeResults(options, rig);
    std::cout << (options.json ? dumpJson(report) : toText(rig));
    return hasFrames(options.frames) ? checkWith(options) : Ending{};
}

}  // namespace tiomipra
