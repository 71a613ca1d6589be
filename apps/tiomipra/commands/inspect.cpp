// tiomipra inspect: what a pair of calibrations says, and whether it is usable.
#include <iostream>
#include <nlohmann/json.hpp>

#include "base/json_text.hpp"
#include "base/provenance.hpp"
#include "base/text.hpp"
#include "commands/commands.hpp"
#include "options/inspect_options.hpp"
#include "reports/rig_report.hpp"
#include "rigs/calibration_faults.hpp"
#include "rigs/rig_files.hpp"
#include "rigs/rig_geometry.hpp"

namespace tiomipra {
namespace {

nlohmann::ordered_json makeReport(const Rig& rig, const std::vector<Fault>& faults) {
    auto report = toJson(Provenance{"inspect", std::nullopt, rig.hash, rig.unit});
    report["leftCalibration"] = rig.leftFile;
    report["rightCalibration"] = rig.rightFile;
    report["usable"] = faults.empty();
    report["faults"] = toJson(faults);
    if (faults.empty())
        report["rig"] = toJson(describeGeometry(rig.left, rig.right));
    return report;
}

std::string makeText(const Rig& rig, const std::vector<Fault>& faults) {
    if (faults.empty())
        return toText(describeGeometry(rig.left, rig.right), rig.unit.value_or("")) +
               "\nThe pair is usable.\n";
    return fmt::format("{} and {} are not usable:\n{}", rig.leftFile, rig.rightFile,
                       toText(faults));
}

}  // namespace

Ending runInspect(const InspectOptions& options) {
    const auto [leftFile, rightFile] = calibrationFiles(options.rig);
    const Rig rig = readRig(leftFile, rightFile);
    const std::vector<Fault> faults = findFaults(rig.left, rig.right);
    std::cout << (options.json ? dumpJson(makeReport(rig, faults)) : makeText(rig, faults));
    return {faults.empty() ? Status::done : Status::no, ""};
}

}  // namespace tiomipra
