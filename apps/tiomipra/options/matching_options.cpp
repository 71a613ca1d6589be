#include "options/matching_options.hpp"

#include <CLI/App.hpp>
#include <algorithm>

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

}  // namespace

void addDisparityOptions(CLI::App& command, MatchingOptions& options) {
    options.formats = {"tiff", "png", "picture"};
    addCommonOptions(command, options, {"tiff", "pfm", "npy", "png", "picture"});
    command
        .add_flag("--rectified", options.isRectified,
                  "The images are rectified already; no calibration is needed")
        ->excludes("--calibration")
        ->excludes("--left-calibration")
        ->excludes("--rotate-left")
        ->excludes("--rotate-right")
        ->group("Calibration");
}

void addDepthOptions(CLI::App& command, MatchingOptions& options) {
    options.formats = {"ply", "png", "picture"};
    addCommonOptions(command, options,
                     {"ply", "ply-text", "pcd", "tiff", "pfm", "npy", "png", "picture"});
}

bool wants(const MatchingOptions& options, const std::string& format) {
    return std::find(options.formats.begin(), options.formats.end(), format) !=
           options.formats.end();
}

}  // namespace tiomipra
