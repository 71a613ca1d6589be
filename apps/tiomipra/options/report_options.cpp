#include "options/report_options.hpp"

#include <CLI/App.hpp>

#include "options/common_options.hpp"

namespace tiomipra {

void addReportOptions(CLI::App& command, ReportOptions& options) {
    command
        .add_option("--calibration", options.folder,
                    "Folder with left.yml, right.yml and report.json, as\ncalibrate writes it")
        ->type_name("DIR")
        ->required();
    command
        .add_option("--output", options.output,
                    "The page, one file that loads nothing (default:\nreport.html in DIR)")
        ->check(complaint<checkPagePath>)
        ->type_name("FILE.html");
    addMaxPixelsOption(command, options.maxPixels, "Options", "Show no images of more pixels");
}

}  // namespace tiomipra
