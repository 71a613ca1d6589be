// What the command line says about matching, and the parameters that follow from it.
//
// Three sources are laid over each other: a preset, a file of parameters, and the options
// themselves, which win. What none of them gives keeps the library's default.
#ifndef TIOMIPRA_MATCHER_OPTIONS_HPP
#define TIOMIPRA_MATCHER_OPTIONS_HPP

#include <CLI/App.hpp>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vision/stereo.hpp>

#include "units.hpp"

namespace tiomipra {

// The parameters that one source gives, or all sources together. Depths without a suffix are in the
// unit of the calibrations.
struct MatcherSettings {
    // The library's whole-number parameters by the name of their option, as in "window-size";
    // `algorithm` and `full-dp` are among them as 0 or 1.
    std::map<std::string, int> values;
    std::optional<Length> maxDepth;
    std::optional<Range> range;
    std::optional<int> scale;  // images are matched at 1 / scale of their size
    // The files of parameters that options stand in, by the names of these; the others were given
    // on the command line.
    std::map<std::string, std::string> files;
};

struct MatcherOptions {
    MatcherSettings settings;
    std::string preset;              // "" for none
    std::string parametersFile;      // "" for none
    std::string saveParametersFile;  // "" for none
};

// Adds all options about matching.
void addMatcherOptions(CLI::App& command, MatcherOptions& options);

// All sources laid over each other. A depth range or maximum depth also replaces what the sources
// below it say about the disparities that follow from it. Throws `InputError` that names the file
// of parameters, and the key or line, when it can't be read or holds something else.
MatcherSettings resolveSettings(const MatcherOptions& options);

// Throws what is wrong with the option `name` (as in "window-size") that `settings` give: a
// `UsageError`, or an `InputError` that names the file if it stands in one. `problem` follows the
// option's name.
[[noreturn]] void refuseSetting(const MatcherSettings& settings, const std::string& name,
                                const std::string& problem);

// The depth beyond which points are removed, if the settings give one.
std::optional<Length> farthestDepth(const MatcherSettings& settings);

// Sets the whole-number parameters that `settings` give. Throws as `refuseSetting`, with the
// library's message, for a value that it refuses.
void applyParameters(vision::Stereo& stereo, const MatcherSettings& settings);

// All parameters of `stereo` by the names of their options, and the scale of `settings`.
nlohmann::ordered_json describeParameters(const vision::Stereo& stereo,
                                          const MatcherSettings& settings);

// The same as a file that `--parameters` takes (TOML). What follows from the calibrations and the
// size of the images is not in it: a depth range stands there itself. Nor is a maximum depth that
// was not given, so that the file also serves images that are rectified already.
std::string encodeParameters(const vision::Stereo& stereo, const MatcherSettings& settings);

}  // namespace tiomipra

#endif
