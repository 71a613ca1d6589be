// The command `tiomipra`: a table of subcommands, and how they end.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <tevo/log.hpp>
#include <vector>

#include "failures.hpp"
#include "help_formatter.hpp"
#include "interruption.hpp"
#include "json_text.hpp"
#include "provenance.hpp"
#include "status.hpp"
#include "subcommands.hpp"
#include "suggestions.hpp"
#include "text.hpp"

namespace {

using namespace tiomipra;

struct Subcommand {
    const char* name;
    const char* summary;
    const char* example;
    Run (*configure)(CLI::App& command);
};

const std::vector<Subcommand> subcommands = {
    {"calibrate", "Calibrate two cameras with pictures of a board",
     "tiomipra calibrate --corners 9x6 --square 25mm --left 'left*.jpg' --right 'right*.jpg' "
     "--output rig",
     configureCalibrate},
    {"inspect", "Tell what a pair of calibrations says and whether it is usable",
     "tiomipra inspect --calibration rig", configureInspect},
    {"check", "Tell, without a board, whether a rig is still calibrated",
     "tiomipra check --calibration rig --left a.png --right b.png", configureCheck},
    {"rectify", "Warp pairs so that matching points share a row",
     "tiomipra rectify --calibration rig --left a.png --right b.png --output result",
     configureRectify},
    {"disparity", "Match pairs: disparity images",
     "tiomipra disparity --calibration rig --left a.png --right b.png --preset balanced --output "
     "result",
     configureDisparity},
    {"depth", "Measure pairs: coloured point clouds and depth images",
     "tiomipra depth --calibration rig --left a.png --right b.png --max-depth 3 --output result",
     configureDepth},
    {"evaluate", "Compare disparity images with ground truth",
     "tiomipra evaluate --disparity result/a_disparity.tiff --ground-truth truth.pfm",
     configureEvaluate},
};

constexpr auto exitStatuses =
    "Exit status:\n"
    "  0  done\n"
    "  1  the answer is no: a check, a gate or a calibration failed\n"
    "  2  wrong usage\n"
    "  3  an input can't be read or does not fit, or an output can't be written\n"
    "  4  some of many pairs failed";

int toExitStatus(Status status) {
    return static_cast<int>(status);
}

void configure(CLI::App& app, Run& run) {
    app.formatter(std::make_shared<HelpFormatter>());
    app.set_help_flag("-h,--help", "Print this help and exit");
    app.set_version_flag("--version", "tiomipra " + programVersion(), "Print the version and exit");
    app.require_subcommand(1);
    app.footer(std::string("tiomipra SUBCOMMAND --help describes each of them.\n\n") +
               exitStatuses);
    for (const auto& [name, summary, example, configureSubcommand] : subcommands) {
        auto* const command = app.add_subcommand(name, summary);
        command->footer(std::string("Example:\n  ") + example + "\n\n" + exitStatuses);
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

// Where a result can't come any more; a program that reads it learns why.
int failWithoutResult(const CLI::App& app, Status status, const std::string& message,
                      bool isJsonWanted) {
    if (isJsonWanted)
        std::cout << dumpJson(
            {{"error", {{"status", toExitStatus(status)}, {"message", message}}}});
    return fail(app, status, message);
}

// All that may stand where `app` found a word that it does not know.
std::vector<std::string> knownWords(const CLI::App& app) {
    std::vector<std::string> words;
    for (const CLI::App* command : app.get_subcommands({}))
        words.push_back(command->get_name());
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames())
            words.push_back("--" + name);
    }
    return words;
}

// A word that nobody knows is often the reason for what else is wrong, so it goes first.
std::string describe(const CLI::App& app, const CLI::ParseError& error) {
    const auto chosen = app.get_subcommands();
    const CLI::App& command = chosen.empty() ? app : *chosen.front();
    const auto unknown = command.remaining();
    if (unknown.empty())
        return error.what();
    const auto similar = findSimilar(unknown.front(), knownWords(command));
    return quote(unknown.front()) + " is not known here" +
           (similar ? "; did you mean " + quote(*similar) + "?" : "");
}

int reportParseError(const CLI::App& app, const CLI::ParseError& error, bool isJsonWanted) {
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success))
        return app.exit(error);  // --help and --version
    const std::string hint = "\nRun '" + calledAs(app) + " --help' for its options.";
    return failWithoutResult(app, Status::usage, describe(app, error) + hint, isJsonWanted);
}

}  // namespace

// Only a mistake in the options' own declarations throws outside the handlers.
// NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char** argv) {
    // What the library refuses reaches the user as a message of the command, once.
    if (std::getenv("TEVO_LOG") == nullptr)
        tevo::log::setLevel(tevo::LogLevel::none);

    CLI::App app("Metric depth from a calibrated pair of cameras.", "tiomipra");
    Run run;
    configure(app, run);
    // Known even when the command line as a whole makes no sense.
    const bool isJsonWanted =
        std::any_of(argv, argv + argc, [](std::string_view word) { return word == "--json"; });
    try {
        app.parse(argc, argv);
        const Status status = run();
        std::cout.flush();
        return std::cout ? toExitStatus(status)
                         : fail(app, Status::input, "can't write to standard output");
    } catch (const CLI::ParseError& error) {
        return reportParseError(app, error, isJsonWanted);
    } catch (const Interrupted& error) {
        fail(app, Status::partial, error.what());
        dieInterrupted();
    } catch (const FailedAfterResults& error) {
        return fail(app, error.status(), error.what());
    } catch (const CommandError& error) {
        return failWithoutResult(app, error.status(), error.what(), isJsonWanted);
    } catch (const std::exception& error) {
        return failWithoutResult(app, Status::input, error.what(), isJsonWanted);
    }
}
