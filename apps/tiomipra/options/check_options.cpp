#include "options/check_options.hpp"

#include <CLI/App.hpp>

#include "base/quantities.hpp"

namespace tiomipra {

void addCheckOptions(CLI::App& command, CheckOptions& options) {
    addRigOptions(command, options.rig);
    addFrameOptions(command, options.frames);
    command
        .add_option("--max-row-difference", options.maxRowDifference,
                    "The largest median row difference of a calibrated\n"
                    "rig; that of each region, and what 95 % of all\n"
                    "stay within, may be twice as much")
        ->check(complaint<parsePositiveNumber>)
        ->type_name("PIXELS")
        ->capture_default_str();
    command
        .add_option("--output", options.output,
                    "Folder for row_differences.png and report.json;\n"
                    "without it nothing is written")
        ->type_name("DIR");
    addPageOption(command, options.page);
    addJobsOption(command, options.jobs);
    command.add_flag("--json", options.json, "Print the report as JSON");
}

}  // namespace tiomipra
