// The subcommands, one source file each.
//
// `configureX` adds the options of subcommand X to `command`, bound to variables that the returned
// function shares, and returns what to run once the command line has been parsed.
#ifndef TIOMIPRA_SUBCOMMANDS_HPP
#define TIOMIPRA_SUBCOMMANDS_HPP

#include <CLI/App.hpp>
#include <functional>

#include "status.hpp"

namespace tiomipra {

using Run = std::function<Status()>;

Run configureCalibrate(CLI::App& command);
Run configureInspect(CLI::App& command);
Run configureCheck(CLI::App& command);
Run configureRectify(CLI::App& command);
Run configureDisparity(CLI::App& command);
Run configureDepth(CLI::App& command);
Run configureEvaluate(CLI::App& command);

}  // namespace tiomipra

#endif
