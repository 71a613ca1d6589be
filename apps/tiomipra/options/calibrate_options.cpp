#include "options/calibrate_options.hpp"

#include <CLI/App.hpp>
#include <CLI/Validators.hpp>

#include "base/quantities.hpp"

namespace tiomipra {
namespace {

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
        .add_option("--lens", options.lens,
                    "pinhole: 5 coefficients; rational: 8; fisheye: 4, for\n"
                    "wide angles; auto: pinhole, unless what it leaves\n"
                    "asks for another")
        ->check(CLI::IsMember({"auto", "pinhole", "rational", "fisheye"}))
        ->type_name("NAME")
        ->capture_default_str()
        ->group(group);
    command
        .add_option("--alpha", options.calibration.alpha,
                    "0: rectified images without empty pixels; 1: with\n"
                    "all pixels of the raw ones; between: a blend; -1:\n"
                    "left to OpenCV")
        ->type_name("NUMBER")
        ->capture_default_str()
        ->group(group);
    addWideAngleOptions(command, options.calibration.wideAngle, group);
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
    addBoardOptions(command, options.board);
    addSolverOptions(command, options);
    command
        .add_option("--output", options.output,
                    "Folder for left.yml, right.yml, rig.yml,\n"
                    "report.html, report.json, coverage.png and\n"
                    "rectified.png")
        ->type_name("DIR")
        ->required();
    command.add_flag("--force", options.isForced,
                     "Let a calibration that comes out as \"redo\" replace\n"
                     "a better one; else it goes to the folder redo in DIR");
    command.add_flag("--no-report", options.noReport, "Leave out report.html, the page to look at");
    addJobsOption(command, options.jobs);
    command.add_flag("--json", options.json, "Print the report as JSON");
}

}  // namespace tiomipra
