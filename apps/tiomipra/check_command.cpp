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
#include "number_text.hpp"
#include "output_files.hpp"
#include "progress.hpp"
#include "provenance.hpp"
#include "rig_check.hpp"
#include "rig_inspection.hpp"
#include "row_differences.hpp"
#include "subcommands.hpp"
#include "units.hpp"

namespace tiomipra {
namespace {

struct CheckOptions {
    CalibrationOptions calibration;
    FrameOptions frames;
    double maxRowDifference = 0.75;
    std::string output;
    bool json = false;
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
        throw InputError("'" + frame.leftFile + "' and '" + frame.rightFile +
                         "' show the same image, with no disparity between them; give the images "
                         "of both cameras");
}

void requireSize(const Rig& rig, const MatchedPairs& others, const cv::Size& size,
                 const std::string& file) {
    if (others.pairs == 0)
        requireSameAspectRatio(rig, size, file);
    else if (size != others.firstImage.size())
        throw InputError("'" + file + "' is " + sizeText(size) + ", '" + others.firstFile +
                         "' is " + sizeText(others.firstImage.size()) +
                         "; all images must have the same size");
}

void add(MatchedPairs& result, const Frame& frame, const Rig& rig) {
    const StereoImages images = frame.read();
    requireSize(rig, result, images.left.size(), frame.leftFile);
    const Matches matches = matchFeatures(toGrey(images.left), toGrey(images.right));
    requireTwoViews(matches, frame);
    if (result.pairs++ == 0) {
        result.firstFile = frame.leftFile;
        result.firstImage = images.left;
    }
    Matches& all = result.matches;
    all.left.insert(all.left.end(), matches.left.begin(), matches.left.end());
    all.right.insert(all.right.end(), matches.right.begin(), matches.right.end());
}

std::string describeFailures(const MatchedPairs& matched) {
    const std::size_t count = matched.pairs + matched.failures.size();
    if (count == 1)
        return matched.failures.front();
    return std::to_string(matched.failures.size()) + " of " + std::to_string(count) +
           " pairs can't be used:\n  " + joined(matched.failures, "\n  ");
}

// Off a terminal, progress says nothing: a job that runs every night is to be silent.
MatchedPairs matchPairs(FrameSource& source, const Rig& rig) {
    ProgressOutput output = chooseProgressOutput(true, source.count());
    output.lines = nullptr;
    Progress progress(output, source.count());
    MatchedPairs result;
    while (const auto frame = source.next()) {
        try {
            add(result, *frame, rig);
        } catch (const InputError& error) {
            result.failures.emplace_back(error.what());
        }
        progress.advance(frame->name);
    }
    progress.finish();
    if (result.pairs == 0)
        throw InputError(result.failures.empty() ? "there is no pair to check"
                                                 : describeFailures(result));
    return result;
}

void print(const CheckOptions& options, const nlohmann::ordered_json& report,
           const std::string& text) {
    if (!options.output.empty())
        writeFile(pathIn(options.output, "report.json"), dumpJson(report));
    std::cout << (options.json ? dumpJson(report) : text) << std::flush;
}

Status report(const CheckOptions& options, nlohmann::ordered_json report, const RigCheck& result,
              const MatchedPairs& matched) {
    report["pairs"] = matched.pairs;
    report["failed"] = matched.failures;
    report.update(toJson(result));
    if (!options.output.empty())
        writeImage(pathIn(options.output, "row_differences.png"),
                   drawRowDifferences(result, matched.firstImage));
    print(options, report, toText(result));
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
    print(options, report,
          "Verdict: " + verdict + ": " + swap.problem + ".\nWhat to do: " + swap.remedy + ".\n");
    return Status::no;
}

Status check(const CheckOptions& options) {
    const Rig rig = readRig(options.calibration);
    const std::vector<Fault> faults = findFaults(rig.left, rig.right);
    const bool isSwap = faults.size() == 1 && faults.front().isSwap;
    if (!isSwap)
        requireUsable(rig);
    const auto source = openFrames(options.frames);
    if (!options.output.empty())
        prepareFolder(options.output);
    nlohmann::ordered_json json =
        provenance("check", {{"maxRowDifference", options.maxRowDifference}}, rig.hash);
    if (isSwap)
        return reportSwap(options, std::move(json), faults.front());
    const MatchedPairs matched = matchPairs(*source, rig);
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
    command.add_flag("--json", options->json, "Print the report as JSON");
    return [options] { return check(*options); };
}

}  // namespace tiomipra
