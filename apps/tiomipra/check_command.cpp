// tiomipra check: is this rig still calibrated?
#include <CLI/App.hpp>
#include <CLI/Validators.hpp>
#include <iostream>
#include <memory>
#include <opencv2/core.hpp>

#include "calibration_files.hpp"
#include "frame_source.hpp"
#include "image_files.hpp"
#include "json_text.hpp"
#include "number_text.hpp"
#include "output_files.hpp"
#include "progress.hpp"
#include "provenance.hpp"
#include "rig_check.hpp"
#include "rig_inspection.hpp"
#include "subcommands.hpp"

namespace tiomipra {
namespace {

struct CheckOptions {
    CalibrationOptions calibration;
    FrameOptions frames;
    double maxRowDifference = 0.75;
    std::string output;
    bool json = false;
};

// The matches of all pairs, and the left image of the first one to draw on.
struct MatchedPairs {
    Matches matches;
    std::size_t pairs = 0;
    std::string firstFile;
    cv::Mat firstImage;
};

void requireUsable(const Rig& rig) {
    const std::vector<Fault> faults = findFaults(rig.left, rig.right);
    if (!faults.empty())
        throw InputError("'" + rig.leftFile + "' and '" + rig.rightFile + "' can't be used: " +
                         faults.front().problem + "; what to do: " + faults.front().remedy);
}

void add(MatchedPairs& result, const Frame& frame, const Rig& rig) {
    const StereoImages images = frame.read();
    if (result.pairs == 0) {
        requireSameAspectRatio(rig, images.left.size(), frame.leftFile);
        result.firstFile = frame.leftFile;
        result.firstImage = images.left;
    } else if (images.left.size() != result.firstImage.size()) {
        throw InputError("'" + frame.leftFile + "' is " + sizeText(images.left.size()) + ", '" +
                         result.firstFile + "' is " + sizeText(result.firstImage.size()) +
                         "; all images must have the same size");
    }
    ++result.pairs;
    const Matches matches = matchFeatures(toGrey(images.left), toGrey(images.right));
    Matches& all = result.matches;
    all.left.insert(all.left.end(), matches.left.begin(), matches.left.end());
    all.right.insert(all.right.end(), matches.right.begin(), matches.right.end());
}

MatchedPairs matchPairs(FrameSource& source, const Rig& rig) {
    Progress progress(chooseProgressOutput(true, source.count()), source.count());
    MatchedPairs result;
    while (const auto frame = source.next()) {
        add(result, *frame, rig);
        progress.advance(frame->name);
    }
    progress.finish();
    return result;
}

Status check(const CheckOptions& options) {
    const Rig rig = readRig(options.calibration);
    requireUsable(rig);
    const auto source = openFrames(options.frames);
    const MatchedPairs matched = matchPairs(*source, rig);
    const cv::Size size = matched.firstImage.size();
    const RigCheck result =
        checkRig(matched.matches, rig.left.scaleTo(size.width, size.height),
                 rig.right.scaleTo(size.width, size.height), options.maxRowDifference);
    nlohmann::ordered_json report =
        provenance("check", {{"maxRowDifference", options.maxRowDifference}}, rig.hash);
    report["pairs"] = matched.pairs;
    report.update(toJson(result));
    if (!options.output.empty()) {
        createFolder(options.output);
        writeImage(pathIn(options.output, "row_differences.png"),
                   drawRowDifferences(result, matched.firstImage));
        writeFile(pathIn(options.output, "report.json"), dumpJson(report));
    }
    std::cout << (options.json ? dumpJson(report) : toText(result));
    return result.state == RigState::calibrated ? Status::done : Status::no;
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
        ->check(CLI::PositiveNumber)
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
