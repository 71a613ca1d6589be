// The command `tiomipra`: a table of subcommands, and how they end.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>
#include <string>
#include <tevo/log.hpp>
#include <vector>

#include "base/json_text.hpp"
#include "base/provenance.hpp"
#include "base/text.hpp"
#include "commands/commands.hpp"
#include "ending.hpp"
#include "options/board_options.hpp"
#include "options/calibrate_options.hpp"
#include "options/check_options.hpp"
#include "options/completion.hpp"
#include "options/evaluate_options.hpp"
#include "options/help_formatter.hpp"
#include "options/import_options.hpp"
#include "options/inspect_options.hpp"
#include "options/matching_options.hpp"
#include "options/rectify_options.hpp"
#include "options/report_options.hpp"
#include "options/suggestions.hpp"
#include "runs/interruption.hpp"
#include "runs/process_start.hpp"
#include "shared/matching_kernels.hpp"

namespace {

using namespace tiomipra;

// Adds the options of a subcommand to `command`; returns what to run once they are parsed.
template <typename Options, void (*addOptions)(CLI::App&, Options&), Ending (*run)(const Options&)>
Run configure(CLI::App& command) {
    const auto options = std::make_shared<Options>();
    addOptions(command, *options);
    return [options] { return run(*options); };
}

struct Subcommand {
    const char* name;
    const char* summary;
    const char* example;
    Run (*configure)(CLI::App& command);
};

const std::vector<Subcommand> subcommands = {
    {"board", "Draw a board to print and calibrate with",
     "tiomipra board --corners 9x6 --square 25mm --output board.pdf",
     configure<DrawBoardOptions, addDrawBoardOptions, runBoard>},
    {"calibrate", "Calibrate two cameras with pictures of a board",
     "tiomipra calibrate --corners 9x6 --square 25mm --left 'left*.jpg' --right 'right*.jpg' "
     "--output rig",
     configure<CalibrateOptions, addCalibrateOptions, runCalibrate>},
    {"report", "Make the page of a calibration again", "tiomipra report --calibration rig",
     configure<ReportOptions, addReportOptions, runReport>},
    {"import", "Take over the calibration of another program",
     "tiomipra import camchain.yaml --output rig",
     configure<ImportOptions, addImportOptions, runImport>},
    {"export", "Write a calibration for another program",
     "tiomipra export --calibration rig --format opencv --output stereo.yml",
     configure<ExportOptions, addExportOptions, runExport>},
    {"inspect", "Tell what a pair of calibrations says and whether it is usable",
     "tiomipra inspect --calibration rig",
     configure<InspectOptions, addInspectOptions, runInspect>},
    {"check", "Tell, without a board, whether a rig is still calibrated",
     "tiomipra check --calibration rig --left a.png --right b.png",
     configure<CheckOptions, addCheckOptions, runCheck>},
    {"rectify", "Warp pairs so that matching points share a row",
     "tiomipra rectify --calibration rig --left a.png --right b.png --output result",
     configure<RectifyOptions, addRectifyOptions, runRectify>},
    {"disparity", "Match pairs: disparity images",
     "tiomipra disparity --calibration rig --left a.png --right b.png --preset balanced --output "
     "result",
     configure<MatchingOptions, addDisparityOptions, runDisparity>},
    {"depth", "Measure pairs: coloured point clouds and depth images",
     "tiomipra depth --calibration rig --left a.png --right b.png --max-depth 3 --output result",
     configure<MatchingOptions, addDepthOptions, runDepth>},
    {"evaluate", "Compare disparity images with ground truth",
     "tiomipra evaluate --disparity result/a_disparity.tiff --ground-truth truth.pfm",
     configure<EvaluateOptions, addEvaluateOptions, runEvaluate>},
};

constexpr auto exitStatuses =
    "Exit status:\n"
    "  0  done\n"
    "  1  the answer is no: a check, a gate or a calibration failed\n"
    "  2  wrong usage\n"
    "  3  an input can't be read or does not fit, or an output can't be written\n"
    "  4  some of many pairs failed";

// What a result depends on besides input and options.
std::string describeVersion() {
    return "tiomipra " + programVersion() + "\nOpenCV " + cv::getVersionString() +
           "\nmatching: " + vision::describeMatchingKernels();
}

void configureAll(CLI::App& app, Run& run) {
    app.formatter(std::make_shared<HelpFormatter>());
    app.set_help_flag("-h,--help", "Print this help and exit");
    app.set_version_flag("-V,--version", describeVersion, "Print the version and exit");
    app.require_subcommand(1);
    app.footer(std::string("tiomipra SUBCOMMAND --help describes each of them.\n\n") +
               exitStatuses);
    for (const auto& [name, summary, example, configureOne] : subcommands) {
        auto* const command = app.add_subcommand(name, summary);
        command->footer(std::string("Example:\n  ") + example + "\n\n" + exitStatuses);
        command->callback([&run, chosen = configureOne(*command)] { run = chosen; });
    }
}

// "tiomipra", or "tiomipra depth" once a subcommand has been recognised.
std::string calledAs(const CLI::App& app) {
    const auto chosen = app.get_subcommands();
    return chosen.empty() ? app.get_name() : app.get_name() + " " + chosen.front()->get_name();
}

// Says on standard error how the command ends; returns the exit status.
int end(const CLI::App& app, const Ending& ending) {
    if (!ending.message.empty())
        std::cerr << calledAs(app) << ": " << printableLines(ending.message) << '\n';
    if (ending.status == Status::interrupted)
        dieInterrupted();
    return static_cast<int>(ending.status);
}

// How the command ends once its results are out. What went wrong before says more than that they
// are lost as well.
int endWithResult(const CLI::App& app, const Ending& ending) {
    std::cout.flush();
    const bool isLost = !std::cout && ending.message.empty();
    return end(app, isLost ? Ending{Status::input, "can't write to standard output"} : ending);
}

// Where a result can't come any more; a program that reads it learns why. It learns of an
// interruption from the signal.
int endWithoutResult(const CLI::App& app, const Ending& ending, bool isJsonWanted) {
    if (isJsonWanted && ending.status != Status::interrupted)
        std::cout << dumpJson(
            {{"error",
              {{"status", static_cast<int>(ending.status)}, {"message", ending.message}}}});
    return end(app, ending);
}

// A word that nobody knows is often the reason for what else is wrong, so it goes first.
std::string describe(const CLI::App& app, const CLI::ParseError& error) {
    const auto chosen = app.get_subcommands();
    const CLI::App& command = chosen.empty() ? app : *chosen.front();
    const auto unknown = command.remaining();
    if (unknown.empty())
        return printable(error.what());
    const auto similar = findSimilar(unknown.front(), knownWords(command));
    return fmt::format("{} is not known here{}", quote(unknown.front()),
                       similar ? fmt::format("; did you mean {}?", quote(*similar)) : "");
}

// What stands behind the program's name. "help depth" is another way to say "depth --help".
std::vector<std::string> wordsOf(int argc, char** argv) {
    std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
    if (!words.empty() && words.front() == "help") {
        words.erase(words.begin());
        words.emplace_back("--help");
    }
    return words;
}

// What the completion of the shell asks for.
int printCompletions(const CLI::App& app, const std::vector<std::string>& words) {
    for (const std::string& word : completionsOf(app, words))
        std::cout << word << '\n';
    return 0;
}

int reportParseError(const CLI::App& app, const CLI::ParseError& error, bool isJsonWanted) {
    // --help and --version; the help of what nobody knows is not the help that was asked for.
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success) &&
        app.remaining().empty()) {
        app.exit(error);
        return endWithResult(app, {});
    }
    const std::string hint = fmt::format("\nRun '{} --help' for its options.", calledAs(app));
    return endWithoutResult(app, {Status::usage, describe(app, error) + hint}, isJsonWanted);
}

}  // namespace

// Only a mistake in the options' own declarations throws outside the handlers.
// NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char** argv) {
    openMissingStreams();
    surviveFileLimit();
    // What the library refuses reaches the user as a message of the command, once.
    if (std::getenv("TEVO_LOG") == nullptr)
        tevo::log::setLevel(tevo::LogLevel::none);

    CLI::App app("Metric depth from a calibrated pair of cameras.", "tiomipra");
    Run run;
    configureAll(app, run);
    const std::vector<std::string> words = wordsOf(argc, argv);
    if (!words.empty() && words.front() == "--complete")
        return printCompletions(app, {words.begin() + 1, words.end()});
    // Known even when the command line as a whole makes no sense.
    const bool isJsonWanted = std::find(words.begin(), words.end(), "--json") != words.end();
    endWithoutMemory([&](const Ending& ending) {
        endWithoutResult(app, ending, isJsonWanted);
        std::cout.flush();
    });
    try {
        app.parse(std::vector<std::string>(words.rbegin(), words.rend()));
        return endWithResult(app, run());
    } catch (const CLI::ParseError& error) {
        return reportParseError(app, error, isJsonWanted);
    } catch (const std::exception& exception) {
        return endWithoutResult(app, endingFor(exception), isJsonWanted);
    }
}
