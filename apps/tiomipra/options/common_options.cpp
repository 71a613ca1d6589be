#include "options/common_options.hpp"

#include <CLI/App.hpp>
#include <CLI/Validators.hpp>
#include <vector>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "files/input_files.hpp"
#include "files/output_files.hpp"

namespace tiomipra {

void addRigOptions(CLI::App& command, RigOptions& options) {
    const auto add = [&](const char* name, std::string& value, const char* text, const char* type) {
        return command.add_option(name, value, text)->type_name(type)->group("Calibration");
    };
    auto* const folder =
        add("--calibration", options.folder, "Folder with left.yml and right.yml", "DIR");
    auto* const left = add("--left-calibration", options.left,
                           "The left camera's file, in place of --calibration", "FILE");
    auto* const right =
        add("--right-calibration", options.right, "The right camera's file", "FILE");
    left->needs(right)->excludes(folder);
    right->needs(left)->excludes(folder);
}

std::pair<std::string, std::string> calibrationFiles(const RigOptions& options) {
    if (!options.folder.empty())
        return {pathIn(options.folder, "left.yml"), pathIn(options.folder, "right.yml")};
    if (options.left.empty() || options.right.empty())
        throw SettingError(
            "--calibration DIR is required, or --left-calibration FILE and --right-calibration "
            "FILE");
    return {options.left, options.right};
}

void addMaxPixelsOption(CLI::App& command, std::size_t& maxPixels, const std::string& group,
                        const std::string& help) {
    constexpr std::size_t most = std::size_t{1} << 30U;  // what OpenCV decodes
    command.add_option("--max-pixels", maxPixels, help)
        ->check(CLI::Range(std::size_t{1}, most))
        ->type_name("N")
        ->capture_default_str()
        ->group(group);
}

void addImageLimits(CLI::App& command, ImageLimits& limits, const std::string& group) {
    addMaxPixelsOption(command, limits.maxPixels, group,
                       "Refuse images of more pixels before they are decoded");
    command
        .add_flag("--accept-damaged", limits.acceptsDamaged,
                  "Take damaged JPEG and TIFF images with what their decoder\nfills in, and warn")
        ->group(group);
}

void checkPagePath(const std::string& path) {
    if (extensionOf(path) != ".html")
        throw std::invalid_argument(quote(path) + " must end in .html");
}

void addPageOption(CLI::App& command, std::string& path) {
    command
        .add_option("--report", path,
                    "Write a page to look at in a browser, one file that\nloads nothing")
        ->check(complaint<checkPagePath>)
        ->type_name("FILE.html");
}

void addFrameOptions(CLI::App& command, FrameArguments& frames) {
    const auto add = [&](const char* name, std::vector<std::string>& values, const char* text) {
        return command.add_option(name, values, text)->type_name("FILE")->group("Images");
    };
    auto* const left = add("--left", frames.left,
                           "Images of the left camera: files, a folder, a quoted\n"
                           "pattern ('left*.png', 'left%02d.png'), or a video");
    auto* const right =
        add("--right", frames.right, "Images of the right camera, in the same order");
    add("--side-by-side", frames.sideBySide, "In place of both: images or a video with two halves")
        ->excludes(left)
        ->excludes(right);
    const auto addTurn = [&](const char* name, int& degrees, const char* text) {
        command.add_option(name, degrees, text)
            ->check(CLI::IsMember({0, 90, 180, 270}))
            ->type_name("DEGREES")
            ->capture_default_str()
            ->group("Images");
    };
    addTurn("--rotate-left", frames.rotateLeft,
            "Turn the left camera's images clockwise by 90, 180 or\n"
            "270 first: the same for all that is done with a rig");
    addTurn("--rotate-right", frames.rotateRight, "The same for the right camera");
    addImageLimits(command, frames.limits, "Images");
}

Parameters describeReading(const FrameArguments& frames) {
    Parameters reading;
    if (frames.rotateLeft != 0)
        reading.push_back({"rotateLeft", frames.rotateLeft});
    if (frames.rotateRight != 0)
        reading.push_back({"rotateRight", frames.rotateRight});
    if (frames.limits.acceptsDamaged)
        reading.push_back({"acceptDamaged", true});
    return reading;
}

void requireFrames(const FrameArguments& frames) {
    if (frames.sideBySide.empty() && (frames.left.empty() || frames.right.empty()))
        throw SettingError("--left and --right are required, or --side-by-side");
}

void addWideAngleOptions(CLI::App& command, WideAngleSettings& settings, const std::string& group) {
    command
        .add_option("--field-of-view", settings.fieldOfView,
                    "Of rectified images of wide-angle lenses, across,\n"
                    "degrees (default: by --alpha)")
        ->type_name("DEGREES")
        ->group(group);
    command
        .add_option("--max-residual", settings.maxResidual,
                    "Refuse wide-angle lenses that the calibration's\n"
                    "pinholes follow less well than that")
        ->check(complaint<parsePositiveNumber>)
        ->type_name("PIXELS")
        ->capture_default_str()
        ->group(group);
}

Parameters describeWideAngle(const WideAngleSettings& settings) {
    Parameters parameters;
    if (settings.fieldOfView)
        parameters.push_back({"fieldOfView", *settings.fieldOfView});
    if (settings.maxResidual != WideAngleSettings().maxResidual)
        parameters.push_back({"maxResidual", settings.maxResidual});
    return parameters;
}

CLI::Option* addJobsOption(CLI::App& command, unsigned& jobs) {
    return command
        .add_option(
            "--jobs", jobs,
            "How many to work on at the same time\n(default: as many as there are processors)")
        ->type_name("N")
        ->check(CLI::Range(1, 1024));
}

void addBatchOptions(CLI::App& command, BatchOptions& options) {
    constexpr auto group = "Output";
    command.add_option("--output", options.output, "Folder for the results; created if missing")
        ->type_name("DIR")
        ->required()
        ->group(group);
    addJobsOption(command, options.jobs)->group(group);
    command
        .add_flag("--resume", options.resume,
                  "Leave out pairs that are done already with the same\nimages, parameters and "
                  "calibrations")
        ->group(group);
    command
        .add_flag("--json", options.json,
                  "Print the results as JSON on standard output and nothing else there")
        ->group(group);
    command
        .add_flag_callback(
            "--no-sync", [&options] { options.isSynced = false; },
            "Don't wait until results are on the disk: faster, but a\npower cut may leave files "
            "empty that reports vouch for")
        ->group(group);
}

}  // namespace tiomipra
