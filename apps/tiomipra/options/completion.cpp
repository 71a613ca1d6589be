#include "options/completion.hpp"

#include <CLI/App.hpp>
#include <algorithm>
#include <sstream>

#include "base/text.hpp"

namespace tiomipra {
namespace {

std::vector<std::string> split(const std::string& text, char delimiter) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, delimiter);)
        parts.push_back(part);
    return parts;
}

// CLI11 adds to the name of the type what a set of values holds: "NAME:{fast,balanced}".
std::vector<std::string> valuesOf(const CLI::Option& option) {
    const std::string type = option.get_type_name();
    const auto open = type.find(":{");
    const auto close = type.find('}');
    if (open == type.npos || close == type.npos)
        return {};
    return split(type.substr(open + 2, close - open - 2), ',');
}

// Of a list, the last item is the one to be completed.
std::vector<std::string> completionsOf(const CLI::Option& option, const std::string& current) {
    const auto comma = current.rfind(option.get_delimiter());
    const bool isList = option.get_delimiter() != '\0' && comma != current.npos;
    std::vector<std::string> values = valuesOf(option);
    for (std::string& value : values)
        value.insert(0, isList ? current.substr(0, comma + 1) : "");
    return values;
}

std::vector<std::string> subcommandsOf(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands({}))
        names.push_back(command->get_name());
    return names;
}

std::vector<std::string> optionsOf(const CLI::App& command) {
    std::vector<std::string> names;
    for (const CLI::Option* option : command.get_options()) {
        for (const std::string& name : option->get_lnames())
            names.push_back("--" + name);
    }
    return names;
}

// The subcommand that the first word names which is no option, or `app` itself.
const CLI::App& commandIn(const CLI::App& app, const std::vector<std::string>& words) {
    const auto end = words.end() - 1;
    const auto named = std::find_if(words.begin(), end,
                                    [](const std::string& word) { return !startsWith(word, "-"); });
    for (const CLI::App* const command : app.get_subcommands({})) {
        if (named != end && command->get_name() == *named)
            return *command;
    }
    return app;
}

}  // namespace

std::vector<std::string> completionsOf(const CLI::App& app, const std::vector<std::string>& words) {
    if (words.empty())
        return {};
    const CLI::App& command = commandIn(app, words);
    const std::string& current = words.back();
    if (startsWith(current, "-"))
        return optionsOf(command);
    const CLI::Option* const before =
        words.size() < 2 ? nullptr : command.get_option_no_throw(words[words.size() - 2]);
    if (before != nullptr && before->get_type_size() != 0)
        return completionsOf(*before, current);
    return subcommandsOf(command);
}

std::vector<std::string> knownWords(const CLI::App& app) {
    std::vector<std::string> words = subcommandsOf(app);
    for (const std::string& option : optionsOf(app))
        words.push_back(option);
    return words;
}

}  // namespace tiomipra
