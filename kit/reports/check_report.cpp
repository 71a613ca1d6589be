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

std::string regionRows(const cv::Mat& medians) {
    std::string text;
    for (int row = 0; row < medians.rows; ++row) {
        for (const float median : cv::Mat_<float>(medians.row(row)))
            text += fmt::format("{:>9}", std::isnan(median) ? "-" : fixed(median, 2));
        text += '\n';
    }
    return text;
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
            {"turnDegrees", check.turnDegrees},
            {"shareBehindCameras", check.behindShare}};
}

std::string toText(const RigCheck& check) {
    std::string text = fmt::format(
        "{} of {} matches are consistent.\n"
        "Row difference: median {:.3f}, 95 % up to {:.3f} pixels\n"
        "Medians by region of the left image, with sign (pixels), {} of 9 judged:\n",
        check.consistent, check.matches, check.rowDifferences.median, check.rowDifferences.p95,
        check.regionsJudged);
    text += regionRows(check.regionMedians);
    text += fmt::format("Verdict: {}: {}.\n", nameOf(check.state), check.reason);
    if (check.state == RigState::notCalibrated)
        text += fmt::format(
            "All rows are shifted as if one camera had been turned by {:.2f} "
            "degrees about its x axis.\n",
            check.turnDegrees);
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
