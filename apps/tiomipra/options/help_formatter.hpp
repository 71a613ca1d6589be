// How the help of the command looks.
#ifndef TIOMIPRA_OPTIONS_HELP_FORMATTER_HPP
#define TIOMIPRA_OPTIONS_HELP_FORMATTER_HPP

#include <CLI/Formatter.hpp>
#include <string>

namespace tiomipra {

// CLI11's layout without what the descriptions say better: which options exclude or need others,
// and the names of types and checks.
class HelpFormatter : public CLI::Formatter {
  public:
    HelpFormatter();

    std::string make_option_opts(const CLI::Option* option) const override;
    std::string make_help(const CLI::App* app, std::string name,
                          CLI::AppFormatMode mode) const override;
};

}  // namespace tiomipra

#endif
