// tiomipra calibrate: from pictures of a board to the calibrations of both cameras.
#include <CLI/App.hpp>
#include <CLI/Validators.hpp>
#include <iostream>
#include <limits>
#include <memory>
#include <opencv2/core.hpp>

#include "board_detection.hpp"
#include "calibration_files.hpp"
#include "calibration_report.hpp"
#include "failures.hpp"
#include "frame_source.hpp"
#include "image_files.hpp"
#include "json_text.hpp"
#include "output_files.hpp"
#include "pictures.hpp"
#include "progress.hpp"
#include "provenance.hpp"
#include "subcommands.hpp"
#include "text.hpp"
#include "units.hpp"
#include "workers.hpp"

namespace tiomipra {
namespace {

struct CalibrateOptions {
    FrameOptions frames;
    std::string pattern = nameOf(Board().pattern);
    std::string corners;
    std::string square;
    std::string marker;
    std::string dictionary = Board().dictionary;
    std::vector<std::string> fixedIntrinsics;  // none, or the files of the left and right camera
    RigCalibrationOptions calibration;
    unsigned jobs = 0;
    std::string output;
    bool json = false;
};

// What the search for the board in all pairs came to.
struct Search {
    cv::Size imageSize;
    std::string firstFile;  // whose size it is
    std::vector<PairDetection> detections;
    std::vector<PairNames> names;     // of `detections`
    std::vector<std::size_t> frames;  // of `detections`: their numbers within the source
    std::vector<SkippedPair> skipped;
    std::size_t failures = 0;  // of `skipped`: pairs that can't be read or have another size
};

struct SearchedPair {
    cv::Size imageSize;
    PairDetection detection;
    std::string largerBoard;  // the image whose board has more corners than it should, if any
};

Board makeBoard(const CalibrateOptions& options) {
    Board board;
    board.pattern = patternNames().at(options.pattern);
    board.corners = parseSize(options.corners);
    board.square = parseLength(options.square).value;
    board.dictionary = options.dictionary;
    if (board.pattern == Pattern::charuco) {
        if (options.marker.empty())
            throw UsageError("--pattern charuco needs --marker, the side of the markers");
        const Length marker = parseLength(options.marker);
        if (marker.unit != parseLength(options.square).unit)
            throw UsageError("--square " + options.square + " and --marker " + options.marker +
                             " must both have a suffix or both have none");
        board.marker = marker.value;
    }
    checkBoard(board);
    return board;
}

SearchedPair searchPair(const Frame& frame, const Board& board) {
    const StereoImages images = frame.read();
    SearchedPair pair;
    pair.imageSize = images.left.size();
    const cv::Mat left = toGrey(images.left);
    const cv::Mat right = toGrey(images.right);
    pair.detection = {detectBoard(left, board), detectBoard(right, board)};
    if (goesOn(left, pair.detection.left, board))
        pair.largerBoard = frame.leftFile;
    else if (goesOn(right, pair.detection.right, board))
        pair.largerBoard = frame.rightFile;
    alignNumbering(pair.detection.right, pair.detection.left, board);
    return pair;
}

// Why a pair can't be used; empty if it can.
std::string whyUnusable(const Frame& frame, const SearchedPair& pair, const Board& board) {
    const PairDetection& detection = pair.detection;
    if (detection.left.empty() && detection.right.empty())
        return "no board in either image";
    if (detection.left.empty())
        return "no board in " + frame.leftFile;
    if (detection.right.empty())
        return "no board in " + frame.rightFile;
    if (!pair.largerBoard.empty())
        return "the board in " + pair.largerBoard + " has more than " + sizeText(board.corners) +
               " corners; --corners must count all of them";
    const SharedPoints shared = sharedPoints(detection.left, detection.right);
    if (!determinePose(shared.ids, board))
        return "the images share only " + std::to_string(shared.ids.size()) +
               " corners, too few or all on one line";
    return "";
}

// Why a pair is none to look at; empty if it is one. The first pair that can be read has the size
// that all must have.
std::string whyFailed(Search& search, const Frame& frame, const Outcome<SearchedPair>& outcome) {
    if (const auto* error = std::get_if<CommandError>(&outcome))
        return error->what();
    const cv::Size size = std::get<SearchedPair>(outcome).imageSize;
    if (search.firstFile.empty()) {
        search.firstFile = frame.leftFile;
        search.imageSize = size;
    }
    return size == search.imageSize
               ? ""
               : sizesDiffer(frame.leftFile, size, search.firstFile, search.imageSize);
}

void record(Search& search, const Frame& frame, const Outcome<SearchedPair>& outcome,
            const Board& board) {
    const PairNames names{frame.leftFile, frame.rightFile};
    const std::size_t number = search.detections.size() + search.skipped.size();
    const std::string failure = whyFailed(search, frame, outcome);
    if (!failure.empty()) {
        ++search.failures;
        search.skipped.push_back({names, failure});
        return;
    }
    const auto& pair = std::get<SearchedPair>(outcome);
    const std::string reason = whyUnusable(frame, pair, board);
    if (!reason.empty()) {
        search.skipped.push_back({names, reason});
        return;
    }
    search.detections.push_back(pair.detection);
    search.names.push_back(names);
    search.frames.push_back(number);
}

Search searchBoards(FrameSource& source, const Board& board, unsigned jobs) {
    Search search;
    Progress progress(chooseProgressOutput(true, source.count()), source.count());
    using Work = OrderedWork<Frame, SearchedPair>;
    Work work([&] { return source.next(); },
              [&](const Frame& frame, const Outcome<SearchedPair>& outcome) {
                  record(search, frame, outcome, board);
                  progress.advance(frame.name);
              });
    const Work::Worker worker = [&](const Frame& frame) { return searchPair(frame, board); };
    work.run(std::vector(countWorkers(jobs, source.count()), worker));
    return search;
}

void requirePairs(const Search& search, const Board& board) {
    if (search.detections.size() >= minimumPairs)
        return;
    std::string message = "only " + std::to_string(search.detections.size()) + " of " +
                          std::to_string(search.detections.size() + search.skipped.size()) +
                          " pairs can be used, at least " + std::to_string(minimumPairs) +
                          " are needed";
    const std::size_t withoutBoard = search.skipped.size() - search.failures;
    if (withoutBoard > search.failures)
        message += "; does the board have " + sizeText(board.corners) +
                   " points (--corners) and this --pattern?";
    for (const SkippedPair& pair : search.skipped)
        message += "\n  " + pair.names.left + "  " + pair.names.right + ": " + pair.reason;
    throw InputError(message);
}

Intrinsics readIntrinsics(const std::string& path, const cv::Size& imageSize) {
    vision::Calibration calibration;
    try {
        calibration = readCalibration(path).scaleTo(imageSize.width, imageSize.height);
    } catch (const std::invalid_argument& error) {
        throw InputError(quote(path) + " can't be used for images of " + sizeText(imageSize) +
                         ": " + error.what());
    }
    Intrinsics intrinsics;
    calibration.cameraMatrix.convertTo(intrinsics.cameraMatrix, CV_64F);
    calibration.distortion.convertTo(intrinsics.distortion, CV_64F);
    return intrinsics;
}

void checkAlpha(double alpha) {
    if (alpha != -1 && !(alpha >= 0 && alpha <= 1))
        throw UsageError("--alpha is " + significant(alpha, 6) + ", must be from 0 to 1, or -1");
}

RigCalibrationOptions calibrationOptions(const CalibrateOptions& options,
                                         const cv::Size& imageSize) {
    RigCalibrationOptions result = options.calibration;
    if (!options.fixedIntrinsics.empty()) {
        result.fixedIntrinsics.emplace(readIntrinsics(options.fixedIntrinsics[0], imageSize),
                                       readIntrinsics(options.fixedIntrinsics[1], imageSize));
    }
    return result;
}

cv::Mat drawRectifiedPair(const CalibrateOptions& options, const RigSolution& solution,
                          std::size_t frameNumber) {
    const auto source = reopenFrames(options.frames);
    for (std::size_t i = 0; i < frameNumber; ++i)
        source->next();
    const StereoImages images = source->next().value().read();
    vision::Stereo stereo;
    stereo.setMaxDepth(std::numeric_limits<float>::infinity());
    stereo.setCalibrations(solution.leftCalibration, solution.rightCalibration);
    return drawRowLines(stereo.rectifyImageLeft(images.left),
                        stereo.rectifyImageRight(images.right));
}

// Known before all the work.
void requireOtherInputs(const CalibrateOptions& options, const FrameSource& source) {
    ProtectedFiles inputs(source.files());
    inputs.add(options.fixedIntrinsics);
    for (const char* name :
         {"coverage.png", "rectified.png", "report.json", "right.yml", "left.yml"})
        inputs.requireOther(pathIn(options.output, name));
}

nlohmann::ordered_json parameters(const CalibrateOptions& options) {
    nlohmann::ordered_json result{
        {"pattern", options.pattern}, {"corners", options.corners}, {"square", options.square}};
    if (options.pattern == nameOf(Pattern::charuco)) {
        result["marker"] = options.marker;
        result["dictionary"] = options.dictionary;
    }
    if (!options.fixedIntrinsics.empty())
        result["fixIntrinsics"] = options.fixedIntrinsics;
    result["alpha"] = options.calibration.alpha;
    result["rejectAbove"] = options.calibration.rejectAbove;
    return result;
}

// The calibrations last: where they are, all the rest is. Returns the report, which tells by its
// hash to which calibrations it belongs.
nlohmann::ordered_json writeResults(const CalibrateOptions& options,
                                    const CalibrationReport& report, const cv::Mat& rectifiedPair) {
    const auto path = [&](const std::string& name) { return pathIn(options.output, name); };
    const RigSolution& solution = report.solution;
    const std::string left = encodeCalibration(path("left.yml"), solution.leftCalibration);
    const std::string right = encodeCalibration(path("right.yml"), solution.rightCalibration);
    auto json = provenance("calibrate", parameters(options), hashRig(left, right));
    json.update(toJson(report));
    writeTogether({newImage(path("coverage.png"), drawCoverage(report)),
                   newImage(path("rectified.png"), rectifiedPair),
                   newFile(path("report.json"), dumpJson(json)), newFile(path("right.yml"), right),
                   newFile(path("left.yml"), left)});
    return json;
}

// How the command ends once the report is out.
Status judge(const CalibrateOptions& options, Grade verdict, std::size_t failures,
             std::size_t pairs) {
    const bool isRedo = verdict == Grade::redo;
    std::vector<std::string> complaints;
    if (isRedo)
        complaints.push_back("the calibrations in " + quote(options.output) +
                             " are written, in place of any that were there, but should not be "
                             "used: calibrate again");
    if (failures > 0)
        complaints.push_back(std::to_string(failures) + " of " + std::to_string(pairs) +
                             " pairs can't be read or have another size, see those left out");
    if (complaints.empty())
        return Status::done;
    throw FailedAfterResults(isRedo ? Status::no : Status::partial, joined(complaints, "; "));
}

Status calibrate(const CalibrateOptions& options) {
    const Board board = makeBoard(options);
    checkAlpha(options.calibration.alpha);
    const auto source = openFrames(options.frames);
    requireOtherInputs(options, *source);
    prepareFolder(options.output);
    Search search = searchBoards(*source, board, options.jobs);
    requirePairs(search, board);
    RigSolution solution = calibrateRig(search.detections, board, search.imageSize,
                                        calibrationOptions(options, search.imageSize));
    const std::size_t failures = search.failures;
    const std::size_t pairs = search.detections.size() + search.skipped.size();
    const std::size_t best = search.frames[solution.used.front()];
    const cv::Mat rectifiedPair = drawRectifiedPair(options, solution, best);
    const CalibrationReport report =
        makeReport(std::move(solution), search.detections, std::move(search.names),
                   std::move(search.skipped), parseLength(options.square).unit);
    const nlohmann::ordered_json json = writeResults(options, report, rectifiedPair);
    std::cout << (options.json ? dumpJson(json) : toText(report));
    std::cout.flush();
    return judge(options, report.verdict, failures, pairs);
}

void addBoardOptions(CLI::App& command, CalibrateOptions& options) {
    constexpr auto group = "Board";
    command
        .add_option("--pattern", options.pattern,
                    "chessboard, circles, asymmetric-circles or charuco")
        ->check(CLI::IsMember(patternNames()).description(""))
        ->type_name("NAME")
        ->capture_default_str()
        ->group(group);
    command
        .add_option("--corners", options.corners,
                    "Points per row and rows: inner corners (squares\n"
                    "minus one) or circles, as in 9x6")
        ->type_name("WxH")
        ->required()
        ->group(group);
    command
        .add_option("--square", options.square,
                    "Side of a square, or distance of neighbouring\n"
                    "circles (of rows, if asymmetric). With a suffix mm,\n"
                    "cm, m or in, all results are in metres; a bare\n"
                    "number is in your own unit, and so are all results")
        ->type_name("LENGTH")
        ->required()
        ->group(group);
    command
        .add_option("--marker", options.marker,
                    "Side of the markers of a ChArUco board, with a\n"
                    "suffix if --square has one")
        ->type_name("LENGTH")
        ->group(group);
    command
        .add_option("--dictionary", options.dictionary,
                    "Markers of a ChArUco board: 4x4_50, 5x5_100,\n"
                    "6x6_250, 7x7_1000, original, apriltag_36h11, ...")
        ->check(CLI::IsMember(dictionaryNames()).description(""))
        ->type_name("NAME")
        ->capture_default_str()
        ->group(group);
}

void addSolverOptions(CLI::App& command, CalibrateOptions& options) {
    constexpr auto group = "Calibration";
    command
        .add_option("--fix-intrinsics", options.fixedIntrinsics,
                    "Keep focal lengths, centres and distortion of these\n"
                    "two files; find only how the cameras stand to each\n"
                    "other")
        ->type_name("LEFT RIGHT")
        ->expected(2)
        ->group(group);
    command
        .add_option("--alpha", options.calibration.alpha,
                    "0: rectified images without empty pixels; 1: with\n"
                    "all pixels of the raw ones; between: a blend; -1:\n"
                    "left to OpenCV")
        ->type_name("NUMBER")
        ->capture_default_str()
        ->group(group);
    command
        .add_option("--reject-above", options.calibration.rejectAbove,
                    "Leave out pairs whose reprojection error is larger,\n"
                    "the worst first")
        ->check(requirePositiveNumber)
        ->type_name("PIXELS")
        ->group(group);
}

}  // namespace

Run configureCalibrate(CLI::App& command) {
    auto options = std::make_shared<CalibrateOptions>();
    addFrameOptions(command, options->frames);
    addBoardOptions(command, *options);
    addSolverOptions(command, *options);
    command
        .add_option("--output", options->output,
                    "Folder for left.yml, right.yml, report.json,\n"
                    "coverage.png and rectified.png")
        ->type_name("DIR")
        ->required();
    addJobsOption(command, options->jobs);
    command.add_flag("--json", options->json, "Print the report as JSON");
    return [options] { return calibrate(*options); };
}

}  // namespace tiomipra
