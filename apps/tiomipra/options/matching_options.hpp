// The options of the subcommands that match, `tiomipra disparity` and `tiomipra depth`.
#ifndef TIOMIPRA_OPTIONS_MATCHING_OPTIONS_HPP
#define TIOMIPRA_OPTIONS_MATCHING_OPTIONS_HPP

#include <optional>
#include <string>
#include <vector>

#include "base/quantities.hpp"
#include "options/common_options.hpp"
#include "options/matcher_options.hpp"
#include "rigs/rectified_cameras.hpp"

namespace tiomipra {

struct MatchingOptions {
    RigOptions rig;
    bool isRectified = false;  // the frames are rectified already, there are no calibrations
    RectifiedCameras cameras;  // of rectified frames; without a focal length there are no depths
    FrameArguments frames;
    MatcherOptions matcher;
    BatchOptions batch;
    std::vector<std::string> formats;
    std::optional<Interval> colours;  // what the colours of the pictures stand for
};

// Both set `formats` to what is written by default.
void addDisparityOptions(CLI::App& command, MatchingOptions& options);
void addDepthOptions(CLI::App& command, MatchingOptions& options);

// True when `options` ask for this format.
bool wants(const MatchingOptions& options, const std::string& format);

}  // namespace tiomipra

#endif
