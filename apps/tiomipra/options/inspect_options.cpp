#include "options/inspect_options.hpp"

#include <CLI/App.hpp>

namespace tiomipra {

void addInspectOptions(CLI::App& command, InspectOptions& options) {
    addRigOptions(command, options.rig);
    command.add_flag("--json", options.json, "Print the result as JSON");
}

}  // namespace tiomipra
