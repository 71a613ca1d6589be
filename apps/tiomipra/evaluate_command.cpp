// Disparity images against ground truth: a table, JSON, a gate.
#include <cmath>
#include <cstdio>
#include <iostream>
#include <memory>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

#include "disparity_files.hpp"
#include "evaluation.hpp"
#include "failures.hpp"
#include "frame_source.hpp"
#include "image_files.hpp"
#include "json_text.hpp"
#include "progress.hpp"
#include "provenance.hpp"
#include "subcommands.hpp"
#include "text.hpp"
#include "units.hpp"
#include "workers.hpp"

namespace tiomipra {
namespace {

using Json = nlohmann::ordered_json;

constexpr auto things = "disparity images";

struct EvaluateOptions {
    std::vector<std::string> disparity;
    std::vector<std::string> truth;
    std::vector<std::string> mask;
    std::optional<double> truthScale;
    std::optional<double> maxBad2;
    unsigned jobs = 0;
    bool json = false;
};

struct Inputs {
    std::string disparity;
    std::string truth;
    std::string mask;  // empty: none
};

struct Result {
    Inputs inputs;
    Evaluation all;
    std::optional<Evaluation> nonOccluded;
};

void requireSameCount(const std::vector<std::string>& disparities,
                      const std::vector<std::string>& others, const std::string& option) {
    if (disparities.size() != others.size())
        throw InputError("--disparity stands for " + std::to_string(disparities.size()) +
                         " images, " + option + " for " + std::to_string(others.size()) +
                         "; there must be one for each");
}

std::vector<Inputs> resolveInputs(const EvaluateOptions& options) {
    const auto disparities = resolveImages(options.disparity);
    const auto truths = resolveImages(options.truth);
    const auto masks = resolveImages(options.mask);
    requireSameCount(disparities, truths, "--ground-truth");
    if (!masks.empty())
        requireSameCount(disparities, masks, "--mask");
    std::vector<Inputs> inputs;
    for (std::size_t i = 0; i < disparities.size(); ++i)
        inputs.push_back({disparities[i], truths[i], masks.empty() ? "" : masks[i]});
    return inputs;
}

void requireSameSize(const cv::Mat& disparity, const std::string& disparityFile,
                     const cv::Mat& other, const std::string& otherFile) {
    if (disparity.size() != other.size())
        throw InputError(sizesDiffer(disparityFile, disparity.size(), otherFile, other.size()));
}

// White is not occluded; darker shades are occluded or unknown in the masks that are in use.
cv::Mat readMask(const std::string& path) {
    const cv::Mat image = readImage(path);
    if (image.channels() != 1)
        throw InputError(quote(path) + " holds colours, must be a grey mask");
    double largest = 0;
    cv::minMaxLoc(image, nullptr, &largest);
    return largest > 0 ? cv::Mat(image == largest) : image;
}

Result evaluateFiles(const Inputs& inputs, std::optional<double> truthScale) {
    const cv::Mat disparity = readDisparity(inputs.disparity, {});
    const cv::Mat truth = readDisparity(inputs.truth, truthScale);
    requireSameSize(disparity, inputs.disparity, truth, inputs.truth);
    Result result{inputs, evaluate(disparity, truth), {}};
    if (!inputs.mask.empty()) {
        const cv::Mat mask = readMask(inputs.mask);
        requireSameSize(disparity, inputs.disparity, mask, inputs.mask);
        result.nonOccluded = evaluate(disparity, truth, mask);
    }
    return result;
}

// Carries on past what fails, which joins `failures`.
std::vector<Result> evaluateAll(const std::vector<Inputs>& all, const EvaluateOptions& options,
                                std::vector<Failure>& failures) {
    std::vector<Result> results;
    Progress progress(chooseBar(all.size()), all.size());
    using Work = OrderedWork<Inputs, Result>;
    Work work(
        [next = all.begin(), &all]() mutable {
            return next == all.end() ? std::nullopt : std::optional(*next++);
        },
        [&](const Inputs& inputs, const Outcome<Result>& outcome) {
            if (const auto* error = std::get_if<CommandError>(&outcome))
                failures.push_back({inputs.disparity, error->status(), error->what()});
            else
                results.push_back(std::get<Result>(outcome));
            progress.advance(inputs.disparity);
        });
    const Work::Worker worker = [&](const Inputs& inputs) {
        return evaluateFiles(inputs, options.truthScale);
    };
    work.run(std::vector(countWorkers(options.jobs, all.size()), worker), things);
    return results;
}

// Without any measured pixel there is nothing to trust.
bool passes(const Result& result, double maxBad2) {
    static_assert(badThresholds[2] == 2);
    return result.all.amongMeasured.above[2] * 100 <= maxBad2;
}

std::string printRow(const std::string& title, const BadShares& shares) {
    std::string row = printed("  %-34s", title.c_str());
    for (const double share : shares.above)
        row += printed(" %7.2f", 100 * share);
    return row + printed(" %7.2f\n", 100 * shares.d1);
}

std::string printRegion(const std::string& name, const Evaluation& evaluation) {
    if (evaluation.measured == 0)
        return printed("  %s: %zu pixels known, none of them measured\n", name.c_str(),
                       evaluation.known);
    return printed(
               "  %s: %zu pixels known, %.2f %% of them measured, error %.3f px average, %.3f "
               "RMS\n",
               name.c_str(), evaluation.known, 100 * evaluation.density, evaluation.averageError,
               evaluation.rootMeanSquareError) +
           printRow("  measured", evaluation.amongMeasured) +
           printRow("  known, bad where not measured", evaluation.amongKnown);
}

std::string printTable(const std::vector<Result>& results) {
    std::string table =
        printed("%-36s bad-0.5   bad-1   bad-2   bad-4      D1\n", "% of the pixels");
    for (const Result& result : results) {
        table += result.inputs.disparity + " against " + result.inputs.truth + "\n" +
                 printRegion("all", result.all);
        if (result.nonOccluded)
            table += printRegion("non-occluded", *result.nonOccluded);
    }
    return table;
}

Json toJson(const BadShares& shares) {
    Json json;
    for (std::size_t i = 0; i < shares.above.size(); ++i)
        json[printed("bad%g", badThresholds[i])] = 100 * shares.above[i];
    json["d1"] = 100 * shares.d1;
    return json;
}

Json toJson(const Evaluation& evaluation) {
    return {{"known", evaluation.known},
            {"measured", evaluation.measured},
            {"density", 100 * evaluation.density},
            {"averageError", evaluation.averageError},
            {"rmsError", evaluation.rootMeanSquareError},
            {"percentOfMeasured", toJson(evaluation.amongMeasured)},
            {"percentOfKnown", toJson(evaluation.amongKnown)}};
}

Json toJson(const Result& result) {
    Json json{{"disparity", result.inputs.disparity}, {"groundTruth", result.inputs.truth}};
    if (result.nonOccluded)
        json["mask"] = result.inputs.mask;
    json["all"] = toJson(result.all);
    if (result.nonOccluded)
        json["nonOccluded"] = toJson(*result.nonOccluded);
    return json;
}

Json parameters(const EvaluateOptions& options) {
    Json json = Json::object();
    if (options.truthScale)
        json["groundTruthScale"] = *options.truthScale;
    if (options.maxBad2)
        json["maxBad2"] = *options.maxBad2;
    return json;
}

std::string printJson(const EvaluateOptions& options, const std::vector<Result>& results,
                      const std::vector<Failure>& failures, bool isPassed) {
    Json json = provenance("evaluate", parameters(options), "");
    json["evaluations"] = Json::array();
    for (const Result& result : results)
        json["evaluations"].push_back(toJson(result));
    json["failed"] = Json::array();
    for (const Failure& failure : failures)
        json["failed"].push_back(toJson(failure));
    if (options.maxBad2)
        json["passed"] = isPassed;
    return dumpJson(json);
}

Status runEvaluate(const EvaluateOptions& options) {
    const auto inputs = resolveInputs(options);
    std::vector<Failure> failures;
    const auto results = evaluateAll(inputs, options, failures);
    std::vector<std::string> refused;
    for (const Result& result : results) {
        if (options.maxBad2 && !passes(result, *options.maxBad2))
            refused.push_back(result.inputs.disparity);
    }
    if (options.json)
        std::cout << printJson(options, results, failures, refused.empty() && failures.empty());
    else if (!results.empty())
        std::cout << printTable(results);
    for (const std::string& file : refused)
        std::cerr << file << ": more than " << *options.maxBad2
                  << " % of the measured pixels are off by more than 2 pixels\n";
    if (!failures.empty())
        conclude(failures, inputs.size(), things);
    return refused.empty() ? Status::done : Status::no;
}

}  // namespace

Run configureEvaluate(CLI::App& command) {
    const auto options = std::make_shared<EvaluateOptions>();
    command
        .add_option("--disparity", options->disparity,
                    "Disparity images: PFM, floating-point TIFF, or 16-bit PNG\n(pixels times 256, "
                    "0 invalid); 0 or less and not finite\ncount as not measured")
        ->type_name("FILE")
        ->required();
    command
        .add_option("--ground-truth", options->truth,
                    "True disparities of the same size: the same formats, or 8-bit\nPNG with a "
                    "scale; 0 and not finite are unknown")
        ->type_name("FILE")
        ->required();
    command
        .add_option("--ground-truth-scale", options->truthScale,
                    "What one pixel of disparity is in the ground truth's whole\nnumbers (default: "
                    "256 for 16 bits, none for 8)")
        ->type_name("S")
        ->check(requirePositiveNumber);
    command
        .add_option("--mask", options->mask,
                    "Grey images, white where nothing is occluded: report those\npixels by "
                    "themselves too")
        ->type_name("FILE");
    command
        .add_option("--max-bad2", options->maxBad2,
                    "Exit with status 1 if more than P percent of the measured\npixels are off by "
                    "more than 2 pixels, or none is measured")
        ->type_name("P")
        ->check(CLI::Range(0., 100.));
    addJobsOption(command, options->jobs);
    command.add_flag("--json", options->json,
                     "Print the results as JSON on standard output and nothing else there");
    return [options] { return runEvaluate(*options); };
}

}  // namespace tiomipra
