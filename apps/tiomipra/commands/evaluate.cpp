// tiomipra evaluate: disparity images against ground truth, as a table, as JSON, as a gate.
#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "base/errors.hpp"
#include "base/json_text.hpp"
#include "base/provenance.hpp"
#include "base/text.hpp"
#include "commands/commands.hpp"
#include "files/image_lists.hpp"
#include "files/output_files.hpp"
#include "files/protected_files.hpp"
#include "matching/evaluation.hpp"
#include "options/evaluate_options.hpp"
#include "pages/evaluation_page.hpp"
#include "reports/evaluation_report.hpp"
#include "runs/work_on_all.hpp"

namespace tiomipra {
namespace {

using Json = nlohmann::ordered_json;

constexpr auto things = "disparity images";

struct EvaluatedPair {
    FileEvaluation evaluation;
    ErrorPictures pictures;  // where a page is wanted
};

// What became of all files.
struct Outcomes {
    std::vector<FileEvaluation> evaluations;
    std::vector<ErrorPictures> pictures;
    std::vector<Failure> failures;
    std::vector<std::string> refused;  // disparity images that are not good enough, and why
};

void requireSameCount(const std::vector<std::string>& disparities,
                      const std::vector<std::string>& others, const std::string& option) {
    if (disparities.size() != others.size())
        throw InputError(
            fmt::format("--disparity stands for {} images, {} for {}; there must be one for each",
                        disparities.size(), option, others.size()));
}

std::vector<EvaluatedFiles> resolveFiles(const EvaluateOptions& options) {
    const auto disparities = resolveImages(options.disparity);
    const auto truths = resolveImages(options.truth);
    const auto masks = resolveImages(options.mask);
    requireSameCount(disparities, truths, "--ground-truth");
    if (!masks.empty())
        requireSameCount(disparities, masks, "--mask");
    std::vector<EvaluatedFiles> files;
    for (std::size_t i = 0; i < disparities.size(); ++i)
        files.push_back({disparities[i], truths[i], masks.empty() ? "" : masks[i]});
    return files;
}

void keep(const EvaluatedFiles& files, const Outcome<EvaluatedPair>& outcome,
          const EvaluateOptions& options, Outcomes& outcomes) {
    if (const auto* failed = std::get_if<Ending>(&outcome)) {
        outcomes.failures.push_back({files.disparity, *failed});
        return;
    }
    const auto& [evaluation, pictures] = std::get<EvaluatedPair>(outcome);
    outcomes.evaluations.push_back(evaluation);
    outcomes.pictures.push_back(pictures);
    keepWorstPictures(outcomes.evaluations, outcomes.pictures);
    if (!options.maxBad2)
        return;
    const std::string complaint = whyNotGoodEnough(evaluation.all, *options.maxBad2);
    if (!complaint.empty())
        outcomes.refused.push_back(files.disparity + ": " + complaint);
}

EvaluatedPair evaluateOne(const EvaluatedFiles& files, const EvaluateOptions& options) {
    const EvaluatedImages images =
        readEvaluated(files, options.truthScale, options.limits, sayBesideBar);
    return {evaluateFiles(files, images),
            options.page.empty() ? ErrorPictures() : makeErrorPictures(images)};
}

// Carries on past what fails.
Outcomes evaluateAll(const std::vector<EvaluatedFiles>& all, const EvaluateOptions& options) {
    Outcomes outcomes;
    const auto next = [file = all.begin(), &all]() mutable {
        return file == all.end() ? std::nullopt : std::optional(*file++);
    };
    const auto makeWorker = [&options] {
        return [&options](const EvaluatedFiles& files) { return evaluateOne(files, options); };
    };
    const auto accept = [&](const EvaluatedFiles& files, const Outcome<EvaluatedPair>& outcome,
                            Progress& progress) {
        keep(files, outcome, options, outcomes);
        progress.advance(files.disparity);
    };
    workOnAll<EvaluatedFiles, EvaluatedPair>(
        {all.size(), options.jobs, chooseBar(all.size()), things}, next, makeWorker, accept);
    return outcomes;
}

Parameters parametersOf(const EvaluateOptions& options) {
    Parameters parameters;
    if (options.truthScale)
        parameters.push_back({"groundTruthScale", *options.truthScale});
    if (options.maxBad2)
        parameters.push_back({"maxBad2", *options.maxBad2});
    if (options.limits.acceptsDamaged)
        parameters.push_back({"acceptDamaged", true});
    return parameters;
}

Json makeReport(const EvaluateOptions& options, const Outcomes& outcomes) {
    Json json = toJson(Provenance{"evaluate", parametersOf(options), "", std::nullopt});
    json["evaluations"] = Json::array();
    for (const FileEvaluation& evaluation : outcomes.evaluations)
        json["evaluations"].push_back(toJson(evaluation));
    json["failed"] = Json::array();
    for (const Failure& failure : outcomes.failures)
        json["failed"].push_back(toJson(failure));
    if (options.maxBad2)
        json["passed"] = outcomes.refused.empty() && outcomes.failures.empty();
    return json;
}

// Known before all the work.
void requireOtherInputs(const EvaluateOptions& options, const std::vector<EvaluatedFiles>& all) {
    if (options.page.empty())
        return;
    std::vector<std::string> paths;
    for (const auto& [disparity, truth, mask] : all)
        paths.insert(paths.end(), {disparity, truth, mask});
    ProtectedFiles(paths).requireOther(options.page);
}

}  // namespace

Ending runEvaluate(const EvaluateOptions& options) {
    const auto files = resolveFiles(options);
    requireOtherInputs(options, files);
    const Outcomes outcomes = evaluateAll(files, options);
    const Json report = makeReport(options, outcomes);
    if (!options.page.empty() && !outcomes.evaluations.empty())
        writeFile(options.page, makeEvaluationPage(report, outcomes.pictures));
    if (options.json)
        std::cout << dumpJson(report);
    else if (!outcomes.evaluations.empty())
        std::cout << printTable(outcomes.evaluations);
    for (const std::string& refusal : outcomes.refused)
        std::cerr << printable(refusal) << '\n';
    if (!outcomes.failures.empty())
        return conclude(outcomes.failures, files.size(), things);
    return {outcomes.refused.empty() ? Status::done : Status::no, ""};
}

}  // namespace tiomipra
