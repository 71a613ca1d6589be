#include "options/matching_options.hpp"

#include <CLI/App.hpp>
#include <algorithm>

#include "base/quantities.hpp"
#include "base/text.hpp"

namespace tiomipra {
namespace {

void addFormats(CLI::App& command, MatchingOptions& options,
                const std::vector<std::string>& formats) {
    command
        .add_option("--formats", options.formats,
                    "What to write, separated by commas:\n" + joined(formats))
        ->delimiter(',')
        ->check(CLI::IsMember(formats))
        ->type_name("LIST")
        ->capture_default_str()
        ->group("Output");
}

void addColours(CLI::App& command, MatchingOptions& options) {
    command
        .add_option_function<std::string>(
            "--colours",
            [&options](const std::string& text) { options.colours = parseInterval(text); },
            "What the colours of all pictures span, to compare\nthem (default: nearly all values "
            "of each)")
        ->check(complaint<parseInterval>)
        ->type_name("LOW..HIGH")
        ->group("Output");
}

// All but the one for rectified frames. `--formats` takes any of `formats`; the default is what
// `options.formats` holds.
void addCommonOptions(CLI::App& command, MatchingOptions& options,
                      const std::vector<std::string>& formats) {
    addRigOptions(command, options.rig);
    addFrameOptions(command, options.frames);
    addBatchOptions(command, options.batch);
    addFormats(command, options, formats);
    addColours(command, options);
    addMatcherOptions(command, options.matcher);
}

CLI::Option* addRectified(CLI::App& command, MatchingOptions& options, const char* text) {
    return command.add_flag("--rectified", options.isRectified, text)
        ->excludes("--calibration")
        ->excludes("--left-calibration")
        ->excludes("--rotate-left")
        ->excludes("--rotate-right")
        ->group("Calibration");
}

// What stands in for the calibrations of rectified images.
void addCameras(CLI::App& command, RectifiedCameras& cameras) {
    constexpr auto group = "Calibration";
    auto* const rectified = command.get_option("--rectified");
    auto* const focal =
        command.add_option("--focal", cameras.focal, "Focal length of rectified images in pixels")
            ->check(complaint<parsePositiveNumber>)
            ->type_name("PIXELS")
            ->group(group);
    auto* const baseline =
        command
            .add_option_function<std::string>(
                "--baseline",
                [&cameras](const std::string& text) { cameras.baseline = parseLength(text); },
                "Distance of their cameras; with a suffix mm, cm, m or\n"
                "in, all depths are in metres")
            ->check(complaint<parseLength>)
            ->type_name("LENGTH")
            ->group(group);
    rectified->needs(focal)->needs(baseline);
    focal->needs(rectified);
    baseline->needs(rectified);
    command
        .add_option("--centre-offset", cameras.centreOffset,
                    "x of the right principal point minus x of the left one")
        ->needs(rectified)
        ->type_name("PIXELS")
        ->capture_default_str()
        ->group(group);
    command
        .add_option_function<std::vector<double>>(
            "--centre",
            [&cameras](const std::vector<double>& point) {
                cameras.centre = {point[0], point[1]};
            },
            "Left principal point (default: middle of the images)")
        ->needs(rectified)
        ->delimiter(',')
        ->expected(2)
        ->type_name("X,Y")
        ->group(group);
}

}  // namespace

void addDisparityOptions(CLI::App& command, MatchingOptions& options) {
    options.formats = {"tiff", "png", "picture"};
    addCommonOptions(command, options,
                     {"tiff", "pfm", "npy", "png", "picture", "confidence", "reasons"});
    addRectified(command, options, "The images are rectified already; no calibration is needed");
}

void addDepthOptions(CLI::App& command, MatchingOptions& options) {
    options.formats = {"ply", "png", "picture"};
    addCommonOptions(command, options,
                     {"ply", "ply-text", "pcd", "html", "tiff", "pfm", "npy", "png", "picture",
                      "view", "confidence", "reasons"});
    addRectified(command, options, "The images are rectified already; needs what follows");
    addCameras(command, options.cameras);
}

bool wants(const MatchingOptions& options, const std::string& format) {
    return std::find(options.formats.begin(), options.formats.end(), format) !=
           options.formats.end();
}

}  // namespace tiomipra
