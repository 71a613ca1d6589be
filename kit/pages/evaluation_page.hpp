// Disparities against ground truth, to look at.
#ifndef TIOMIPRA_PAGES_EVALUATION_PAGE_HPP
#define TIOMIPRA_PAGES_EVALUATION_PAGE_HPP

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "matching/evaluation.hpp"

namespace tiomipra {

// What the page shows of a disparity image beside its numbers.
struct ErrorPictures {
    nlohmann::ordered_json numbers;  // the histogram, the worst places, what the shades stand for
    // PNG files in shades of grey, from 1 to 255; 0 is where there is nothing. All empty if left
    // out.
    std::string disparity;
    std::string truth;
    std::string errors;
};

// Of how many disparity images a page shows pictures.
constexpr std::size_t mostPictured = 20;

// From any thread.
ErrorPictures makeErrorPictures(const EvaluatedImages& images);

// Leaves out the pictures of the best of `evaluations` where there are more than `mostPictured`:
// of those whose measured pixels are least often off by more than 2 pixels.
void keepWorstPictures(const std::vector<FileEvaluation>& evaluations,
                       std::vector<ErrorPictures>& pictures);

// The bytes of an HTML file. `report` is what an evaluation tells as JSON, `pictures` are those of
// its evaluations.
std::string makeEvaluationPage(nlohmann::ordered_json report,
                               const std::vector<ErrorPictures>& pictures);

}  // namespace tiomipra

#endif
