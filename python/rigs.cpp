// Rigs: their files, what they mean, whether they still hold, and those of other programs.
#include <fmt/format.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

#include "arrays.hpp"
#include "base/errors.hpp"
#include "base/json_text.hpp"
#include "base/provenance.hpp"
#include "base/text.hpp"
#include "bindings.hpp"
#include "calls.hpp"
#include "errors.hpp"
#include "files/output_files.hpp"
#include "files/own_png.hpp"
#include "formats/rig_exporter.hpp"
#include "formats/rig_importer.hpp"
#include "image_pairs.hpp"
#include "pages/former_page.hpp"
#include "reports/check_report.hpp"
#include "reports/import_report.hpp"
#include "reports/rig_report.hpp"
#include "rig_values.hpp"
#include "rigs/calibration_faults.hpp"
#include "rigs/calibration_verdict.hpp"
#include "rigs/feature_matches.hpp"
#include "rigs/rig_check.hpp"
#include "rigs/rig_files.hpp"
#include "rigs/rig_geometry.hpp"
#include "rigs/rig_model_files.hpp"
#include "workers.hpp"

namespace tiomipra::python {
namespace {

// The model beside the calibrations, if there is one.
std::optional<RigModel> readModelBeside(const std::string& leftFile) {
    const auto path = std::filesystem::path(leftFile).replace_filename("rig.yml");
    std::error_code error;
    if (!std::filesystem::exists(path, error))
        return std::nullopt;
    return readRigModel(path.string());
}

py::dict loadRig(py::handle folder) {
    const std::string path = pathOf(folder, "folder");
    const auto [rig, model] = callLibrary([&] {
        const Rig found = readRig(pathIn(path, "left.yml"), pathIn(path, "right.yml"));
        noteDoubts(found, {{}, {}, {}, found.rotateLeft, found.rotateRight}, keepNotice);
        return std::make_pair(found, readModelBeside(found.leftFile));
    });
    return describeRig(rig, model);
}

// What tells the unit and the verdict to whoever reads the folder.
std::string reportOn(const Rig& rig, const std::string& hash) {
    auto report = toJson(Provenance{"python", std::nullopt, hash, rig.unit});
    if (!rig.verdict.empty())
        report["verdict"] = rig.verdict;
    return dumpJson(report);
}

void checkVerdict(const std::string& verdict) {
    std::vector<std::string> known;
    for (const Grade grade : {Grade::good, Grade::usable, Grade::redo})
        known.push_back(nameOf(grade));
    if (!verdict.empty() && std::find(known.begin(), known.end(), verdict) == known.end())
        throw py::value_error(fmt::format("verdict is {}, must be empty or one of {}",
                                          quote(verdict), joined(known)));
}

// The calibrations last: where they are, all the rest is.
void saveRig(py::handle folder, py::handle object, const std::string& report,
             const std::vector<std::pair<std::string, py::object>>& pictures) {
    const std::string path = pathOf(folder, "folder");
    const Rig rig = rigOf(object);
    checkVerdict(rig.verdict);
    const auto model = givenModelOf(object);
    std::vector<std::pair<std::string, BorrowedImage>> images;
    for (const auto& [name, image] : pictures)
        images.emplace_back(name, borrowImage(image, name.c_str(), eightBitImage));
    callLibrary([&] {
        const auto in = [&](const std::string& name) { return pathIn(path, name); };
        const std::string left = encodeCalibration(in("left.yml"), rig.left);
        const std::string right = encodeCalibration(in("right.yml"), rig.right);
        const OutputFolder output(path, FolderUse{"python", ""});
        std::vector<NewFile> files;
        for (const auto& [name, image] : images)
            files.push_back(newOwnPng(in(name), image.matrix));
        files.push_back(
            {in("report.json"), report.empty() ? reportOn(rig, hashRig(left, right)) : report});
        if (model)
            files.push_back({in("rig.yml"), encodeRigModel(*model)});
        files.push_back({in("right.yml"), right});
        files.push_back({in("left.yml"), left});
        writeTogether(files);
        // What is about the calibrations that were there before.
        if (!model)
            removeFile(in("rig.yml"));
        removeFormerPage(in("report.html"));
        if (images.empty())
            removeFormerPictures(path);
    });
}

std::vector<std::pair<std::string, std::string>> faultsOf(py::handle object) {
    const Rig rig = rigOf(object);
    const auto faults = callLibrary([&] { return findFaults(rig.left, rig.right); });
    std::vector<std::pair<std::string, std::string>> result;
    for (const Fault& fault : faults)
        result.emplace_back(fault.problem, fault.remedy);
    return result;
}

std::string geometryOf(py::handle object) {
    const Rig rig = rigOf(object);
    const auto model = givenModelOf(object);
    return callLibrary([&] {
        requireUsable(rig);
        return dumpJson(toJson(describeGeometry(rig.left, rig.right, model)));
    });
}

MatchCollection matchPairs(const ImagePairs& pairs, const Rig& rig, Notices& notices) {
    const auto source = pairs.open(notices.notify());
    const auto outcomes =
        collectOutcomes(*source, 1, [&](const Frame& frame) { return matchPair(frame, rig); });
    MatchCollection collection;
    for (const auto& [number, outcome] : outcomes) {
        if (outcome.result)
            collection.add(outcome.frame, *outcome.result);
        else
            collection.addFailure(outcome.complaint);
    }
    collection.requirePairs();
    return collection;
}

struct CheckOutcome {
    bool isCalibrated = false;
    nlohmann::ordered_json report;
    std::string text;
};

CheckOutcome checkPairs(const ImagePairs& pairs, const Rig& rig, double maxRowDifference) {
    const auto faults = findFaults(rig.left, rig.right);
    if (faults.size() == 1 && faults.front().isSwap)
        return {false, swapToJson(faults.front()), swapToText(faults.front())};
    requireUsable(rig);
    Notices notices;
    const MatchCollection collection = matchPairs(pairs, rig, notices);
    notices.keep();
    for (const std::string& failure : collection.failures())
        keepNotice("warning: " + failure);
    const cv::Size size = collection.firstImage().size();
    const RigCheck check = checkRig(collection.matches(), rig.left.scaleTo(size.width, size.height),
                                    rig.right.scaleTo(size.width, size.height), maxRowDifference);
    return {check.state == RigState::calibrated, toJson(check),
            toText(check, rig.unit.value_or(""))};
}

py::tuple check(py::handle object, py::handle left, py::handle right, py::handle limit,
                py::handle rotateLeft, py::handle rotateRight) {
    const Rig rig = rigOf(object);
    const double maxRowDifference = positive(limit, "max_row_difference");
    const ImagePairs pairs(left, right, wholeNumber(rotateLeft, "rotate_left"),
                           wholeNumber(rotateRight, "rotate_right"));
    const auto outcome = callLibrary([&] { return checkPairs(pairs, rig, maxRowDifference); });
    return py::make_tuple(outcome.isCalibrated, dumpJson(outcome.report), outcome.text);
}

// The names of left and right, or none.
std::vector<std::string> camerasOf(py::handle object) {
    const auto items = itemsOf(object);
    if (!items)
        throw py::type_error(
            fmt::format("cameras is {}, must be two names, left and right", typeName(object)));
    std::vector<std::string> names;
    for (const py::object& item : *items)
        names.push_back(textOf(item, "cameras"));
    return names;
}

py::dict importFiles(const std::vector<py::object>& files, py::handle format, py::handle unit,
                     py::handle size, py::handle cameras, py::handle swap, py::handle alpha,
                     py::handle fieldOfView) {
    ImportSettings settings;
    settings.format = textOf(format, "format");
    settings.unit = textOf(unit, "unit");
    settings.cameras = camerasOf(cameras);
    settings.isSwapped = truthOf(swap, "swap");
    settings.alpha = numberOrNone(alpha, "alpha");
    settings.wideAngle.fieldOfView = numberOrNone(fieldOfView, "field_of_view");
    if (!size.is_none()) {
        const auto [width, height] = wholePairOf(size, "size", "(width, height)");
        settings.imageSize = cv::Size(width, height);
    }
    const auto paths = pathsOf(files, "files");
    const auto imported = callLibrary([&] {
        auto rig = importRig(paths, settings);
        for (const std::string& note : rig.notes)
            keepNotice("note: " + note);
        return rig;
    });
    Rig rig;
    rig.left = imported.rectified.left;
    rig.right = imported.rectified.right;
    rig.unit = imported.model.unit;
    return describeRig(rig, imported.model);
}

void exportFiles(py::handle object, py::handle formatName, const std::vector<py::object>& paths) {
    const std::string name = textOf(formatName, "format");
    const Rig rig = rigOf(object);
    const auto given = givenModelOf(object);
    const auto files = pathsOf(paths, "files");
    callLibrary([&] {
        const ExportFormat& format = exportFormat(name);
        if (files.size() != format.files)
            throw SettingError("files", fmt::format("has {} names, must have {} for {}",
                                                    files.size(), format.files, name));
        requireUsable(rig);
        RigModel model = given ? *given : modelOf(RectifiedRig{rig.left, rig.right});
        if (!given)
            model.unit = rig.unit.value_or("");
        std::vector<NewFile> written;
        for (const std::string& bytes : format.write(model, {rig.left, rig.right}))
            written.push_back({files[written.size()], bytes});
        writeTogether(written);
    });
}

py::dict formatsOf(bool areExported) {
    py::dict result;
    if (areExported) {
        for (const ExportFormat& format : exportFormats())
            result[py::str(format.name)] = format.summary;
        return result;
    }
    for (const auto& [name, summary] : importFormats())
        result[py::str(name)] = summary;
    return result;
}

}  // namespace

void bindRigs(py::module_& module) {
    module.def("load_rig", loadRig, py::arg("folder"));
    module.def("save_rig", saveRig, py::arg("folder"), py::arg("rig"), py::arg("report"),
               py::arg("pictures"));
    module.def("find_faults", faultsOf, py::arg("rig"));
    module.def("describe_geometry", geometryOf, py::arg("rig"));
    module.def("check", check, py::arg("rig"), py::arg("left"), py::arg("right"),
               py::arg("max_row_difference"), py::arg("rotate_left"), py::arg("rotate_right"));
    module.def("import_rig", importFiles, py::arg("files"), py::arg("format"), py::arg("unit"),
               py::arg("size"), py::arg("cameras"), py::arg("swap"), py::arg("alpha"),
               py::arg("field_of_view"));
    module.def("export_rig", exportFiles, py::arg("rig"), py::arg("format"), py::arg("files"));
    module.def("formats", formatsOf, py::arg("exported"));
}

}  // namespace tiomipra::python
