#include "options/help_formatter.hpp"

#include <CLI/CLI.hpp>

namespace tiomipra {

HelpFormatter::HelpFormatter() {
    column_width(28);
}

// As in " FILE...", " N=80" or " DIR (required)".
std::string HelpFormatter::make_option_opts(const CLI::Option* option) const {
    std::string text;
    if (option->get_type_size() != 0) {
        const std::string type = option->get_type_name();
        text = " " + type.substr(0, type.find(':'));
        if (option->get_expected_max() > 1)
            text += "...";
        if (!option->get_default_str().empty())
            text += "=" + option->get_default_str();
    }
    return text + (option->get_required() ? " (required)" : "");
}

// One blank line between parts is enough.
std::string HelpFormatter::make_help(const CLI::App* app, std::string name,
                                     CLI::AppFormatMode mode) const {
    std::string text = CLI::Formatter::make_help(app, name, mode);
    for (auto gap = text.find("\n\n\n"); gap != text.npos; gap = text.find("\n\n\n", gap))
        text.erase(gap, 1);
    return text;
}

}  // namespace tiomipra
