// What a shell offers to complete a command line with.
#ifndef TIOMIPRA_OPTIONS_COMPLETION_HPP
#define TIOMIPRA_OPTIONS_COMPLETION_HPP

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace tiomipra {

// All words that may stand in place of the last of `words`, which follow the program's name: the
// subcommands, options, or what the option before it takes. Nothing where a file is expected.
std::vector<std::string> completionsOf(const CLI::App& app, const std::vector<std::string>& words);

// The subcommands of `app` and its options, "--help" among them.
std::vector<std::string> knownWords(const CLI::App& app);

}  // namespace tiomipra

#endif
