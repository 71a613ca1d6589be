// The options of `tiomipra inspect`.
#ifndef TIOMIPRA_OPTIONS_INSPECT_OPTIONS_HPP
#define TIOMIPRA_OPTIONS_INSPECT_OPTIONS_HPP

#include "options/common_options.hpp"

namespace tiomipra {

struct InspectOptions {
    RigOptions rig;
    bool json = false;
};

void addInspectOptions(CLI::App& command, InspectOptions& options);

}  // namespace tiomipra

#endif
