// The options of `tiomipra evaluate`.
#ifndef TIOMIPRA_OPTIONS_EVALUATE_OPTIONS_HPP
#define TIOMIPRA_OPTIONS_EVALUATE_OPTIONS_HPP

#include <optional>
#include <string>
#include <vector>

#include "files/image_files.hpp"

namespace CLI {
class App;
}

namespace tiomipra {

struct EvaluateOptions {
    std::vector<std::string> disparity;
    std::vector<std::string> truth;
    std::vector<std::string> mask;
    ImageLimits limits;
    std::optional<double> truthScale;
    std::optional<double> maxBad2;
    unsigned jobs = 0;
    std::string page;  // to be written; "" for none
    bool json = false;
};

void addEvaluateOptions(CLI::App& command, EvaluateOptions& options);

}  // namespace tiomipra

#endif
