// tiomipra check: is this rig still calibrated?
#include <CLI/App.hpp>
#include <CLI/Validators.hpp>
#include <iostream>
#include <memory>
#include <opencv2/core.hpp>

#include "calibration_files.hpp"
#include "failures.hpp"
#include "frame_source.hpp"
#include "image_files.hpp"
#include "json_text.hpp"
#include "output_files.hpp"
#include "progress.hpp"
#include "provenance.hpp"
#include "rig_check.hpp"
#include "rig_inspection.hpp"
#include "row_differences.hpp"
#include "subcommands.hpp"
#include "text.hpp"
#include "units.hpp"
#include "workers.hpp"

namespace tiomipra {
namespace {

constexpr auto pictureName = "row_differences.png";
constexpr auto reportName = "report.json";

struct CheckOptions {
    CalibrationOptions calibration;
    FrameOptions frames;
    double maxRowDifference = 0.75;
    unsigned jobs = 0;
    std::string output;
    bool json = false;
};

struct MatchedPair {
    Matches matches;
    cv::Mat left;  // the image
};

// The matches of all pairs that can be used, and the left image of the first one to draw on.
struct MatchedPairs {
    Matches matches;
    std::size_t pairs = 0;
    std::string firstFile;
    cv::Mat firstImage;
    std::vector<std::string> failures;  // why the other pairs can't be used
};

// Two cameras never see so nearly the same, however far away it is: their noise differs.
void requireTwoViews(const Matches& matches, const Frame& frame) {
    constexpr double nothing = 0.1;  // pixels
    std::vector<double> distances;
    for (std::size_t i = 0; i < matches.left.size(); ++i)
        distances.push_back(cv::norm(matches.left[i] - matches.right[i]));
    if (!distances.empty() && quantile(std::move(distances), 0.5) < nothing)
        throw InputError(quote(frame.leftFile) + " and " + quote(frame.rightFile) +
                         " show the same image, with no disparity between them; give the images "
                         "of both cameras");
}

MatchedPair matchPair(const Frame& frame, const Rig& rig) {
    const StereoImages images = frame.read();
    requireSameAspectRatio(rig, images.left.size(), frame.leftFile);
    MatchedPair pair{matchFeatures(toGrey(images.left), toGrey(images.right)), images.left};
    requireTwoViews(pair.matches, frame);
    return pair;
}

void add(MatchedPairs& all, const Frame& frame, const MatchedPair& pair) {
    if (all.pairs++ == 0) {
        all.firstFile = frame.leftFile;
        all.firstImage = pair.left;
    }
    const auto append = [](auto& points, const auto& more) {
        points.insert(points.end(), more.begin(), more.end());
    };
    append(all.matches.left, pair.matches.left);
    append(all.matches.right, pair.matches.right);
}

void record(MatchedPairs& all, const Frame& frame, const Outcome<MatchedPair>& outcome) {
    if (const auto* error = std::get_if<CommandError>(&outcome)) {
        all.failures.emplace_back(error->what());
        return;
    }
    const auto& pair = std::get<MatchedPair>(outcome);
    const cv::Size size = pair.left.size();
    if (all.pairs > 0 && size != all.firstImage.size())
        all.failures.push_back(
            sizesDiffer(frame.leftFile, size, all.firstFile, all.firstImage.size()));
    else
        add(all, frame, pair);
}

std::string describeFailures(const MatchedPairs& matched) {
    const std::size_t count = matched.pairs + matched.failures.size();
    if (count == 1)
        return matched.failures.front();
    return std::to_string(matched.failures.size()) + " of " + std::to_string(count) +
           " pairs can't be used:\n  " + joined(matched.failures, "\n  ");
}

MatchedPairs matchPairs(FrameSource& source, const Rig& rig, unsigned jobs) {
    MatchedPairs result;
    Progress progress(chooseBar(source.count()), source.count());
    using Work = OrderedWork<Frame, MatchedPair>;
    Work work([&] { return source.next(); },
              [&](const Frame& frame, const Outcome<MatchedPair>& outcome) {
                  record(result, frame, outcome);
                  progress.advance(frame.name);
              });
    const Work::Worker worker = [&](const Frame& frame) { return matchPair(frame, rig); };
    work.run(std::vector(countWorkers(jobs, source.count()), worker));
    if (result.pairs == 0)
        throw InputError(result.failures.empty() ? "there is no pair to check"
                                                 : describeFailures(result));
    return result;
}

// An empty picture is none.
void publish(const CheckOptions& options, const nlohmann::ordered_json& report,
             const std::string& text, const cv::Mat& picture) {
    if (!options.output.empty()) {
        std::vector<NewFile> files;
        if (!picture.empty())
            files.push_back(newImage(pathIn(options.output, pictureName), picture));
        files.push_back(newFile(pathIn(options.output, reportName), dumpJson(report)));
        writeTogether(files);
    }
    std::cout << (options.json ? dumpJson(report) : text) << std::flush;
}

Status report(const CheckOptions& options, nlohmann::ordered_json report, const RigCheck& result,
              const MatchedPairs& matched) {
    report["pairs"] = matched.pairs;
    report["failed"] = matched.failures;
    report.update(toJson(result));
    publish(options, report, toText(result), drawRowDifferences(result, matched.firstImage));
    const Status status = result.state == RigState::calibrated ? Status::done : Status::no;
    if (matched.failures.empty())
        return status;
    throw FailedAfterResults(status == Status::done ? Status::partial : status,
                             describeFailures(matched));
}

// Files that are exchanged are an answer without a look at the images.
Status reportSwap(const CheckOptions& options, nlohmann::ordered_json report, const Fault& swap) {
    const std::string verdict = nameOf(RigState::swapped);
    report.update({{"verdict", verdict}, {"reason", swap.problem}, {"advice", swap.remedy}});
    publish(options, report,
            "Verdict: " + verdict + ": " + swap.problem + ".\nWhat to do: " + swap.remedy + ".\n",
            {});
    return Status::no;
}

void prepareOutput(const CheckOptions& options, const Rig& rig, const FrameSource& source) {
    ProtectedFiles inputs(source.files());
    inputs.add(filesOf(rig));
    for (const char* name : {pictureName, reportName})
        inputs.requireOther(pathIn(options.output, name));
    prepareFolder(options.output);
}

Status check(const CheckOptions& options) {
    const Rig rig = readRig(options.calibration);
    const std::vector<Fault> faults = findFaults(rig.left, rig.right);
    const bool isSwap = faults.size() == 1 && faults.front().isSwap;
    if (!isSwap)
        requireUsable(rig);
    const auto source = openFrames(options.frames);
    if (!options.output.empty())
        prepareOutput(options, rig, *source);
    nlohmann::ordered_json json =
        provenance("check", {{"maxRowDifference", options.maxRowDifference}}, rig.hash);
    if (isSwap)
        return reportSwap(options, std::move(json), faults.front());
    const MatchedPairs matched = matchPairs(*source, rig, options.jobs);
    const cv::Size size = matched.firstImage.size();
    const RigCheck result =
        checkRig(matched.matches, rig.left.scaleTo(size.width, size.height),
                 rig.right.scaleTo(size.width, size.height), options.maxRowDifference);
    return report(options, std::move(json), result, matched);
}

}  // namespace

Run configureCheck(CLI::App& command) {
    auto options = std::make_shared<CheckOptions>();
    addCalibrationOptions(command, options->calibration);
    addFrameOptions(command, options->frames);
    command
        .add_option("--max-row-difference", options->maxRowDifference,
                    "The largest median row difference of a calibrated\n"
                    "rig; that of each region may be twice as much")
        ->check(requirePositiveNumber)
        ->type_name("PIXELS")
        ->capture_default_str();
    command
        .add_option("--output", options->output,
                    "Folder for row_differences.png and report.json;\n"
                    "without it nothing is written")
        ->type_name("DIR");
    addJobsOption(command, options->jobs);
    command.add_flag("--json", options->json, "Print the report as JSON");
    return [options] { return check(*options); };
}

}  // namespace tiomipra
