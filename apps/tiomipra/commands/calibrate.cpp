// tiomipra calibrate: from pictures of a board to the calibrations of both cameras.
#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <utility>
#include <variant>

#include "base/errors.hpp"
#include "base/json_text.hpp"
#include "base/provenance.hpp"
#include "base/text.hpp"
#include "commands/commands.hpp"
#include "files/own_png.hpp"
#include "files/protected_files.hpp"
#include "options/calibrate_options.hpp"
#include "pages/calibration_page.hpp"
#include "pages/former_page.hpp"
#include "reports/calibration_report.hpp"
#include "reports/pictures.hpp"
#include "rigs/board_search.hpp"
#include "rigs/rig_files.hpp"
#include "rigs/rig_geometry.hpp"
#include "rigs/rig_model_files.hpp"
#include "runs/publish.hpp"
#include "runs/work_on_all.hpp"

namespace tiomipra {
namespace {

constexpr auto pageName = "report.html";

// Looking for a board takes most of the time, and frames that follow each other closely show nearly
// the same: of a long video only one in so many is looked at.
std::size_t chooseStep(std::size_t frames, std::size_t maxPairs) {
    const std::size_t step = std::max<std::size_t>(1, frames / (5 * maxPairs));
    if (step > 1)
        sayBesideBar(
            fmt::format("note: of {} pairs one in {} is looked at, as at most {} will be "
                        "used (--max-pairs)",
                        frames, step, maxPairs));
    return step;
}

std::optional<Frame> nextOf(FrameSource& source, std::size_t step) {
    std::optional<Frame> frame = source.next();
    for (std::size_t i = 1; i < step; ++i)
        source.next();
    return frame;
}

// What a pair shows, and its pictures while they are at hand.
struct SeenPair {
    SearchedPair searched;
    PairPictures pictures;
};

// From any thread.
SeenPair lookAt(const Frame& frame, const Board& board, bool arePicturesWanted) {
    FileIdentities inputs = frame.identify();
    const StereoImages images = frame.read();
    SeenPair seen{searchPair(frame, images, board), {}};
    seen.searched.inputs = std::move(inputs);
    const auto& [left, right] = seen.searched.detection;
    if (arePicturesWanted && !left.empty() && !right.empty())
        seen.pictures = makePictures(images);
    return seen;
}

struct SeenPairs {
    BoardSearch search;
    std::vector<PairPictures> pictures;  // of all pairs, in the order of the search
};

SeenPairs searchBoards(FrameSource& source, std::size_t step, const Board& board,
                       const CalibrateOptions& options) {
    SeenPairs seen{BoardSearch(board), {}};
    BoardSearch& search = seen.search;
    const auto accept = [&](const Frame& frame, const Outcome<SeenPair>& outcome,
                            Progress& progress) {
        const auto* const pair = std::get_if<SeenPair>(&outcome);
        if (pair == nullptr)
            search.addFailure(frame, std::get<Ending>(outcome).message);
        else
            search.add(frame, pair->searched);
        seen.pictures.push_back(pair == nullptr ? PairPictures() : pair->pictures);
        progress.advance(frame.name);
    };
    const auto look = [&](const Frame& frame) { return lookAt(frame, board, !options.noReport); };
    const std::size_t count = (source.count() + step - 1) / step;
    workOnAll<Frame, SeenPair>(
        {count, options.jobs, chooseProgressOutput(true, count)},
        [&] { return nextOf(source, step); }, [&] { return look; }, accept);
    search.sort();
    search.requireEnoughPairs(*reopenFrames(options.frames));
    search.keepDistinct(options.maxPairs);
    return seen;
}

// A camera that is known beforehand.
struct KnownCamera {
    std::string path;
    vision::Calibration calibration;
};

CameraModel modelFor(const KnownCamera& camera, const cv::Size& imageSize) {
    try {
        return cameraModelOf(camera.calibration.scaleTo(imageSize.width, imageSize.height));
    } catch (const std::invalid_argument& error) {
        throw InputError(fmt::format("{} can't be used for images of {}: {}", quote(camera.path),
                                     describe(imageSize), error.what()));
    }
}

// Read and checked before all the work; what size the images have is not known by then.
std::vector<KnownCamera> readKnownCameras(const CalibrateOptions& options) {
    const auto& files = options.fixedIntrinsics;
    if (files.empty())
        return {};
    const Rig rig = readRig(files[0], files[1]);
    std::vector<KnownCamera> cameras{{files[0], rig.left}, {files[1], rig.right}};
    for (const KnownCamera& camera : cameras)
        modelFor(camera, sizeOf(camera.calibration));
    noteDoubts(rig, options.frames, sayBesideBar);
    return cameras;
}

// None leaves it to the residuals.
std::optional<Lens> lensNamed(const std::string& name) {
    for (const Lens lens : {Lens::pinhole, Lens::rational, Lens::fisheye}) {
        if (name == nameOf(lens))
            return lens;
    }
    return std::nullopt;
}

// Known before all the work.
void checkLensOptions(const CalibrateOptions& options) {
    const bool areKnown = !options.fixedIntrinsics.empty();
    const std::optional<Lens> wanted = lensNamed(options.lens);
    if (areKnown && wanted)
        throw SettingError(fmt::format(
            "--lens {} is not for --fix-intrinsics, whose files hold the lenses", options.lens));
    const WideAngleSettings& wideAngle = options.calibration.wideAngle;
    checkFieldOfView(wideAngle.fieldOfView);
    const bool mayBeWide = !areKnown && wanted.value_or(Lens::fisheye) == Lens::fisheye;
    if (!mayBeWide && !describeWideAngle(wideAngle).empty())
        throw SettingError(
            "field-of-view and max-residual are for wide-angle lenses (lens: fisheye "
            "or auto)");
}

RigCalibrationOptions calibrationOptions(const CalibrateOptions& options,
                                         const std::vector<KnownCamera>& known,
                                         const cv::Size& imageSize) {
    RigCalibrationOptions result = options.calibration;
    result.lens = lensNamed(options.lens);
    if (!known.empty())
        result.knownCameras.emplace(modelFor(known[0], imageSize), modelFor(known[1], imageSize));
    return result;
}

RigSolution calibrate(const CalibrateOptions& options, const std::vector<KnownCamera>& known,
                      const BoardSearch& search) {
    const InterruptionWatch watch;
    StatusLine line(chooseBar(0).bar);
    RigCalibrationOptions calibration = calibrationOptions(options, known, search.imageSize());
    calibration.onStep = [&](double error) {
        if (watch.isInterrupted())
            throw Interrupted("interrupted while calibrating, before anything was written");
        if (line.isDue())
            line.show(fmt::format("calibrating: {:.3f} pixels", error));
    };
    return calibrateRig(search.detections(), search.board(), search.imageSize(), calibration);
}

// The pair that stands at `number` among all.
StereoImages readPair(const FrameArguments& frames, std::size_t number) {
    const auto source = reopenFrames(frames);
    for (std::size_t i = 0; i < number; ++i)
        source->next();
    return source->next().value().read();
}

// Where a calibration goes that does not replace a better one.
std::string folderBeside(const CalibrateOptions& options) {
    return pathIn(options.output, nameOf(Grade::redo));
}

// Known before all the work.
void requireOtherInputs(const CalibrateOptions& options, const FrameSource& source) {
    ProtectedFiles inputs(source.files());
    inputs.add(options.fixedIntrinsics);
    for (const char* name : {pageName, "coverage.png", "rectified.png", "report.json", "rig.yml",
                             "right.yml", "left.yml"}) {
        inputs.requireOther(pathIn(options.output, name));
        inputs.requireOther(pathIn(folderBeside(options), name));
    }
}

bool holdsUsableRig(const std::string& folder) {
    try {
        const Rig rig = readRig(pathIn(folder, "left.yml"), pathIn(folder, "right.yml"));
        return !rig.verdict.empty() && rig.verdict != nameOf(Grade::redo);
    } catch (const InputError&) {
        return false;
    }
}

// A calibration that should not be used does not replace one that may be.
std::string chooseFolder(const CalibrateOptions& options, Grade grade) {
    const bool isKept = grade == Grade::redo && !options.isForced && holdsUsableRig(options.output);
    return isKept ? folderBeside(options) : options.output;
}

Parameters parametersOf(const CalibrateOptions& options) {
    Parameters parameters{{"pattern", options.board.pattern},
                          {"corners", options.board.corners},
                          {"square", options.board.square}};
    if (options.board.pattern == nameOf(Pattern::charuco)) {
        parameters.push_back({"marker", options.board.marker});
        parameters.push_back({"dictionary", options.board.dictionary});
    }
    if (!options.fixedIntrinsics.empty())
        parameters.push_back({"fixIntrinsics", options.fixedIntrinsics});
    const Parameters reading = describeReading(options.frames);
    parameters.insert(parameters.end(), reading.begin(), reading.end());
    parameters.push_back({"lens", options.lens});
    parameters.push_back({"alpha", options.calibration.alpha});
    const Parameters wideAngle = describeWideAngle(options.calibration.wideAngle);
    parameters.insert(parameters.end(), wideAngle.begin(), wideAngle.end());
    parameters.push_back({"maxPairs", static_cast<int>(options.maxPairs)});
    parameters.push_back({"rejectAbove", options.calibration.rejectAbove});
    return parameters;
}

// Those that the page shows.
CalibrationPictures choosePictures(const SeenPairs& seen, const RigSolution& solution,
                                   const StereoImages& rectifiedPair) {
    CalibrationPictures pictures;
    for (const std::size_t i : rankedViews(solution))
        pictures.views.push_back(seen.pictures[seen.search.frameOf(solution.used[i])]);
    pictures.rectified = makeRectifiedPictures(rectifiedPair);
    return pictures;
}

// The calibrations last: where they are, all the rest is. Returns the report, which tells by its
// hash to which calibrations it belongs.
nlohmann::ordered_json writeResults(const CalibrateOptions& options, const std::string& folder,
                                    const CalibrationReport& report, const SeenPairs& seen,
                                    const StereoImages& rectifiedPair) {
    const auto path = [&](const std::string& name) { return pathIn(folder, name); };
    const RigSolution& solution = report.solution;
    const std::string left = encodeCalibration(path("left.yml"), solution.rectified.left);
    const std::string right = encodeCalibration(path("right.yml"), solution.rectified.right);
    auto json =
        toJson(Provenance{"calibrate", parametersOf(options), hashRig(left, right), std::nullopt});
    json.update(toJson(report));
    std::vector<NewFile> files{
        newOwnPng(path("coverage.png"), drawCoverage(report)),
        newOwnPng(path("rectified.png"), drawRowLines(rectifiedPair.left, rectifiedPair.right)),
        {path("report.json"), dumpJson(json)},
        {path("rig.yml"), encodeRigModel(solution.model)},
        {path("right.yml"), right},
        {path("left.yml"), left}};
    if (!options.noReport)
        files.insert(files.begin(),
                     {path(pageName),
                      makeCalibrationPage(json, choosePictures(seen, solution, rectifiedPair))});
    publishTogether(files);
    if (options.noReport)
        removeFormerPage(path(pageName));  // of other calibrations
    return json;
}

// How the command ends once the report is out.
Ending conclude(const CalibrateOptions& options, const std::string& folder, Grade grade,
                const BoardSearch& search) {
    std::vector<std::string> complaints;
    if (grade == Grade::redo)
        complaints.push_back(fmt::format(
            "the calibrations in {} are written but should not be used: calibrate again",
            quote(folder)));
    if (folder != options.output)
        complaints.push_back(
            fmt::format("{} keeps the better ones that were there (--force replaces them)",
                        quote(options.output)));
    if (search.failures() > 0)
        complaints.push_back(
            fmt::format("{} of {} pairs can't be read or have another size, see "
                        "those left out",
                        search.failures(), search.pairs()));
    if (complaints.empty())
        return {};
    return {grade == Grade::redo ? Status::no : Status::partial, joined(complaints, "; ")};
}

}  // namespace

Ending runCalibrate(const CalibrateOptions& options) {
    const Board board = boardOf(options.board);
    checkAlpha(options.calibration.alpha);
    checkLensOptions(options);
    requireFrames(options.frames);
    const std::vector<KnownCamera> known = readKnownCameras(options);
    const auto source = openFrames(options.frames, sayBesideBar);
    requireOtherInputs(options, *source);
    const FolderUse use{"calibrate", ""};
    const OutputFolder output(options.output, use);
    const std::size_t step = chooseStep(source->count(), options.maxPairs);
    const SeenPairs seen = searchBoards(*source, step, board, options);
    const BoardSearch& search = seen.search;
    const CalibrationReport report = makeReport(calibrate(options, known, search), search);
    const RigSolution& solution = report.solution;
    if (options.calibration.wideAngle.fieldOfView && !solution.pinholes)
        sayBesideBar("note: --field-of-view is left aside, as the lenses are not wide-angle ones");
    const StereoImages firstUsed =
        readPair(options.frames, step * search.frameOf(solution.used.front()));
    const std::string folder = chooseFolder(options, report.verdict.grade);
    std::optional<OutputFolder> other;
    if (folder != options.output)
        other.emplace(folder, use);
    nlohmann::ordered_json json =
        writeResults(options, folder, report, seen, rectifyPair(solution.rectified, firstUsed));
    json["folder"] = folder;  // the one that was wanted, or that beside it
    std::cout << (options.json ? dumpJson(json) : toText(report));
    return conclude(options, folder, report.verdict.grade, search);
}

}  // namespace tiomipra
