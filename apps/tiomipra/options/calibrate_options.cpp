#include "options/calibrate_options.hpp"

#include <CLI/App.hpp>
#include <CLI/Validators.hpp>

#include "base/errors.hpp"
#include "base/quantities.hpp"
#include "base/text.hpp"

namespace tiomipra {
namespace {

// Other boards have no markers, whatever is given for them.
double markerLength(const CalibrateOptions& options) {
    if (options.marker.empty())
        throw SettingError("--pattern charuco needs --marker, the side of the markers");
    const std::string problem = complaint<parseLength>(options.marker);
    if (!problem.empty())
        throw SettingError("marker", problem);
    const Length marker = parseLength(options.marker);
    if (marker.unit != parseLength(options.square).unit)
        throw SettingError(
            fmt::format("--square {} and --marker {} must both have a suffix or both have none",
                        options.square, options.marker));
    return marker.value;
}

void addBoardOptions(CLI::App& command, CalibrateOptions& options) {
    constexpr auto group = "Board";
    command
        .add_option("--pattern", options.pattern,
                    "chessboard, circles, asymmetric-circles or charuco")
        ->check(CLI::IsMember(patternNames()))
        ->type_name("NAME")
        ->capture_default_str()
        ->group(group);
    command
        .add_option("--corners", options.corners,
                    "Points per row and rows: inner corners (squares\n"
                    "minus one) or circles, as in 9x6")
        ->check(complaint<parseSize>)
        ->type_name("WxH")
        ->required()
        ->group(group);
    command
        .add_option("--square", options.square,
                    "Side of a square, or distance of neighbouring\n"
                    "circles (of rows, if asymmetric). With a suffix mm,\n"
                    "cm, m or in, all results are in metres; a bare\n"
                    "number is in your own unit, and so are all results")
        ->check(complaint<parseLength>)
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
        ->check(CLI::IsMember(dictionaryNames()))
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
        .add_option("--max-pairs", options.maxPairs,
                    "Calibrate with at most so many pairs, those whose\n"
                    "views of the board differ most")
        ->check(CLI::Range(minimumPairs, std::size_t{10000}).description(""))
        ->type_name("N")
        ->capture_default_str()
        ->group(group);
    command
        .add_option("--reject-above", options.calibration.rejectAbove,
                    "Leave out pairs whose reprojection error is larger,\n"
                    "the worst first")
        ->check(complaint<parsePositiveNumber>)
        ->type_name("PIXELS")
        ->group(group);
}

}  // namespace

void addCalibrateOptions(CLI::App& command, CalibrateOptions& options) {
    addFrameOptions(command, options.frames);
    addBoardOptions(command, options);
    addSolverOptions(command, options);
    command
        .add_option("--output", options.output,
                    "Folder for left.yml, right.yml, rig.yml,\n"
                    "report.json, coverage.png and rectified.png")
        ->type_name("DIR")
        ->required();
    command.add_flag("--force", options.isForced,
                     "Let a calibration that comes out as \"redo\" replace\n"
                     "a better one; else it goes to the folder redo in DIR");
    addJobsOption(command, options.jobs);
    command.add_flag("--json", options.json, "Print the report as JSON");
}

Board boardOf(const CalibrateOptions& options) {
    const Length square = parseLength(options.square);
    Board board;
    board.pattern = patternNames().at(options.pattern);
    board.corners = parseSize(options.corners);
    board.square = square.value;
    board.unit = square.unit;
    board.dictionary = options.dictionary;
    if (board.pattern == Pattern::charuco)
        board.marker = markerLength(options);
    checkBoard(board);
    return board;
}

}  // namespace tiomipra
