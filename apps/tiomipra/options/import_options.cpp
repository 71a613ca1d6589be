#include "options/import_options.hpp"

#include <CLI/App.hpp>
#include <CLI/Validators.hpp>

#include "base/quantities.hpp"

namespace tiomipra {
namespace {

void addRigSettings(CLI::App& command, ImportOptions& options) {
    constexpr auto group = "Rig";
    command
        .add_option("--cameras", options.settings.cameras,
                    "Names of the left and the right camera, separated by a\n"
                    "comma, where the files have more")
        ->type_name("LEFT,RIGHT")
        ->delimiter(',')
        ->expected(1, 2)
        ->group(group);
    command.add_flag("--swap", options.settings.isSwapped, "The files have the right camera first")
        ->group(group);
    command
        .add_option_function<std::string>(
            "--size",
            [&options](const std::string& text) { options.settings.imageSize = parseSize(text); },
            "Of the raw images, where files don't say it or have\n"
            "several (default: that of the images, if given)")
        ->check(complaint<parseSize>)
        ->type_name("WxH")
        ->group(group);
    command
        .add_option("--unit", options.settings.unit,
                    "Of the files' lengths: m, cm, mm or in (default: that\n"
                    "of the format)")
        ->type_name("UNIT")
        ->group(group);
    command
        .add_option("--alpha", options.settings.alpha,
                    "Of the rectification, as for calibrate (default: that\n"
                    "of the files; 0 where they have none)")
        ->type_name("NUMBER")
        ->group(group);
    addWideAngleOptions(command, options.settings.wideAngle, group);
}

CLI::Option* addFormat(CLI::App& command, std::string& format, bool& isListed, const char* text) {
    return command
        .add_option_function<std::string>(
            "--format",
            [&format, &isListed](const std::string& name) {
                isListed = name == "list";
                format = isListed ? "" : name;
            },
            text)
        ->type_name("NAME");
}

}  // namespace

void addImportOptions(CLI::App& command, ImportOptions& options) {
    command
        .add_option("FILE", options.files,
                    "The calibration of the rig, or of its cameras, the left one first")
        ->type_name("");
    addFormat(command, options.settings.format, options.isListed,
              "Of the files (default: found out); list: tell which\nthere are");
    addRigSettings(command, options);
    addFrameOptions(command, options.frames);
    command
        .add_option("--output", options.output,
                    "Folder for left.yml, right.yml, rig.yml and\nreport.json")
        ->type_name("DIR");
    command.add_flag("--json", options.json, "Print the report as JSON");
}

void addExportOptions(CLI::App& command, ExportOptions& options) {
    addRigOptions(command, options.rig);
    addFormat(command, options.format, options.isListed, "The format; list: tell which there are");
    command
        .add_option("--output", options.output,
                    "The file, or for ros the left and the right camera's")
        ->type_name("FILE...")
        ->expected(1, 2);
}

}  // namespace tiomipra
