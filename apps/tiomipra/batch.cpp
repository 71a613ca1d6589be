#include "batch.hpp"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <optional>
#include <utility>

#include "failures.hpp"
#include "input_files.hpp"
#include "interruption.hpp"
#include "json_text.hpp"
#include "output_files.hpp"
#include "progress.hpp"
#include "workers.hpp"

namespace tiomipra {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

// Subcommands that share a folder have a report each.
std::string reportPath(const BatchOptions& options, const Json& madeWith, const std::string& name) {
    return pathIn(options.output, name + "_" + madeWith.at("command").get<std::string>() + ".json");
}

// What a report says about how the pair was made; what follows in it is the result.
Json describeOrigin(const Frame& frame, const Json& madeWith) {
    return {{"name", frame.name},
            {"left", frame.leftFile},
            {"right", frame.rightFile},
            {"madeWith", madeWith}};
}

bool isNewer(const std::string& file, const std::string& than) {
    std::error_code error;
    const auto written = fs::last_write_time(file, error);
    return !error && written > fs::last_write_time(than);
}

bool hasContent(const std::string& path) {
    std::error_code error;
    const auto size = fs::file_size(path, error);
    return !error && size > 0;
}

// True when the report on disk has the same origin, no image is newer, and all the files that it
// lists are there.
bool isDone(const Frame& frame, const BatchOptions& options, const Json& madeWith) {
    const std::string path = reportPath(options, madeWith, frame.name);
    if (!hasContent(path) ||
        std::any_of(frame.files.begin(), frame.files.end(),
                    [&](const std::string& file) { return isNewer(file, path); }))
        return false;
    try {
        const Json report = Json::parse(readFile(path));
        // Through text and back, as the report went.
        const Json origin = Json::parse(dumpJson(describeOrigin(frame, madeWith)));
        for (const auto& [key, value] : origin.items()) {
            if (report.at(key) != value)
                return false;
        }
        const Json& files = report.at("files");
        return std::all_of(files.begin(), files.end(), [&](const Json& file) {
            return hasContent(pathIn(options.output, file.get<std::string>()));
        });
    } catch (const nlohmann::json::exception&) {
        return false;  // not one of our reports
    }
}

// One run over all frames.
class Batch {
  public:
    Batch(FrameSource& frames, const BatchOptions& options, const ProtectedFiles& inputs,
          const Json& madeWith)
        : _frames(frames), _options(options), _inputs(inputs), _madeWith(madeWith) {}

    void run(const std::vector<ProcessPair>& processes) {
        Progress progress(chooseProgressOutput(_options.json, _frames.count()), _frames.count());
        Work work([this] { return _frames.next(); },
                  [&](const Frame& frame, const PairOutcome& outcome) {
                      accept(frame, outcome, progress);
                  });
        std::vector<Work::Worker> workers;
        for (const ProcessPair& process : processes)
            workers.emplace_back(
                [this, &process](const Frame& frame) { return make(frame, process); });
        try {
            work.run(workers);
        } catch (const Interrupted& error) {
            throw Interrupted(error.what() +
                              std::string("; the same command with --resume does the others"));
        }
    }

    // Says how the run went; throws when something failed.
    Status conclude() const {
        if (_count == 0)
            throw InputError("there is no pair to work on");
        if (_options.json)
            printJson();
        else
            printSummary();
        if (!_failures.empty())
            tiomipra::conclude(_failures, _count, "pairs");
        return Status::done;
    }

  private:
    using Work = OrderedWork<Frame, std::optional<PairResult>>;
    using PairOutcome = Outcome<std::optional<PairResult>>;

    // Nothing when the pair is done already.
    std::optional<PairResult> make(const Frame& frame, const ProcessPair& process) const {
        if (_options.resume && isDone(frame, _options, _madeWith))
            return std::nullopt;
        // From now on the files that it vouches for may change.
        const std::string report = reportPath(_options, _madeWith, frame.name);
        _inputs.requireOther(report);
        removeFile(report);
        PairFiles files(_options.output, frame.name, _inputs);
        PairResult result = process(frame, files);
        Json content = describeOrigin(frame, _madeWith);
        content["files"] = files.names();
        content["result"] = result.values;
        writeFile(report, dumpJson(content));
        return result;
    }

    void accept(const Frame& frame, const PairOutcome& outcome, Progress& progress) {
        ++_count;
        if (const auto* error = std::get_if<CommandError>(&outcome)) {
            _failures.push_back({frame.name, error->status(), error->what()});
            // A failure that stands alone is reported by whoever asked for the pair.
            if (_frames.count() != 1)
                progress.advance(frame.name + ": failed: " + error->what());
            return;
        }
        _doneNames.push_back(frame.name);
        if (const auto& result = std::get<0>(outcome)) {
            progress.advance(frame.name + ": " + result->summary);
        } else {
            ++_skipped;
            progress.skip();
        }
    }

    // Reports are read back one by one, so that memory does not grow with what they hold.
    void printJson() const {
        std::cout << "{\n\"pairs\": [";
        const char* separator = "\n";
        for (const std::string& name : _doneNames) {
            std::cout << std::exchange(separator, ",\n")
                      << readFile(reportPath(_options, _madeWith, name));
        }
        std::cout << "],\n\"failed\": [";
        separator = "\n";
        for (const Failure& failure : _failures) {
            std::cout << std::exchange(separator, ",\n") << dumpJson(toJson(failure));
        }
        std::cout << "]\n}\n";
    }

    void printSummary() const {
        if (_doneNames.empty())
            return;
        std::cout << _doneNames.size() << (_doneNames.size() == 1 ? " pair" : " pairs")
                  << " done, results in '" << _options.output << "'";
        if (_skipped > 0)
            std::cout << " (" << _skipped << " were there already)";
        std::cout << '\n';
    }

    FrameSource& _frames;
    const BatchOptions& _options;
    const ProtectedFiles& _inputs;
    const Json& _madeWith;
    std::size_t _count = 0;
    std::size_t _skipped = 0;
    std::vector<std::string> _doneNames;
    std::vector<Failure> _failures;
};

}  // namespace

PairFiles::PairFiles(std::string folder, std::string pair, const ProtectedFiles& inputs)
    : _folder(std::move(folder)), _pair(std::move(pair)), _inputs(inputs) {}

std::string PairFiles::add(const std::string& suffix) {
    const std::string name = _pair + suffix;
    std::string path = pathIn(_folder, name);
    _inputs.requireOther(path);
    _names.push_back(name);
    return path;
}

void addBatchOptions(CLI::App& command, BatchOptions& options) {
    constexpr auto group = "Output";
    command.add_option("--output", options.output, "Folder for the results; created if missing")
        ->type_name("DIR")
        ->required()
        ->group(group);
    addJobsOption(command, options.jobs)->group(group);
    command
        .add_flag("--resume", options.resume,
                  "Leave out pairs that are done already with the same\nimages, parameters and "
                  "calibrations")
        ->group(group);
    command
        .add_flag("--json", options.json,
                  "Print the results as JSON on standard output and nothing else there")
        ->group(group);
}

Status runBatch(FrameSource& frames, const BatchOptions& options, const ProtectedFiles& inputs,
                const Json& madeWith, const std::function<ProcessPair()>& makeWorker) {
    std::vector<ProcessPair> processes(countWorkers(options.jobs, frames.count()));
    std::generate(processes.begin(), processes.end(), makeWorker);
    prepareFolder(options.output);
    Batch batch(frames, options, inputs, madeWith);
    batch.run(processes);
    return batch.conclude();
}

}  // namespace tiomipra
