// tiomipra inspect: what a pair of calibrations says, and whether it is usable.
#include <iostream>
#include <nlohmann/json.hpp>

#include "base/errors.hpp"
#include "base/json_text.hpp"
#include "base/provenance.hpp"
#include "base/text.hpp"
#include "commands/commands.hpp"
#include "options/inspect_options.hpp"
#include "reports/rig_report.hpp"
#include "rigs/calibration_faults.hpp"
#include "rigs/calibration_verdict.hpp"
#include "rigs/rig_files.hpp"
#include "rigs/rig_geometry.hpp"
#include "runs/progress.hpp"

namespace tiomipra {
namespace {

// The library would take one that was not worth keeping.
bool isToRedo(const Rig& rig) {
    return rig.verdict == nameOf(Grade::redo);
}

bool isUsable(const Rig& rig, const std::vector<Fault>& faults) {
    return faults.empty() && !isToRedo(rig);
}

// What else lies beside the calibrations does not make them worse.
std::optional<RigModel> readModelBeside(const Rig& rig) {
    try {
        return readMeasuredModel(rig);
    } catch (const InputError& error) {
        sayBesideBar(fmt::format("note: {}", error.what()));
        return std::nullopt;
    }
}

RigGeometry describeGeometry(const Rig& rig) {
    return describeGeometry(rig.left, rig.right, readModelBeside(rig));
}

nlohmann::ordered_json makeReport(const Rig& rig, const std::vector<Fault>& faults) {
    auto report = toJson(Provenance{"inspect", std::nullopt, rig.hash, rig.unit});
    report["leftCalibration"] = rig.leftFile;
    report["rightCalibration"] = rig.rightFile;
    report["usable"] = isUsable(rig, faults);
    if (!rig.verdict.empty())
        report["verdict"] = rig.verdict;
    report["faults"] = toJson(faults);
    if (faults.empty())
        report["rig"] = toJson(describeGeometry(rig));
    return report;
}

std::string makeText(const Rig& rig, const std::vector<Fault>& faults) {
    if (!faults.empty())
        return fmt::format("{} and {} are not usable:\n{}", printable(rig.leftFile),
                           printable(rig.rightFile), toText(faults));
    const std::string end =
        isToRedo(rig)
            ? "The pair should not be used: the verdict of report.json on it is redo, and "
              "says why.\nWhat to do: calibrate the rig again.\n"
            : "The pair is usable.\n";
    return toText(describeGeometry(rig), rig.unit.value_or("")) + "\n" + end;
}

}  // namespace

Ending runInspect(const InspectOptions& options) {
    const auto [leftFile, rightFile] = calibrationFiles(options.rig);
    const Rig rig = readRig(leftFile, rightFile);
    const std::vector<Fault> faults = findFaults(rig.left, rig.right);
    std::cout << (options.json ? dumpJson(makeReport(rig, faults)) : makeText(rig, faults));
    return {isUsable(rig, faults) ? Status::done : Status::no, ""};
}

}  // namespace tiomipra
