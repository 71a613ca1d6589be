// The options about matching.
//
// Three sources are laid over each other: a preset, a file of parameters, and the options
// themselves, which win. What none of them gives keeps the library's default.
#ifndef TIOMIPRA_OPTIONS_MATCHER_OPTIONS_HPP
#define TIOMIPRA_OPTIONS_MATCHER_OPTIONS_HPP

#include <string>

#include "matching/matcher_settings.hpp"

namespace CLI {
class App;
}

namespace tiomipra {

struct MatcherOptions {
    MatcherSettings settings;
    std::string preset;              // "" for none
    std::string parametersFile;      // "" for none
    std::string saveParametersFile;  // "" for none
};

// Adds all options about matching.
void addMatcherOptions(CLI::App& command, MatcherOptions& options);

// All sources laid over each other. Throws `InputError` that names the file of parameters, and the
// key or line, when it can't be read or holds something else.
MatcherSettings resolveSettings(const MatcherOptions& options);

}  // namespace tiomipra

#endif
