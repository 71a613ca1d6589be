#include "reports/evaluation_report.hpp"

#include <nlohmann/json.hpp>

#include "base/text.hpp"

namespace tiomipra {
namespace {

using Json = nlohmann::ordered_json;

std::string printRow(const std::string& title, const BadShares& shares) {
    std::string row = fmt::format("  {:<34}", title);
    for (const double share : shares.above)
        row += fmt::format(" {:7.2f}", 100 * share);
    return row + fmt::format(" {:7.2f}\n", 100 * shares.d1);
}

std::string printRegion(const std::string& name, const Evaluation& evaluation) {
    if (evaluation.known == 0)
        return fmt::format("  {}: no pixel is known\n", name);
    if (evaluation.measured == 0)
        return fmt::format("  {}: {} pixels known, none of them measured\n", name,
                           evaluation.known);
    const std::string line = fmt::format(
        "  {}: {} pixels known, {:.2f} % of them measured, error {:.3f} px average, {:.3f} RMS\n",
        name, evaluation.known, 100 * evaluation.density, evaluation.averageError,
        evaluation.rootMeanSquareError);
    return line + printRow("  measured", evaluation.amongMeasured) +
           printRow("  known, bad where not measured", evaluation.amongKnown);
}

Json toJson(const BadShares& shares) {
    Json json;
    for (std::size_t i = 0; i < shares.above.size(); ++i)
        json[fmt::format("bad{:g}", badThresholds[i])] = 100 * shares.above[i];
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

}  // namespace

std::string printTable(const std::vector<FileEvaluation>& evaluations) {
    std::string table =
        fmt::format("{:<36} bad-0.5   bad-1   bad-2   bad-4      D1\n", "% of the pixels");
    for (const FileEvaluation& evaluation : evaluations) {
        table += fmt::format("{} against {}\n", printable(evaluation.files.disparity),
                             printable(evaluation.files.truth));
        table += printRegion("all", evaluation.all);
        if (evaluation.nonOccluded)
            table += printRegion("non-occluded", *evaluation.nonOccluded);
    }
    return table;
}

Json toJson(const FileEvaluation& evaluation) {
    Json json{{"disparity", evaluation.files.disparity}, {"groundTruth", evaluation.files.truth}};
    if (evaluation.nonOccluded)
        json["mask"] = evaluation.files.mask;
    json["all"] = toJson(evaluation.all);
    if (evaluation.nonOccluded)
        json["nonOccluded"] = toJson(*evaluation.nonOccluded);
    return json;
}

}  // namespace tiomipra
