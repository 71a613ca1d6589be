// tiomipra report: the page of a calibration, made again.
#include "base/text.hpp"
#include "commands/commands.hpp"
#include "files/output_files.hpp"
#include "files/protected_files.hpp"
#include "options/report_options.hpp"
#include "pages/calibration_page.hpp"
#include "rigs/rig_files.hpp"

namespace tiomipra {

Ending runReport(const ReportOptions& options) {
    const auto path = [&](const char* name) { return pathIn(options.folder, name); };
    const std::string report = path("report.json");
    const std::string output = options.output.empty() ? path("report.html") : options.output;
    const Rig rig = readRig(path("left.yml"), path("right.yml"));
    const RemadePage page = remakeCalibrationPage(report, rig, options.maxPixels);
    ProtectedFiles inputs({rig.leftFile, rig.rightFile, report});
    inputs.add(page.files);
    inputs.requireOther(output);
    writeFile(output, page.bytes);
    return {};
}

}  // namespace tiomipra
