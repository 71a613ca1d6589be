// Options that several subcommands have, and checks for their values.
#ifndef TIOMIPRA_OPTIONS_COMMON_OPTIONS_HPP
#define TIOMIPRA_OPTIONS_COMMON_OPTIONS_HPP

#include <stdexcept>
#include <string>
#include <utility>

#include "base/provenance.hpp"
#include "files/frame_source.hpp"
#include "rigs/fisheye_lens.hpp"
#include "runs/batch_options.hpp"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace tiomipra {

// Where the calibrations of a rig are: `folder` holds left.yml and right.yml, or each has its own
// file.
struct RigOptions {
    std::string folder;
    std::string left;
    std::string right;
};

// Adds --calibration DIR, --left-calibration FILE and --right-calibration FILE.
void addRigOptions(CLI::App& command, RigOptions& options);

// The paths of the left and right file. Throws `SettingError` unless `options` name both.
std::pair<std::string, std::string> calibrationFiles(const RigOptions& options);

// Adds --max-pixels to a group of the help.
void addMaxPixelsOption(CLI::App& command, std::size_t& maxPixels, const std::string& group,
                        const std::string& help);

// The same and --accept-damaged.
void addImageLimits(CLI::App& command, ImageLimits& limits, const std::string& group);

// Adds --left, --right, --side-by-side, --rotate-left, --rotate-right and the limits.
void addFrameOptions(CLI::App& command, FrameArguments& frames);

// Throws `SettingError` unless there are arguments for both sides or for side-by-side images.
void requireFrames(const FrameArguments& frames);

// By how much the images are turned, as far as they are, and whether damaged ones are accepted.
Parameters describeReading(const FrameArguments& frames);

// Adds --field-of-view and --max-residual to a group of the help.
void addWideAngleOptions(CLI::App& command, WideAngleSettings& settings, const std::string& group);

// What the options above say, as far as it is no default.
Parameters describeWideAngle(const WideAngleSettings& settings);

// Adds --report FILE.html.
void addPageOption(CLI::App& command, std::string& path);

// Throws `std::invalid_argument` unless `path` ends as the name of a page does.
void checkPagePath(const std::string& path);

// Adds --jobs.
CLI::Option* addJobsOption(CLI::App& command, unsigned& jobs);

// Adds --output (required), --jobs, --resume, --json and --no-sync.
void addBatchOptions(CLI::App& command, BatchOptions& options);

// A validator for CLI11: what `parse`, which throws std::invalid_argument, has against `text`.
template <auto parse>
std::string complaint(const std::string& text) {
    try {
        parse(text);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "";
}

}  // namespace tiomipra

#endif
