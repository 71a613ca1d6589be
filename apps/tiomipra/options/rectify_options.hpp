// The options of `tiomipra rectify`.
#ifndef TIOMIPRA_OPTIONS_RECTIFY_OPTIONS_HPP
#define TIOMIPRA_OPTIONS_RECTIFY_OPTIONS_HPP

#include "options/common_options.hpp"

namespace tiomipra {

struct RectifyOptions {
    RigOptions rig;
    FrameArguments frames;
    BatchOptions batch;
};

void addRectifyOptions(CLI::App& command, RectifyOptions& options);

}  // namespace tiomipra

#endif
