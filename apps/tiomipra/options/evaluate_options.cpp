#include "options/evaluate_options.hpp"

#include <CLI/App.hpp>

#include "base/quantities.hpp"
#include "options/common_options.hpp"

namespace tiomipra {
namespace {

void addInputs(CLI::App& command, EvaluateOptions& options) {
    command
        .add_option("--disparity", options.disparity,
                    "Disparity images: PFM, floating-point TIFF, or 16-bit PNG\n(pixels times 256, "
                    "0 invalid); 0 or less and not finite\ncount as not measured")
        ->type_name("FILE")
        ->required();
    command
        .add_option("--ground-truth", options.truth,
                    "True disparities of the same size: the same formats, or 8-bit\nPNG with a "
                    "scale; 0 and not finite are unknown")
        ->type_name("FILE")
        ->required();
    command
        .add_option("--ground-truth-scale", options.truthScale,
                    "What one pixel of disparity is in the ground truth's whole\nnumbers (default: "
                    "256 for 16 bits, none for 8)")
        ->type_name("S")
        ->check(complaint<parsePositiveNumber>);
    command
        .add_option("--mask", options.mask,
                    "Grey images, white where nothing is occluded: report those\npixels by "
                    "themselves too")
        ->type_name("FILE");
}

}  // namespace

void addEvaluateOptions(CLI::App& command, EvaluateOptions& options) {
    addInputs(command, options);
    addImageLimits(command, options.limits, "Options");
    command
        .add_option("--max-bad2", options.maxBad2,
                    "Exit with status 1 if more than P percent of the measured\npixels are off by "
                    "more than 2 pixels, or none is measured")
        ->type_name("P")
        ->check(CLI::Range(0., 100.));
    addPageOption(command, options.page);
    addJobsOption(command, options.jobs);
    command.add_flag("--json", options.json,
                     "Print the results as JSON on standard output and nothing else there");
}

}  // namespace tiomipra
