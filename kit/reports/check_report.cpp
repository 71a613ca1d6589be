#include "reports/check_report.hpp"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <vector>

#include "base/text.hpp"
#include "reports/pictures.hpp"
#include "rigs/image_cells.hpp"

namespace tiomipra {
namespace {

using Json = nlohmann::ordered_json;

Json gridToJson(const cv::Mat& values) {
    Json rows = Json::array();
    for (int row = 0; row < values.rows; ++row)
        rows.push_back(std::vector<float>(values.row(row)));
    return rows;
}

Json pairToJson(const PairNames& pair, const std::vector<double>& differences) {
    Json json{{"left", pair.left}, {"right", pair.right}, {"consistentMatches", differences.size()},
              {"median", nullptr}, {"p95", nullptr},      {"signedMedian", nullptr}};
    if (!differences.empty()) {
        const Spread spread = spreadOf(differences);
        json.update({{"median", spread.median},
                     {"p95", spread.p95},
                     {"signedMedian", quantile(differences, 0.5)}});
    }
    return json;
}

std::string regionRows(const cv::Mat& medians) {
    std::string text;
    for (int row = 0; row < medians.rows; ++row) {
        for (const float median : cv::Mat_<float>(medians.row(row)))
            text += fmt::format("{:>9}", std::isnan(median) ? "-" : fixed(median, 2));
        text += '\n';
    }
    return text;
}

Json toJson(const Angle& angle) {
    return {{"degrees", angle.degrees}, {"uncertainty", angle.uncertainty}};
}

Json turnToJson(const RigCheck& check) {
    if (check.state == RigState::swapped)
        return nullptr;
    return {{"aboutX", toJson(check.turn.aboutX)},   {"aboutY", toJson(check.turn.aboutY)},
            {"aboutZ", toJson(check.turn.aboutZ)},   {"aboutYLimit", check.turnLimit},
            {"isAboutYKnown", isTurnKnown(check)},   {"disparityError", check.depthError.disparity},
            {"medianDepth", check.depthError.depth}, {"depthErrorShare", check.depthError.share}};
}

std::string angleRow(const std::string& name, const Angle& angle) {
    return fmt::format("  {:<30}{:>+7.3f} +-{:.3f}\n", name, angle.degrees, angle.uncertainty);
}

std::string tooMuch(double value, int decimals, const std::string& unit) {
    return fmt::format("{}{} too {}", fixed(std::abs(value), decimals), unit,
                       value > 0 ? "large" : "small");
}

std::string depthErrorText(const DepthError& error, const std::string& unit) {
    std::string text = "  That about y makes disparities " + tooMuch(error.disparity, 2, " pixels");
    if (error.depth > 0)
        text += fmt::format(", depths {} at {}{} (the median)", tooMuch(100 * error.share, 1, " %"),
                            significant(error.depth, 3), unit.empty() ? "" : " " + unit);
    return text + ".\n";
}

std::string turnText(const RigCheck& check, const std::string& unit) {
    std::string text = "Turn of the right camera since the calibration (degrees):\n";
    text += angleRow("about x, + is up", check.turn.aboutX);
    text += angleRow("about y, + is to the right", check.turn.aboutY);
    text += angleRow("about z, + is clockwise", check.turn.aboutZ);
    if (!isTurnKnown(check))
        return text + "  These images do not determine that about y.\n";
    return text + depthErrorText(check.depthError, unit);
}

}  // namespace

Json toJson(const RigCheck& check) {
    return {{"verdict", nameOf(check.state)},
            {"reason", check.reason},
            {"advice", check.advice},
            {"matches", check.matches},
            {"consistentMatches", check.consistent},
            {"rowDifference",
             {{"median", check.rowDifferences.median},
              {"p95", check.rowDifferences.p95},
              {"signedMedian", check.signedMedian},
              {"regionMedians", gridToJson(check.regionMedians)},
              {"regionsJudged", check.regionsJudged}}},
            {"shareBehindCameras", check.behindShare},
            {"turn", turnToJson(check)}};
}

Json pairRowsToJson(const RigCheck& check, const std::vector<PairNames>& pairs) {
    std::vector<std::vector<double>> differences(pairs.size());
    for (const PlacedRow& row : check.rows)
        differences[row.pair].push_back(row.difference);
    Json list = Json::array();
    for (std::size_t i = 0; i < pairs.size(); ++i)
        list.push_back(pairToJson(pairs[i], differences[i]));
    return list;
}

std::string toText(const RigCheck& check, const std::string& unit) {
    std::string text = fmt::format(
        "{} of {} matches are consistent.\n"
        "Row difference: median {:.3f}, 95 % up to {:.3f} pixels\n"
        "Medians by region of the left image, with sign (pixels), {} of 9 judged:\n",
        check.consistent, check.matches, check.rowDifferences.median, check.rowDifferences.p95,
        check.regionsJudged);
    text += regionRows(check.regionMedians);
    if (check.state != RigState::swapped)
        text += turnText(check, unit);
    text += fmt::format("Verdict: {}: {}.\n", nameOf(check.state), check.reason);
    if (!check.advice.empty())
        text += fmt::format("What to do: {}.\n", check.advice);
    return text;
}

Json swapToJson(const Fault& swap) {
    return {
        {"verdict", nameOf(RigState::swapped)}, {"reason", swap.problem}, {"advice", swap.remedy}};
}

std::string swapToText(const Fault& swap) {
    return fmt::format("Verdict: {}: {}.\nWhat to do: {}.\n", nameOf(RigState::swapped),
                       swap.problem, swap.remedy);
}

cv::Mat drawRowDifferences(const RigCheck& check, const cv::Mat& image) {
    const double largest = std::max(1., largestMagnitude(check.fineMedians));
    return drawGrid(check.fineMedians, image.size(),
                    {"median row difference (pixels)", -largest, largest}, 2, image);
}

}  // namespace tiomipra
