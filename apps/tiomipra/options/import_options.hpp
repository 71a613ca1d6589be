// The options of `tiomipra import` and `tiomipra export`.
#ifndef TIOMIPRA_OPTIONS_IMPORT_OPTIONS_HPP
#define TIOMIPRA_OPTIONS_IMPORT_OPTIONS_HPP

#include <string>
#include <vector>

#include "formats/rig_importer.hpp"
#include "options/common_options.hpp"

namespace tiomipra {

struct ImportOptions {
    std::vector<std::string> files;
    std::string output;
    ImportSettings settings;
    FrameArguments frames;  // to check the rig with; may be empty
    bool isListed = false;  // the formats are asked for
    bool json = false;
};

void addImportOptions(CLI::App& command, ImportOptions& options);

struct ExportOptions {
    RigOptions rig;
    std::string format;
    std::vector<std::string> output;
    bool isListed = false;
};

void addExportOptions(CLI::App& command, ExportOptions& options);

}  // namespace tiomipra

#endif
