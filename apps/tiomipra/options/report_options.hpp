// The options of `tiomipra report`.
#ifndef TIOMIPRA_OPTIONS_REPORT_OPTIONS_HPP
#define TIOMIPRA_OPTIONS_REPORT_OPTIONS_HPP

#include <string>

#include "files/image_files.hpp"

namespace CLI {
class App;
}

namespace tiomipra {

struct ReportOptions {
    std::string folder;
    std::string output;  // "" for report.html in the folder
    std::size_t maxPixels = ImageLimits().maxPixels;
};

void addReportOptions(CLI::App& command, ReportOptions& options);

}  // namespace tiomipra

#endif
