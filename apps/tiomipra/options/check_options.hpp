// The options of `tiomipra check`.
#ifndef TIOMIPRA_OPTIONS_CHECK_OPTIONS_HPP
#define TIOMIPRA_OPTIONS_CHECK_OPTIONS_HPP

#include <string>

#include "options/common_options.hpp"

namespace tiomipra {

struct CheckOptions {
    RigOptions rig;
    FrameArguments frames;
    double maxRowDifference = 0.75;
    unsigned jobs = 0;
    std::string output;
    std::string page;  // to be written; "" for none
    bool json = false;
};

void addCheckOptions(CLI::App& command, CheckOptions& options);

}  // namespace tiomipra

#endif
