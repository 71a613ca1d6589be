// tiomipra check: is this rig still calibrated?
#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>
#include <variant>

#include "base/json_text.hpp"
#include "base/provenance.hpp"
#include "commands/commands.hpp"
#include "files/image_files.hpp"
#include "files/protected_files.hpp"
#include "options/check_options.hpp"
#include "pages/check_page.hpp"
#include "reports/check_report.hpp"
#include "rigs/calibration_faults.hpp"
#include "rigs/feature_matches.hpp"
#include "rigs/rig_check.hpp"
#include "rigs/rig_files.hpp"
#include "runs/publish.hpp"
#include "runs/work_on_all.hpp"

namespace tiomipra {
namespace {

constexpr auto pictureName = "row_differences.png";
constexpr auto reportName = "report.json";

MatchCollection matchPairs(FrameSource& source, const Rig& rig, unsigned jobs) {
    MatchCollection collection;
    const auto accept = [&](const Frame& frame, const Outcome<MatchedPair>& outcome,
                            Progress& progress) {
        if (const auto* const failure = std::get_if<Ending>(&outcome))
            collection.addFailure(failure->message);
        else
            collection.add(frame, std::get<MatchedPair>(outcome));
        progress.advance(frame.name);
    };
    workOnAll<Frame, MatchedPair>(
        {source.count(), jobs, chooseBar(source.count())}, [&] { return source.next(); },
        [&] { return [&](const Frame& frame) { return matchPair(frame, rig); }; }, accept);
    collection.requirePairs();
    return collection;
}

RigCheck checkRig(const MatchCollection& collection, const Rig& rig, double maxRowDifference) {
    const cv::Size size = collection.firstImage().size();
    return checkRig(collection.matches(), rig.left.scaleTo(size.width, size.height),
                    rig.right.scaleTo(size.width, size.height), maxRowDifference);
}

struct CheckOutputs {
    nlohmann::ordered_json report;
    std::string text;
    cv::Mat picture;              // an empty one is none
    std::vector<PlacedRow> rows;  // for a page, over `image`
    cv::Mat image;
};

void publish(const CheckOptions& options, const CheckOutputs& outputs) {
    const std::string json = dumpJson(outputs.report);
    std::vector<NewFile> files;
    if (!options.page.empty())
        files.push_back({options.page, makeCheckPage(outputs.report, outputs.rows, outputs.image)});
    if (!options.output.empty() && !outputs.picture.empty())
        files.push_back(newImage(pathIn(options.output, pictureName), outputs.picture));
    if (!options.output.empty())
        files.push_back({pathIn(options.output, reportName), json});
    publishTogether(files);
    std::cout << (options.json ? json : outputs.text);
}

Ending conclude(const RigCheck& check, const MatchCollection& collection) {
    const Status status = check.state == RigState::calibrated ? Status::done : Status::no;
    if (collection.failures().empty())
        return {status, ""};
    return {status == Status::done ? Status::partial : status, collection.describeFailures()};
}

Ending report(const CheckOptions& options, nlohmann::ordered_json report, const RigCheck& check,
              const MatchCollection& collection, const std::string& unit) {
    report["pairs"] = collection.pairs().size();
    report["failed"] = collection.failures();
    report.update(toJson(check));
    report["pairRowDifferences"] = pairRowsToJson(check, collection.pairs());
    const cv::Mat& image = collection.firstImage();
    publish(options, {std::move(report), toText(check, unit), drawRowDifferences(check, image),
                      check.rows, image});
    return conclude(check, collection);
}

// Files that are exchanged are an answer without a look at the images.
Ending reportSwap(const CheckOptions& options, nlohmann::ordered_json report, const Fault& swap) {
    report.update(swapToJson(swap));
    publish(options, {std::move(report), swapToText(swap), {}, {}, {}});
    return {Status::no, ""};
}

void requireOtherInputs(const CheckOptions& options, const Rig& rig, const FrameSource& source) {
    ProtectedFiles inputs(source.files());
    inputs.add(filesOf(rig));
    if (!options.page.empty())
        inputs.requireOther(options.page);
    if (options.output.empty())
        return;
    for (const char* name : {pictureName, reportName})
        inputs.requireOther(pathIn(options.output, name));
}

}  // namespace

Ending runCheck(const CheckOptions& options) {
    const auto [leftFile, rightFile] = calibrationFiles(options.rig);
    const Rig rig = readRig(leftFile, rightFile);
    const std::vector<Fault> faults = findFaults(rig.left, rig.right);
    const bool isSwap = faults.size() == 1 && faults.front().isSwap;
    if (!isSwap)
        requireUsable(rig);
    requireFrames(options.frames);
    noteDoubts(rig, options.frames, sayBesideBar);
    const auto source = openFrames(options.frames, sayBesideBar);
    requireOtherInputs(options, rig, *source);
    std::optional<OutputFolder> folder;
    if (!options.output.empty())
        folder.emplace(options.output, FolderUse{"check", ""});
    Parameters parameters = describeReading(options.frames);
    parameters.push_back({"maxRowDifference", options.maxRowDifference});
    auto json = toJson(Provenance{"check", parameters, rig.hash, rig.unit});
    if (isSwap)
        return reportSwap(options, std::move(json), faults.front());
    const MatchCollection collection = matchPairs(*source, rig, options.jobs);
    const RigCheck result = checkRig(collection, rig, options.maxRowDifference);
    return report(options, std::move(json), result, collection, rig.unit.value_or(""));
}

}  // namespace tiomipra
