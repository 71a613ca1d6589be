// tiomipra inspect: what a pair of calibrations says, and whether it is usable.
#include <iostream>
#include <memory>

#include "calibration_files.hpp"
#include "json_text.hpp"
#include "provenance.hpp"
#include "rig_inspection.hpp"
#include "subcommands.hpp"

namespace tiomipra {
namespace {

struct InspectOptions {
    CalibrationOptions calibration;
    bool json = false;
};

void printJson(const Rig& rig, const std::vector<Fault>& faults) {
    nlohmann::ordered_json result = provenance("inspect", nullptr, rig.hash);
    if (rig.unit)
        result["unit"] = *rig.unit;
    result["leftCalibration"] = rig.leftFile;
    result["rightCalibration"] = rig.rightFile;
    result["usable"] = faults.empty();
    result["faults"] = toJson(faults);
    if (faults.empty())
        result["rig"] = toJson(describeGeometry(rig.left, rig.right));
    std::cout << dumpJson(result);
}

void printText(const Rig& rig, const std::vector<Fault>& faults) {
    if (faults.empty()) {
        std::cout << toText(describeGeometry(rig.left, rig.right), rig.unit.value_or(""))
                  << "\nThe pair is usable.\n";
        return;
    }
    std::cout << rig.leftFile << " and " << rig.rightFile << " are not usable:\n";
    for (const Fault& fault : faults)
        std::cout << "- " << fault.problem << ".\n  What to do: " << fault.remedy << ".\n";
}

Status inspect(const InspectOptions& options) {
    const Rig rig = readRig(options.calibration);
    const std::vector<Fault> faults = findFaults(rig.left, rig.right);
    if (options.json)
        printJson(rig, faults);
    else
        printText(rig, faults);
    return faults.empty() ? Status::done : Status::no;
}

}  // namespace

Run configureInspect(CLI::App& command) {
    auto options = std::make_shared<InspectOptions>();
    addCalibrationOptions(command, options->calibration);
    command.add_flag("--json", options->json, "Print the result as JSON");
    return [options] { return inspect(*options); };
}

}  // namespace tiomipra
