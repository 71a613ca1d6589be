// The command `tiomipra`: a table of subcommands, and how they end.
#include <CLI/CLI.hpp>
#include <cstdlib>
#include <iostream>
#include <string>
#include <tevo/log.hpp>
#include <vector>

#include "provenance.hpp"
#include "status.hpp"
#include "subcommands.hpp"

namespace {

using namespace tiomipra;

struct Subcommand {
    const char* name;
    const char* summary;
    Run (*configure)(CLI::App& command);
};

const std::vector<Subcommand> subcommands = {};

constexpr auto footer =
    "Exit status: 0 done; 1 the answer is no (a check, gate or calibration failed);\n"
    "2 wrong usage; 3 an input can't be read or does not fit; 4 some of many pairs failed.";

int toExitStatus(Status status) {
    return static_cast<int>(status);
}

void configure(CLI::App& app, Run& run) {
    app.set_version_flag("--version", "tiomipra " + programVersion());
    app.require_subcommand(1);
    app.footer(footer);
    for (const auto& [name, summary, configureSubcommand] : subcommands) {
        auto* const command = app.add_subcommand(name, summary);
        command->callback([&run, chosen = configureSubcommand(*command)] { run = chosen; });
    }
}

// "tiomipra", or "tiomipra depth" once a subcommand has been recognised.
std::string calledAs(const CLI::App& app) {
    const auto chosen = app.get_subcommands();
    return chosen.empty() ? app.get_name() : app.get_name() + " " + chosen.front()->get_name();
}

int fail(const CLI::App& app, Status status, const std::string& message) {
    std::cerr << calledAs(app) << ": " << message << '\n';
    return toExitStatus(status);
}

int reportParseError(const CLI::App& app, const CLI::ParseError& error) {
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success))
        return app.exit(error);  // --help and --version
    const std::string hint = "\nRun '" + calledAs(app) + " --help' for its options.";
    return fail(app, Status::usage, error.what() + hint);
}

}  // namespace

int main(int argc, char** argv) {
    // What the library refuses reaches the user as a message of the command, once.
    if (std::getenv("TEVO_LOG") == nullptr)
        tevo::log::setLevel(tevo::LogLevel::none);

    CLI::App app("Metric depth from a calibrated pair of cameras.", "tiomipra");
    Run run;
    configure(app, run);
    try {
        app.parse(argc, argv);
        return toExitStatus(run());
    } catch (const CLI::ParseError& error) {
        return reportParseError(app, error);
    } catch (const CommandError& error) {
        return fail(app, error.status(), error.what());
    } catch (const std::exception& error) {
        return fail(app, Status::input, error.what());
    }
}
